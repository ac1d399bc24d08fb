#include "tools/kesu/print_error.h"

#include <cstdio>

namespace kesu_tool {

void PrintError(const std::string& error) {
  std::fprintf(stderr, "kesu: %s\n", error.c_str());
}

}  // namespace kesu_tool
