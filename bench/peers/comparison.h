#ifndef KESU_BENCH_PEERS_COMPARISON_H_
#define KESU_BENCH_PEERS_COMPARISON_H_

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

/// What the most that a line may show is set for.
enum class Goal {
  /// The quotient of ours and the peer's.
  kRatio,
  /// Ours alone, in the unit of the line.
  kOurs,
};

/// The line is there to be read.
constexpr double kNoGoal = 0;

/// A line of the table.
struct Line {
  std::string name;
  std::string unit;
  double ours = 0;
  /// 0 where there is none.
  double peer = 0;
  Goal goal_kind = Goal::kOurs;
  double goal = kNoGoal;
};

/// Work whose cost is asked for, and what is to be done before each run of it and costs nothing.
struct Work {
  std::function<void()> run;
  std::function<void()> prepare = [] {};
};

/// The same work done twice, by us and by the peer.
struct Contest {
  Work ours;
  Work peer;
  /// How often each runs in a round, prepared once.
  int repetitions = 1;
  int rounds = 31;
  /// The pieces that a run is made of: the figures are of one.
  int pieces = 1;
};

/// The least that one piece took of the thread's CPU, in microseconds, over rounds in which both
/// take turns. Under callgrind: the thread's instructions.
struct Cost {
  double ours = 0;
  double peer = 0;
};
Cost Measure(const Contest& contest);

/// "us", or "Ir" under callgrind.
const char* CostUnit();

/// A line whose goal is for the quotient.
Line RatioLine(const std::string& name, const Contest& contest, double goal);

/// Ends the process: what is compared does not do the same work.
void RequireSame(bool is_same, const char* what);

/// Prints the table. False when a goal is missed by more than a tenth.
bool PrintLines(const std::vector<Line>& lines, std::FILE* out);

#endif  // KESU_BENCH_PEERS_COMPARISON_H_
