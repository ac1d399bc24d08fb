#include "bench/peers/self.h"

#include <climits>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

std::string SelfPath() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length < 0) Die("/proc/self/exe");
  return {path, static_cast<std::size_t>(length)};
}

void Die(const char* what) {
  std::perror(what);
  std::exit(EXIT_FAILURE);
}
