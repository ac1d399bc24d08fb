// With a stub in place of the transport; tests/tools/end_to_end/ runs it through a real one.
#include "kesu/httptest/set_header_test.h"

#include <cstdio>
#include <string>
#include <utility>

#include <doctest/doctest.h>

#include "support/recording_requester.h"
#include "support/stub_transport.h"

TEST_CASE("the self-test passes when its header comes back, and ends with any transport") {
  constexpr int kMakesNone = -1;
  constexpr int kDoesNotStart = 0;
  const std::string echo = "X: y\r\nX-Kesu-Test: set-header-test";
  const std::pair<int, std::string> rows[] = {
      {200, echo}, {200, "X: y"},    {200, "X-Kesu-Test: x"},
      {500, echo}, {kMakesNone, ""}, {kDoesNotStart, ""}};
  for (const auto& row : rows) {
    CAPTURE(&row - rows);
    const auto& [status, body] = row;
    kesu_test::StubTransport transport;
    transport.makes_null = status == kMakesNone;
    transport.start_result = status == kDoesNotStart ? 1 : 0;
    kesu_test::RecordingRequester requester;
    char printed[100] = {};
    std::FILE* out = fmemopen(printed, sizeof(printed), "w");
    auto* test = new common_kesu::SetHeaderTest(&transport, "url", out);
    const bool starts = test->Start(&requester) == 0;
    CHECK(starts == (status > 0));
    if (starts) {
      const kesu_test::HeaderList headers = {{"X-Kesu-Test", "set-header-test"}};
      CHECK(transport.latest().request_headers == headers);
      transport.End(0, status, body);
    } else {
      test->Cancel();
    }
    std::fclose(out);
    const bool passes = status == 200 && body == echo;
    CHECK(std::string(printed) ==
          (passes ? "SetHeaderTest passed\nAll HTTP tests pass\n" : "SetHeaderTest failed\n"));
    CHECK(requester.completed == (passes ? 1 : 0));
    CHECK(requester.failed == (starts && !passes ? 1 : 0));
  }
}
