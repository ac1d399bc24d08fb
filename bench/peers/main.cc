#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bench/peers/instructions.h"
#include "bench/peers/lines.h"
#include "bench/peers/server.h"
#include "bench/peers/syscall_lines.h"

namespace {

/// Lines that are measured together.
struct Group {
  const char* name;
  std::vector<Line> (*measure)();
};

constexpr Group kGroups[] = {
    {"codec", &CodecLines},      {"strings", &StringLines}, {"client", &ClientLines},
    {"syscalls", &SyscallLines}, {"lookup", &LookupLines},  {"storm", &StormLines},
    {"start", &StartLines},
};

/// All groups where none is named.
std::vector<Line> MeasureGroups(const std::set<std::string>& names) {
  std::vector<Line> lines;
  for (const Group& group : kGroups) {
    if (!names.empty() && names.count(group.name) == 0) continue;
    for (Line& line : group.measure()) lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace

/// Measures the library beside its peers: kesu-peers [--instructions] [GROUP...]. Fails when a goal
/// is missed.
int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], kServeOption) == 0) Serve();
  if (argc == 4 && std::strcmp(argv[1], kExchangeOption) == 0) {
    ExchangeUnderTrace(argv[2], argv[3]);
    return EXIT_SUCCESS;
  }
  std::set<std::string> names(argv + 1, argv + argc);
  if (names.erase("--instructions") != 0 && !CanCountInstructions()) {
    RunUnderCallgrind(argv);
    std::perror("valgrind");
    return EXIT_FAILURE;
  }
  const std::vector<Line> lines = MeasureGroups(names);
  return !lines.empty() && PrintLines(lines, stdout) ? EXIT_SUCCESS : EXIT_FAILURE;
}
