#include <cstdio>

/// Nothing, linked with the library and so with all that it needs.
int main() {
  std::puts("hello");
  return 0;
}
