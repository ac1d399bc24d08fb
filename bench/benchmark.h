#ifndef KESU_BENCH_BENCHMARK_H_
#define KESU_BENCH_BENCHMARK_H_

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

/// One figure: each call of `run` is one round and yields one sample.
struct Benchmark {
  std::string name;
  std::string unit;
  std::function<double()> run;
};

/// Runs all benchmarks in turn, as often as `rounds` says, and prints the median of each as a line
/// "name value unit". Taking turns lets a slow moment of the machine fall on all of them.
void RunBenchmarks(const std::vector<Benchmark>& benchmarks, int rounds, std::FILE* out);

/// The seconds that `repetitions` calls of `function` take.
double Seconds(int repetitions, const std::function<void()>& function);

/// What a benchmark must not let the compiler drop.
void Keep(long long value);

/// The benchmarks of this program.
std::vector<Benchmark> MessageBenchmarks();
std::vector<Benchmark> StringBenchmarks();
std::vector<Benchmark> FramingBenchmarks();
std::vector<Benchmark> MuxBenchmarks();
/// These two start kesu-server, which is at `path`, for as long as the program runs.
std::vector<Benchmark> LoopbackBenchmarks(const char* path);
std::vector<Benchmark> ClientBenchmarks(const char* path);

#endif  // KESU_BENCH_BENCHMARK_H_
