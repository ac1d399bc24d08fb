#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/peers/instructions.h"
#include "bench/peers/lines.h"
#include "bench/peers/self.h"

namespace {

constexpr int kRounds = 40;
constexpr double kGoal = 1.03;

double Microseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

/// The CPU time of one run of the program.
double CpuOf(std::string program) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  char* arguments[] = {program.data(), nullptr};
  if (posix_spawn(&child, program.c_str(), &actions, nullptr, arguments, environ) != 0) {
    Die(program.c_str());
  }
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage usage = {};
  wait4(child, &status, 0, &usage);
  RequireSame(status == 0, "a start has failed");
  return Microseconds(usage.ru_utime) + Microseconds(usage.ru_stime);
}

}  // namespace

std::vector<Line> StartLines() {
  const std::string ours = KESU_START_PATH;
  const std::string peer = KESU_HELLO_PATH;
  Cost least = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
  if (CanCountInstructions()) {
    least = {CountInstructionsOfProgram(ours), CountInstructionsOfProgram(peer)};
  } else {
    for (int i = 0; i < kRounds; ++i) {
      least.ours = std::min(least.ours, CpuOf(ours));
      least.peer = std::min(least.peer, CpuOf(peer));
    }
  }
  return {{"start and end", CostUnit(), least.ours, least.peer, Goal::kRatio, kGoal}};
}
