#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "groups.h"
#include "loopback_client.h"
#include "posts.h"
#include "processes.h"

namespace kesu_server_bench {
namespace {

/// Sends one hostile request, after which nothing is known of the connection.
void Attack(const std::string& good, std::mt19937_64* random, LoopbackClient* client) {
  const std::size_t body = good.find("\r\n\r\n") + 4;
  std::string bad = good;
  switch ((*random)() % 7) {
    case 0:
      // Cut off, and the client has gone.
      return client->Send(good.substr(0, 1 + (*random)() % (good.size() - 1)));
    case 1:
      for (int i = 0; i < 20; ++i) {
        bad[body + (*random)() % (bad.size() - body)] = static_cast<char>((*random)());
      }
      break;
    case 2:
      std::generate(bad.begin() + static_cast<std::ptrdiff_t>(body), bad.end(),
                    [&] { return static_cast<char>((*random)()); });
      break;
    case 3:
      return client->Send("POST /m/appreq/cllDovi HTTP/1.1\r\nHost: a\r\n" +
                          std::string("Content-Length: 99999999999\r\n\r\n") + good.substr(body));
    case 4:
      bad = "POST /v1/geolocate HTTP/1.1\r\nHost: a\r\nContent-Length: 4000\r\n\r\n" +
            std::string(4000, '[');
      break;
    case 5:
      return client->Send("GET /" + std::string(40'000, 'x'));
    default:
      bad = "GET /" + std::to_string((*random)()) + " HTTP/1.1\r\nHost: a\r\nX-" +
            std::to_string((*random)()) + ": 1\r\n\r\n";
  }
  client->Exchange(bad);
}

}  // namespace

void MeasureMemory(const InventedWorld& world, std::int64_t posts, Report* report) {
  constexpr std::size_t kLookupsOfAPost = 3;
  const std::vector<std::string> good = HttpPosts(world, kLookupsOfAPost);
  const ServerProcess server(
      ServerCommand(world.database(), 1,
                    {"--header-timeout", "1", "--body-timeout", "1", "--idle-timeout", "1"}));
  const pid_t worker = server.Workers().front();
  const auto memory = [&] {
    // Those who have gone in the middle of a request are taken for slow until their time is over.
    std::this_thread::sleep_for(std::chrono::seconds(3));
    return AnonymousBytes(worker);
  };
  std::mt19937_64 random(5);
  auto client = std::make_unique<LoopbackClient>(server.port());
  // What allocators keep, and those who are slow, are there by then.
  double at_first = 0;
  for (std::int64_t i = 0; i < posts; ++i) {
    if (i == posts / 2) {
      client = nullptr;
      at_first = memory();
      client = std::make_unique<LoopbackClient>(server.port());
    }
    const std::string& post = good[random() % good.size()];
    if (random() % 4 == 0) {
      Attack(post, &random, client.get());
      client = std::make_unique<LoopbackClient>(server.port());
    } else if (client->Exchange(post) != 200) {
      Fail("no answer");
    }
  }
  client = nullptr;
  const double at_last = memory();
  if (server.Workers().front() != worker) Fail("the worker has died");
  report->Add("a worker's memory after half of " + std::to_string(posts) + " POSTs",
              at_first / 1024, "KB");
  report->Add("growth of a worker's memory until their end", (at_last - at_first) / 1024, "KB",
              AtMost(256));
}

}  // namespace kesu_server_bench
