#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "groups.h"
#include "loopback_client.h"
#include "posts.h"
#include "processes.h"

namespace kesu_server_bench {
namespace {

constexpr std::size_t kLookupsOfAPost = 100;
/// So many that no worker is ever without one; waiting costs them nothing.
constexpr int kClients = 24;
constexpr std::chrono::seconds kDuration(4);

struct Load {
  double lookups_per_s = 0;
  double cpu_us_per_lookup = 0;
};

/// As many lookups as workers can take: clients that have the next POST ready as soon as the last
/// one is answered.
Load Saturate(const InventedWorld& world, const std::vector<std::string>& posts, int workers) {
  const ServerProcess server(ServerCommand(world.database(), workers));
  std::atomic<bool> is_over = false;
  std::atomic<std::size_t> answered = 0;
  std::vector<std::thread> clients;
  for (int i = 0; i < kClients; ++i) {
    clients.emplace_back([&, next = static_cast<std::size_t>(i)]() mutable {
      LoopbackClient client(server.port());
      while (!is_over) {
        if (client.Exchange(posts[next % posts.size()]) != 200) Fail("no answer");
        next += kClients;
        ++answered;
      }
    });
  }
  // The first ones bring the database in.
  std::this_thread::sleep_for(kDuration / 2);
  const std::size_t answered_before = answered;
  const double cpu_before = server.CpuSeconds();
  const auto begin = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(kDuration);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  const double lookups = static_cast<double>((answered - answered_before) * kLookupsOfAPost);
  const double cpu = server.CpuSeconds() - cpu_before;
  is_over = true;
  for (std::thread& client : clients) client.join();
  return {lookups / seconds.count(), cpu / lookups * 1e6};
}

}  // namespace

void MeasureWorkers(const InventedWorld& world, Report* report) {
  const std::vector<std::string> posts = HttpPosts(world, kLookupsOfAPost);
  const Load one = Saturate(world, posts, 1);
  const Load two = Saturate(world, posts, 2);
  report->Add("one worker, saturated", one.lookups_per_s, "1/s");
  report->Add("two workers, saturated, on an otherwise idle machine", two.lookups_per_s, "1/s");
  report->Add("one worker's processor time for a lookup", one.cpu_us_per_lookup, "us");
  report->Add("two workers' processor time for a lookup", two.cpu_us_per_lookup, "us");
  report->Add("two workers beside one, by processor time",
              2 * one.cpu_us_per_lookup / two.cpu_us_per_lookup, "x", AtLeast(1.8));
  report->Add("two workers beside one, by lookups a second", two.lookups_per_s / one.lookups_per_s,
              "x", AtLeast(1.8));
}

void MeasureIdleConnections(const InventedWorld& world, Report* report) {
  constexpr int kIdle = 5'000;
  constexpr int kRounds = 5;
  const std::vector<std::string> posts = HttpPosts(world, 1);
  const ServerProcess server(
      ServerCommand(world.database(), 1, {"--idle-timeout", "3600", "--header-timeout", "3600"}));
  const auto cpu_of_active = [&] {
    LoopbackClient client(server.port());
    const double before = server.CpuSeconds();
    for (const std::string& post : posts) {
      if (client.Exchange(post) != 200) Fail("no answer");
    }
    return (server.CpuSeconds() - before) / static_cast<double>(posts.size()) * 1e6;
  };
  cpu_of_active();
  double without = 1e9;
  double with = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    without = std::min(without, cpu_of_active());
    std::vector<std::unique_ptr<LoopbackClient>> idle;
    for (int i = 0; i < kIdle; ++i) {
      idle.push_back(std::make_unique<LoopbackClient>(server.port()));
    }
    // Each has brought a request, and may bring another one.
    for (const auto& client : idle) {
      if (client->Exchange("GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n") != 200) {
        Fail("an idle connection is not served");
      }
    }
    with = std::min(with, cpu_of_active());
    idle.clear();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
  }
  report->Add("a lookup alone in a POST, no other connection", without, "us");
  report->Add("a lookup alone in a POST, 5,000 idle connections", with, "us");
  report->Add("5,000 idle connections beside none", with / without, "x", AtMost(1.05));
}

}  // namespace kesu_server_bench
