#include "tools/kesu/printing.h"

#include <cstdio>

#include "tools/kesu/exit_status.h"

namespace kesu_tool {

void PrintError(const std::string& error) {
  std::fprintf(stderr, "kesu: %s\n", error.c_str());
}

int FailUsage(const std::string& error) {
  PrintError(error);
  std::fputs("Try \"kesu --help\".\n", stderr);
  return kUsageExitStatus;
}

void PrintLine(const std::string& line) {
  std::fwrite((line + "\n").data(), 1, line.size() + 1, stdout);
}

bool FlushResults() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  PrintError("the results could not be written");
  return false;
}

void PrintTrace(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void PrintLogLine(std::string_view line) {
  PrintTrace(line);
  PrintTrace("\n");
}

}  // namespace kesu_tool
