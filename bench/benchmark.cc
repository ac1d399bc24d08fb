#include "benchmark.h"

#include <algorithm>
#include <chrono>

namespace {

volatile long long kept = 0;

double Median(std::vector<double> samples) {
  const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
  std::nth_element(samples.begin(), middle, samples.end());
  return *middle;
}

}  // namespace

void Keep(long long value) {
  kept = value;
}

double Seconds(int repetitions, const std::function<void()>& function) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < repetitions; ++i) function();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void RunBenchmarks(const std::vector<Benchmark>& benchmarks, int rounds, std::FILE* out) {
  std::vector<std::vector<double>> samples(benchmarks.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < benchmarks.size(); ++i) samples[i].push_back(benchmarks[i].run());
  }
  for (std::size_t i = 0; i < benchmarks.size(); ++i) {
    std::fprintf(out, "%s %.4g %s\n", benchmarks[i].name.c_str(), Median(samples[i]),
                 benchmarks[i].unit.c_str());
  }
}
