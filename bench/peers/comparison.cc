#include "bench/peers/comparison.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "bench/peers/instructions.h"
#include "bench/peers/thread_time.h"

namespace {

constexpr double kTolerance = 1.1;

double MicrosecondsOfOne(const Work& work, int repetitions) {
  work.prepare();
  const double start = ThreadMicroseconds();
  for (int i = 0; i < repetitions; ++i) work.run();
  return (ThreadMicroseconds() - start) / repetitions;
}

double InstructionsOfOne(const Work& work) {
  work.prepare();
  return CountInstructions(work.run);
}

Cost LeastOf(const Contest& contest) {
  Cost least = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
  for (int i = 0; i < contest.rounds; ++i) {
    least.ours = std::min(least.ours, MicrosecondsOfOne(contest.ours, contest.repetitions));
    least.peer = std::min(least.peer, MicrosecondsOfOne(contest.peer, contest.repetitions));
  }
  return least;
}

bool IsMissed(const Line& line) {
  if (line.goal == kNoGoal) return false;
  const double reached = line.goal_kind == Goal::kRatio ? line.ours / line.peer : line.ours;
  // Nor is a goal met by what could not be measured.
  return !(reached <= kTolerance * line.goal);
}

std::string Number(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

}  // namespace

const char* CostUnit() {
  return CanCountInstructions() ? "Ir" : "us";
}

Cost Measure(const Contest& contest) {
  // Caches, pools and tables that are made once.
  MicrosecondsOfOne(contest.ours, 1);
  MicrosecondsOfOne(contest.peer, 1);
  const Cost cost = CanCountInstructions()
                        ? Cost{InstructionsOfOne(contest.ours), InstructionsOfOne(contest.peer)}
                        : LeastOf(contest);
  return {cost.ours / contest.pieces, cost.peer / contest.pieces};
}

Line RatioLine(const std::string& name, const Contest& contest, double goal) {
  const Cost cost = Measure(contest);
  return {name, CostUnit(), cost.ours, cost.peer, Goal::kRatio, goal};
}

void RequireSame(bool is_same, const char* what) {
  if (is_same) return;
  std::fprintf(stderr, "the peer does other work: %s\n", what);
  std::exit(EXIT_FAILURE);
}

bool PrintLines(const std::vector<Line>& lines, std::FILE* out) {
  bool is_met = true;
  std::fprintf(out, "%-38s %-6s %11s %11s %7s  %s\n", "name", "unit", "ours", "peer", "ratio",
               "goal");
  for (const Line& line : lines) {
    const bool is_missed = IsMissed(line);
    is_met = is_met && !is_missed;
    const bool has_peer = line.peer != 0;
    const std::string goal = line.goal == kNoGoal             ? "-"
                             : line.goal_kind == Goal::kRatio ? Number("<= %.3g x", line.goal)
                                                              : Number("<= %.5g", line.goal);
    std::fprintf(out, "%-38s %-6s %11s %11s %7s  %s%s\n", line.name.c_str(), line.unit.c_str(),
                 Number("%.5g", line.ours).c_str(),
                 has_peer ? Number("%.5g", line.peer).c_str() : "-",
                 has_peer ? Number("%.3f", line.ours / line.peer).c_str() : "-", goal.c_str(),
                 is_missed ? "  MISSED" : "");
  }
  return is_met;
}
