#include "report.h"

#include <cstdio>
#include <cstdlib>

namespace kesu_server_bench {

void Report::Add(const std::string& name, double value, const std::string& unit, Goal goal) {
  std::printf("%-58s %12.5g %-6s", name.c_str(), value, unit.c_str());
  if (goal.kind != Goal::Kind::kNone) {
    const bool is_upper = goal.kind == Goal::Kind::kAtMost;
    const bool is_met = is_upper ? value <= goal.value : value >= goal.value;
    std::printf(" %s %-5g %s", is_upper ? "<=" : ">=", goal.value, is_met ? "pass" : "MISS");
    has_missed_ = has_missed_ || !is_met;
  }
  std::printf("\n");
  std::fflush(stdout);
}

void Fail(const std::string& why) {
  std::fprintf(stderr, "kesu-server-bench: %s\n", why.c_str());
  std::exit(EXIT_FAILURE);
}

}  // namespace kesu_server_bench
