#include "bench/peers/syscall_lines.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/peers/client.h"
#include "bench/peers/lines.h"
#include "bench/peers/self.h"
#include "bench/peers/server.h"

namespace {

constexpr int kRequests = 2000;
constexpr double kColdGoal = 0.10;
constexpr double kWarmGoal = 0.04;
constexpr char kOurs[] = "ours";
constexpr char kByHand[] = "by hand";

/// A call that nothing else makes, between what is counted and what is not.
constexpr char kMark[] = "dup(-1)";
void Mark() {
  [[maybe_unused]] const int none = dup(-1);
}

/// Of one request.
struct Calls {
  double cold = std::numeric_limits<double>::quiet_NaN();
  double warm = std::numeric_limits<double>::quiet_NaN();
};

/// Counts the lines of a trace between the marks, one line a call.
Calls ReadTrace(const std::string& path) {
  std::vector<int> counts = {0};
  std::ifstream trace(path);
  for (std::string line; std::getline(trace, line);) {
    if (line.find(kMark) != std::string::npos) {
      counts.push_back(0);
    } else if (line.find("resumed>") == std::string::npos) {
      ++counts.back();
    }
  }
  // Before, cold, between, warm, after.
  if (counts.size() != 5) return {};
  return {static_cast<double>(counts[1]) / kRequests, static_cast<double>(counts[3]) / kRequests};
}

/// Runs this program's exchange under strace. Where that cannot be, nothing has been counted.
Calls Trace(const std::string& host, const char* who) {
  char path[] = "/tmp/kesu-peers-XXXXXX";
  const int file = mkstemp(path);
  if (file < 0) Die("mkstemp");
  close(file);
  const std::string self = SelfPath();
  const pid_t child = fork();
  if (child == 0) {
    execlp("strace", "strace", "-f", "-qq", "-o", path, self.c_str(), kExchangeOption, who,
           host.c_str(), nullptr);
    std::_Exit(EXIT_FAILURE);
  }
  int status = 0;
  waitpid(child, &status, 0);
  const Calls calls = status == 0 ? ReadTrace(path) : Calls();
  std::remove(path);
  return calls;
}

}  // namespace

void ExchangeUnderTrace(const char* who, const char* host) {
  const auto client = std::strcmp(who, kOurs) == 0 ? NewOurClient(host, Sending::kPacked, false)
                                                   : NewPackingClient(host, false);
  const std::vector<std::string> requests = MakeRequests(kRequests);
  for (int i = 0; i < 2; ++i) {
    Answers answers(requests);
    client->Prepare(requests);
    Mark();
    client->Exchange(&answers);
    Mark();
  }
}

std::vector<Line> SyscallLines() {
  const ServerProcess server;
  const Calls ours = Trace(server.host(), kOurs);
  const Calls by_hand = Trace(server.host(), kByHand);
  return {
      {"client, system calls, cold", "", ours.cold, by_hand.cold, Goal::kOurs, kColdGoal},
      {"client, system calls, warm", "", ours.warm, by_hand.warm, Goal::kOurs, kWarmGoal},
  };
}
