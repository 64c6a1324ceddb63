#include "platform/sync.h"

namespace base::platform {

CriticalSection::CriticalSection() = default;

CriticalSection::~CriticalSection() = default;

void CriticalSection::Enter() {
  section_.lock();
}

void CriticalSection::Leave() {
  section_.unlock();
}

}  // namespace base::platform
