#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "bench/peers/instructions.h"
#include "bench/peers/lines.h"
#include "bench/peers/server.h"

namespace {

void Append(std::vector<Line>&& more, std::vector<Line>* all) {
  for (Line& line : more) all->push_back(std::move(line));
}

}  // namespace

/// Measures the library beside its peers: kesu-peers [--instructions]. Fails when a goal is missed.
int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--serve") == 0) {
    Serve();
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
  Append(ClientLines(), &lines);
  const bool is_met = PrintLines(lines, out);
  return std::fclose(out) == 0 && is_met ? EXIT_SUCCESS : EXIT_FAILURE;
}
