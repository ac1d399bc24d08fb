#include <algorithm>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "bare_reads.h"
#include "groups.h"
#include "loopback_client.h"
#include "posts.h"
#include "processes.h"

namespace kesu_server_bench {
namespace {

constexpr int kRounds = 7;
constexpr std::size_t kLookupsOfAPost = 100;

/// Of several rounds the least time, which other work on the machine can only raise.
class Least {
 public:
  void Add(double seconds) { seconds_ = std::min(seconds_, seconds); }
  double microseconds() const { return seconds_ * 1e6; }

 private:
  double seconds_ = std::numeric_limits<double>::max();
};

/// The processor time that a server takes for each of these requests.
double SecondsPerRequest(const ServerProcess& server, const std::vector<std::string>& requests,
                         std::size_t lookups) {
  LoopbackClient client(server.port());
  std::string_view body;
  if (client.Exchange(requests.front(), &body) != 200) Fail("no answer");
  if (lookups > 0) ExpectLocated(body, lookups);
  const double before = server.CpuSeconds();
  for (const std::string& request : requests) {
    if (client.Exchange(request) != 200) Fail("no answer");
  }
  return (server.CpuSeconds() - before) / static_cast<double>(requests.size());
}

}  // namespace

void MeasureLookups(const InventedWorld& world, Report* report) {
  const ServerProcess server(ServerCommand(world.database(), 1));
  const ServerProcess hello({KESU_MHD_HELLO_PATH});
  BareReads reads(world);
  const std::vector<std::string> posts = HttpPosts(world, kLookupsOfAPost);
  const std::vector<std::string> lone_posts = HttpPosts(world, 1);
  const std::vector<std::string> hellos(2'000, "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
  const auto& lookups = world.lookups();
  Least packed, alone, greeting, bare_in_posts, bare_in_lookups, bare_each;
  for (int round = 0; round < kRounds; ++round) {
    packed.Add(SecondsPerRequest(server, posts, kLookupsOfAPost) / double{kLookupsOfAPost});
    bare_in_posts.Add(reads.SecondsPerLookup(lookups, kLookupsOfAPost));
    alone.Add(SecondsPerRequest(server, lone_posts, 1));
    bare_in_lookups.Add(reads.SecondsPerLookup(lookups, 1));
    greeting.Add(SecondsPerRequest(hello, hellos, 0));
    bare_each.Add(reads.SecondsPerLookup(lookups, 0));
  }
  report->Add("20 bare reads, 100 times in a transaction", bare_in_posts.microseconds(), "us");
  report->Add("20 bare reads in a transaction", bare_in_lookups.microseconds(), "us");
  report->Add("20 bare reads, each on its own", bare_each.microseconds(), "us");
  report->Add("libmicrohttpd's hello", greeting.microseconds(), "us");
  report->Add("a lookup of 20 stations, 100 in a POST", packed.microseconds(), "us");
  report->Add("a lookup of 20 stations, alone in a POST", alone.microseconds(), "us");
  const double bare = bare_each.microseconds();
  report->Add("a lookup in a POST of 100, beside 20 bare reads", packed.microseconds() / bare, "x",
              AtMost(2));
  report->Add("a lookup alone, beside hello and 20 bare reads",
              alone.microseconds() / (greeting.microseconds() + bare), "x", AtMost(1.5));
  // As the server does them: all of a POST in one transaction.
  report->Add("a lookup in a POST of 100, beside the reads in transactions",
              packed.microseconds() / bare_in_posts.microseconds(), "x");
  report->Add("a lookup alone, beside hello and the reads in a transaction",
              alone.microseconds() / (greeting.microseconds() + bare_in_lookups.microseconds()),
              "x");
}

}  // namespace kesu_server_bench
