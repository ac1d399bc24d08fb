#ifndef SERVER_BENCH_REPORT_H_
#define SERVER_BENCH_REPORT_H_

#include <string>

/// What kesu-server costs. The figures are quotients of processor times that were measured in turns
/// in one run, so that what else the machine does hardly matters; only throughput needs an idle
/// one.
namespace kesu_server_bench {

struct Goal {
  enum class Kind { kNone, kAtMost, kAtLeast };
  Kind kind = Kind::kNone;
  double value = 0;
};
constexpr Goal AtMost(double value) {
  return {Goal::Kind::kAtMost, value};
}
constexpr Goal AtLeast(double value) {
  return {Goal::Kind::kAtLeast, value};
}

/// Prints a line for each figure, its goal, and whether it is met.
class Report {
 public:
  void Add(const std::string& name, double value, const std::string& unit, Goal goal = {});
  bool has_missed() const { return has_missed_; }

 private:
  bool has_missed_ = false;
};

/// Ends the program: what it needs is not there, or what it measures does not work.
[[noreturn]] void Fail(const std::string& why);

}  // namespace kesu_server_bench

#endif  // SERVER_BENCH_REPORT_H_
