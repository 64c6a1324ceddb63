// The example host: first the binary message format on its own, then a host
// that uses the whole library the way a desktop client's main program does.
//
//   demo [seconds]    runs the host for `seconds` (default 3).
#include <cstdio>
#include <cstdlib>

#include "host.h"
#include "pack_walkthrough.h"

int main(int argc, char** argv) {
  const unsigned seconds = argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 3;
  std::puts("== 1. The binary message format ==");
  if (RunPackWalkthrough() != 0)
    return 1;
  std::puts("\n== 2. A host: timers, tasks, handles and exit notifications ==");
  return RunHost(seconds == 0 ? 3 : seconds);
}
