#include <memory>
#include <string>
#include <vector>

#include "bench/peers/client.h"
#include "bench/peers/exchange_work.h"
#include "bench/peers/heap_counter.h"
#include "bench/peers/lines.h"
#include "bench/peers/server.h"

namespace {

constexpr int kRequests = 2000;
/// As many as the packed requests take POSTs.
constexpr int kConnections = 11;
constexpr int kRounds = 15;
constexpr double kPackedGoal = 1.3;
constexpr double kOneEachGoal = 1.0 / 35;
constexpr double kAllocationsGoal = 1;

/// Both pack the same requests into the same bodies.
void RequireSameBodies(const std::string& host, const std::vector<std::string>& requests) {
  std::vector<std::string> bodies[2];
  for (int i = 0; i < 2; ++i) {
    const auto client =
        i == 0 ? NewOurClient(host, Sending::kPacked, true) : NewPackingClient(host, true);
    Answers answers(requests);
    client->Prepare(requests);
    client->Exchange(&answers);
    bodies[i] = client->bodies();
  }
  RequireSame(bodies[0] == bodies[1] && bodies[0].size() == kConnections, "it packs other bodies");
}

double AllocationsOf(const Work& work) {
  work.prepare();
  work.run();
  work.prepare();
  return static_cast<double>(CountHeapUse(work.run).allocations) / kRequests;
}

Line AllocationsLine(const std::string& name, const Contest& contest) {
  return {name,
          "",
          AllocationsOf(contest.ours),
          AllocationsOf(contest.peer),
          Goal::kOurs,
          kAllocationsGoal};
}

}  // namespace

std::vector<Line> ClientLines() {
  const ServerProcess server;
  const std::string& host = server.host();
  const std::vector<std::string> requests = MakeRequests(kRequests);
  RequireSameBodies(host, requests);
  const NewClient ours = [&] { return NewOurClient(host, Sending::kPacked, false); };
  const NewClient packing = [&] { return NewPackingClient(host, false); };
  const NewClient one_each = [&] { return NewKeepAliveClient(host, kConnections); };

  std::vector<Line> lines;
  for (const bool is_cold : {true, false}) {
    const Contest contest = ExchangeContest(ours, packing, requests, is_cold, kRounds);
    const std::string suffix = is_cold ? ", cold" : ", warm";
    lines.push_back(RatioLine("client, packed" + suffix, contest, is_cold ? kPackedGoal : kNoGoal));
    lines.push_back(AllocationsLine("client, allocations" + suffix, contest));
  }
  lines.push_back(RatioLine("client, one POST each",
                            ExchangeContest(ours, one_each, requests, true, kRounds),
                            kOneEachGoal));
  return lines;
}
