#include "platform/sync.h"

namespace base::platform {

CriticalSection::CriticalSection() {
  InitializeCriticalSection(&section_);
}

CriticalSection::~CriticalSection() {
  DeleteCriticalSection(&section_);
}

void CriticalSection::Enter() {
  EnterCriticalSection(&section_);
}

void CriticalSection::Leave() {
  LeaveCriticalSection(&section_);
}

}  // namespace base::platform
