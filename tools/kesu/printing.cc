#include "tools/kesu/printing.h"

#include <cstdio>

namespace kesu_tool {

void PrintError(const std::string& error) {
  std::fprintf(stderr, "kesu: %s\n", error.c_str());
}

bool FlushResults() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  PrintError("the results could not be written");
  return false;
}

}  // namespace kesu_tool
