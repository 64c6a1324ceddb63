// A small host that uses the library as a module would.
#include <cstdio>

int main() {
  std::puts("base demo");
  return 0;
}
