#include "tools/kesu/result.h"

#include <utility>
#include <vector>

#include <doctest/doctest.h>

namespace {

using kesu_tool::Outcome;
using kesu_tool::Result;

TEST_CASE("the outcome of a failed request") {
  const struct {
    const char* what;
    int status;
    int http_status;
    Outcome outcome;
  } cases[] = {
      {"no connection", 0, 0, Outcome::kFailed},
      {"bad gateway, retries used up", -3, 502, Outcome::kFailed},
      {"an HTTP status of success, yet none that carries a reply", 204, 204, Outcome::kFailed},
      {"the one request refused", 400, 200, Outcome::kFailed},
      {"the one request failed, status 0", 0, 200, Outcome::kFailed},
      {"answer that cannot be read", 200, 200, Outcome::kMalformed},
      {"other protocol version", 2, 200, Outcome::kMalformed},
      {"replies without an answer, retries used up", -3, 200, Outcome::kMalformed},
  };
  for (const auto& row : cases) {
    CAPTURE(row.what);
    CHECK(kesu_tool::ClassifyFailure(row.status, row.http_status) == row.outcome);
  }
}

TEST_CASE("the exit status is that of the worst outcome") {
  const std::pair<std::vector<Outcome>, int> cases[] = {
      {{Outcome::kFound}, 0},
      {{Outcome::kFound, Outcome::kNothingFound, Outcome::kFound}, 1},
      {{Outcome::kNothingFound, Outcome::kMalformed, Outcome::kFound}, 5},
      {{Outcome::kMalformed, Outcome::kTimedOut}, 4},
      {{Outcome::kTimedOut, Outcome::kMalformed, Outcome::kFailed}, 3},
  };
  for (const auto& [outcomes, exit_status] : cases) {
    std::vector<Result> results;
    for (const Outcome outcome : outcomes) results.emplace_back().outcome = outcome;
    CHECK(kesu_tool::ExitStatus(results) == exit_status);
  }
}

}  // namespace
