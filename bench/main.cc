#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "benchmark.h"

namespace {

constexpr int kRounds = 11;

void Append(std::vector<Benchmark>&& more, std::vector<Benchmark>* all) {
  for (Benchmark& benchmark : more) all->push_back(std::move(benchmark));
}

}  // namespace

int main(int argc, char** argv) {
  // The library traces to standard output; the figures keep that to themselves.
  std::FILE* out = fdopen(dup(STDOUT_FILENO), "w");
  if (out == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) return EXIT_FAILURE;

  std::vector<Benchmark> benchmarks;
  Append(MessageBenchmarks(), &benchmarks);
  Append(StringBenchmarks(), &benchmarks);
  Append(FramingBenchmarks(), &benchmarks);
  Append(MuxBenchmarks(), &benchmarks);
  const char* const server_path = argc > 1 ? argv[1] : KESU_SERVER_PATH;
  Append(LoopbackBenchmarks(server_path), &benchmarks);
  Append(ClientBenchmarks(server_path), &benchmarks);
  RunBenchmarks(benchmarks, kRounds, out);
  return std::fclose(out) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
