#include <memory>
#include <string>
#include <vector>

#include "bench/peers/client.h"
#include "bench/peers/exchange_work.h"
#include "bench/peers/lines.h"
#include "bench/peers/server.h"

namespace {

constexpr double kGoal = 1.3;
/// What a POST of many may cost, against one of few.
constexpr double kFlatGoal = 1.1;

struct Storm {
  int posts;
  int rounds;
};
constexpr Storm kStorms[] = {{100, 15}, {1000, 5}, {4000, 3}};

}  // namespace

std::vector<Line> StormLines() {
  const ServerProcess server;
  const std::string& host = server.host();
  const NewClient ours = [&] { return NewOurClient(host, Sending::kOneEach, false); };
  const NewClient by_hand = [&] { return NewStormClient(host); };
  std::vector<Line> lines;
  for (const Storm& storm : kStorms) {
    const std::vector<std::string> requests = MakeRequests(storm.posts);
    lines.push_back(RatioLine("POSTs at once, " + std::to_string(storm.posts),
                              ExchangeContest(ours, by_hand, requests, true, storm.rounds), kGoal));
  }
  lines.push_back({"POSTs at once, 4000 beside 100 of ours", CostUnit(), lines.back().ours,
                   lines.front().ours, Goal::kRatio, kFlatGoal});
  return lines;
}
