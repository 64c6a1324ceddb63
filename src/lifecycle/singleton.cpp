#include "lifecycle/singleton.h"

#include <memory>
#include <tuple>
#include <utility>

#include "check/dcheck.h"
#include "platform/exit_table.h"

namespace base {
namespace {

// Plain pointers rather than a function-local static: no first-use guard (the
// callers serialise first use), and the teardown runs from the exit table at
// the moment the first singleton registered, not among the static objects.
SingletonRegistry* g_registry = nullptr;
bool g_tearingDown = false;

class TearDownScope {
 public:
  // Never nested: TearDown forgets the registry before it opens a scope.
  TearDownScope() {
    BASE_DCHECK(!g_tearingDown);
    g_tearingDown = true;
  }
  ~TearDownScope() { g_tearingDown = false; }
  TearDownScope(const TearDownScope&) = delete;
  TearDownScope& operator=(const TearDownScope&) = delete;
};

}  // namespace

SingletonRegistry& SingletonRegistry::Get() {
  if (g_registry == nullptr) {
    g_registry = new SingletonRegistry;
    // A full exit table cannot be helped here; the singletons then stay.
    std::ignore = platform::AddExitTableEntry(&SingletonRegistry::TearDown);
  }
  return *g_registry;
}

void SingletonRegistry::TearDown() {
  struct Deleter {
    void operator()(SingletonRegistry* r) const { delete r; }
  };
  const std::unique_ptr<SingletonRegistry, Deleter> registry(std::exchange(g_registry, nullptr));
  if (!registry)
    return;
  const TearDownScope scope;
  registry->RunPasses();
}

bool SingletonRegistry::IsTearingDown() {
  return g_tearingDown;
}

void SingletonRegistry::Insert(const SingletonEntry& entry) {
  auto it = entries_.begin();
  while (it != entries_.end() && it->order <= entry.order)
    ++it;
  entries_.insert(it, entry);
}

void SingletonRegistry::RunPasses() const {
  for (const SingletonEntry& e : entries_) {
    if (e.finalise != nullptr)
      e.finalise();
  }
  for (const SingletonEntry& e : entries_) {
    if (e.destroy != nullptr)
      e.destroy();
  }
}

}  // namespace base
