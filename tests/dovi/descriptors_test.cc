// The file descriptors of the process: the number that an fd_set holds, and none left behind.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "dovi/fixture.h"

using kesu_test::CountOf;
using kesu_test::Endpoint;
using kesu_test::Exchange;
using kesu_test::HeldLookups;
using kesu_test::IterateUntil;
using kesu_test::kOk;
using kesu_test::ScopedSettings;

namespace {

/// Takes all descriptors below `first_free`, and lets the process have none from `limit` on.
class OccupiedDescriptors {
 public:
  OccupiedDescriptors(int first_free, rlim_t limit) {
    REQUIRE(getrlimit(RLIMIT_NOFILE, &old_limit_) == 0);
    SetLimit(4096);
    while (taken_.empty() || taken_.back() < first_free) taken_.push_back(dup(STDERR_FILENO));
    close(taken_.back());
    taken_.pop_back();
    SetLimit(limit);
  }
  OccupiedDescriptors(const OccupiedDescriptors&) = delete;
  OccupiedDescriptors& operator=(const OccupiedDescriptors&) = delete;
  ~OccupiedDescriptors() {
    for (const int fd : taken_) close(fd);
    setrlimit(RLIMIT_NOFILE, &old_limit_);
  }

 private:
  void SetLimit(rlim_t limit) {
    const rlimit wanted{limit, old_limit_.rlim_max};
    REQUIRE(setrlimit(RLIMIT_NOFILE, &wanted) == 0);
  }

  rlimit old_limit_{};
  std::vector<int> taken_;
};

}  // namespace

TEST_CASE("requests use the descriptors up to 1023 and fail beyond") {
  const struct {
    int first_free;
    rlim_t limit;
    std::size_t completed;
  } cases[] = {{1018, 4096, 6}, {1021, 4096, 3}, {1024, 4096, 0}, {2000, 4096, 0}, {900, 900, 0}};
  for (const auto& c : cases) {
    for (const bool has_name : {false, true}) {
      CAPTURE(c.first_free);
      CAPTURE(has_name);
      Endpoint below;
      kesu_test::ScriptedServer server;
      Exchange started_before(&below.factory, "before");
      REQUIRE(started_before.Start() == 0);
      REQUIRE(IterateUntil([&] { return below.server.requests().size() == 1; }));
      {
        const std::string port = std::to_string(server.port());
        const ScopedSettings settings(
            has_name ? std::string("http://") + HeldLookups::kName + ":" + port : server.host());
        const OccupiedDescriptors occupied(c.first_free, c.limit);
        // The look-up of a name takes two descriptors, for a while.
        std::vector<std::unique_ptr<Exchange>> exchanges(has_name ? 1 : 6);
        for (auto& exchange : exchanges) {
          exchange = std::make_unique<Exchange>(&below.factory, "request");
          REQUIRE(exchange->Start() == 0);
        }
        const std::string error = has_name && c.limit == 900 ? "cannot-resolve" : "other";
        const std::size_t expected = std::min(c.completed, exchanges.size());
        REQUIRE(IterateUntil([&] { return server.requests().size() == expected; }));
        // Programs that are executed meanwhile do not inherit the connection.
        if (expected == 6) CHECK(fcntl(c.first_free, F_GETFD) == FD_CLOEXEC);
        for (std::size_t i = 0; i < expected; ++i) server.Reply({kOk});
        for (std::size_t i = 0; i < exchanges.size(); ++i) {
          REQUIRE(IterateUntil([&] { return exchanges[i]->HasEnded(); }));
          CHECK(exchanges[i]->Outcome() ==
                (i < expected ? "completed 200 ok" : "failed 0  (" + error + ")"));
        }
      }
      below.server.Reply({kOk});
      CHECK(IterateUntil([&] { return started_before.HasEnded(); }));
      CHECK(started_before.Outcome() == "completed 200 ok");
      below.RunAnotherExchange();
    }
  }
}

TEST_CASE("a hundred factories, one after the other, leave nothing open") {
  auto after_first = CountOf("fd");
  for (int i = 0; i < 100; ++i) {
    {
      Endpoint endpoint;
      endpoint.RunAnotherExchange();
      Exchange cancelled(&endpoint.factory, "request");
      REQUIRE(cancelled.Start() == 0);
      REQUIRE(IterateUntil([&] { return endpoint.server.requests().size() == 1; }));
    }
    if (i == 0) after_first = CountOf("fd");
  }
  CHECK(CountOf("fd") <= after_first);
}
