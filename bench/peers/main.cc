#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "bench/peers/instructions.h"
#include "bench/peers/lines.h"
#include "bench/peers/server.h"
#include "bench/peers/syscall_lines.h"

namespace {

void Append(std::vector<Line>&& more, std::vector<Line>* all) {
  for (Line& line : more) all->push_back(std::move(line));
}

}  // namespace

/// Measures the library beside its peers: kesu-peers [--instructions]. Fails when a goal is missed.
int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], kServeOption) == 0) Serve();
  if (argc == 4 && std::strcmp(argv[1], kExchangeOption) == 0) {
    ExchangeUnderTrace(argv[2], argv[3]);
    return EXIT_SUCCESS;
  }
  const bool is_counting = argc > 1 && std::strcmp(argv[1], "--instructions") == 0;
  if (is_counting && !CanCountInstructions()) {
    RunUnderCallgrind(argv);
    std::perror("valgrind");
    return EXIT_FAILURE;
  }
  // The library traces to standard output; the figures keep that to themselves.
  std::FILE* out = fdopen(dup(STDOUT_FILENO), "w");
  if (out == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) return EXIT_FAILURE;

  std::vector<Line> lines;
  Append(CodecLines(), &lines);
  Append(StringLines(), &lines);
  Append(ClientLines(), &lines);
  Append(SyscallLines(), &lines);
  Append(LookupLines(lines.front()), &lines);
  Append(StormLines(), &lines);
  Append(StartLines(), &lines);
  const bool is_met = PrintLines(lines, out);
  return std::fclose(out) == 0 && is_met ? EXIT_SUCCESS : EXIT_FAILURE;
}
