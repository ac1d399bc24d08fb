#include <iomanip>
#include <optional>
#include <sstream>
#include <string>

#include "client/client_fixture.h"

namespace kesu_test {
namespace {

using common_kesu::TransportErrorKind;
using kesu::ErrorKind;

TEST_CASE("what an exchange comes to") {
  const std::string answer = PositionReply(387166667, -91333333, Number(3, 150));
  const struct {
    const char* what;
    TransportErrorKind transport_error;
    int http_status;
    std::string payload;
    int status;
    ErrorKind kind;
    int shown_http_status;
    int shown_status;
  } kRows[] = {
      {"an answer", {}, 200, answer, 200, ErrorKind::kNone, 0, 0},
      {"no name", TransportErrorKind::kCannotResolve, 0, "", 200, ErrorKind::kCannotResolve, 0, 0},
      {"refused", TransportErrorKind::kConnectionRefused, 0, "", 0, ErrorKind::kCannotConnect, 0,
       0},
      {"no route", TransportErrorKind::kNoRoute, 0, "", 0, ErrorKind::kCannotConnect, 0, 0},
      {"TLS", TransportErrorKind::kTls, 0, "", 0, ErrorKind::kTls, 0, 0},
      {"timed out", TransportErrorKind::kTimedOut, 0, "", 0, ErrorKind::kTimedOut, 0, 0},
      {"closed", TransportErrorKind::kClosedEarly, 0, "", 0, ErrorKind::kServer, 0, 0},
      {"too large", TransportErrorKind::kTooLarge, 0, "", 0, ErrorKind::kMalformed, 0, 0},
      {"redirect", TransportErrorKind::kRedirectRefused, 0, "", 0, ErrorKind::kServer, 0, 0},
      {"unknown", TransportErrorKind::kOther, 0, "", 0, ErrorKind::kCannotConnect, 0, 0},
      {"silence", {}, 0, "", 0, ErrorKind::kCannotConnect, 0, 0},
      {"HTTP status", {}, 503, answer, 200, ErrorKind::kServer, 503, 0},
      {"refused by the service", {}, 200, "", 404, ErrorKind::kServer, 200, 404},
      {"no message", {}, 200, "\x0A", 200, ErrorKind::kMalformed, 200, 0},
      {"nothing known", {}, 200, Number(1, 1), 200, ErrorKind::kNotFound, 200, 1},
      {"nothing known of the element",
       {},
       200,
       Number(1, 0) + Field(2, Number(1, 2)),
       200,
       ErrorKind::kNotFound,
       200,
       2},
      {"no position", {}, 200, Field(2, Field(2, Number(3, 5))), 200, ErrorKind::kNotFound, 200, 0},
      {"too far north", {}, 200, PositionReply(900000001, 0), 200, ErrorKind::kMalformed, 200, 0},
      {"too far west", {}, 200, PositionReply(0, -1800000001), 200, ErrorKind::kMalformed, 200, 0},
      {"negative accuracy",
       {},
       200,
       PositionReply(0, 0, Number(3, -5)),
       200,
       ErrorKind::kMalformed,
       200,
       0},
      {"a feature nowhere",
       {},
       200,
       PositionReply(0, 0, Field(5, Field(5, LatLng(0, 1900000000)))),
       200,
       ErrorKind::kMalformed,
       200,
       0},
      {"a box that leaves earth",
       {},
       200,
       PositionReply(0, 0,
                     Field(5, Field(4, Field(1, LatLng(0, 0)) + Field(2, LatLng(910000000, 0))))),
       200,
       ErrorKind::kMalformed,
       200,
       0},
  };
  for (const auto& row : kRows) {
    INFO(row.what);
    ClientFixture fixture;
    kesu::Client client(fixture.options());
    std::optional<kesu::LocateResult> told;
    const kesu::Call call =
        client.Locate(ClientFixture::Seen(), [&](const auto& it) { told = it; });
    fixture.transport.error.kind = row.transport_error;
    fixture.transport.error.text = "in the transport's words";
    fixture.Answer(row.payload, row.http_status, row.status);
    REQUIRE(told);
    const kesu::Error& error = told->error();
    CHECK(std::string(kesu::ErrorKindName(error.kind)) == kesu::ErrorKindName(row.kind));
    CHECK(error.http_status == row.shown_http_status);
    CHECK(error.reply_status == row.shown_status);
    CHECK(error.message.empty() == (row.kind == ErrorKind::kNone));
    const bool is_quoted = error.reason == "in the transport's words";
    CHECK(is_quoted == (row.transport_error != TransportErrorKind::kNone));
    CHECK(client.counters().outcome(row.kind) == 1);
    CHECK(client.last_location().has_value() == static_cast<bool>(*told));
    if (!*told) continue;
    CHECK((*told)->latitude == doctest::Approx(38.7166667).epsilon(1e-9));
    CHECK((*told)->longitude == doctest::Approx(-9.1333333).epsilon(1e-9));
    CHECK((*told)->accuracy_m == 150);
  }
}

TEST_CASE("all that a feature carries") {
  const std::string address = Field(1, "Rua Um 1") + Field(1, "Lisboa") +
                              Field(2, Field(1, "Lisboa") + Number(2, 4) + Field(3, "pt")) +
                              Field(2, Field(1, "Portugal"));
  const std::string bounds = Field(1, LatLng(10000000, 20000000)) + Field(2, LatLng(30000000, -1));
  const std::string features =
      Field(5, Field(1, "Lisboa") + Number(2, 7) + Field(3, address) + Field(4, bounds) +
                   Field(5, LatLng(387166667, -91333333))) +
      Field(5, "") +
      // Nine letters and a mountain, in twelve UTF-16 units and more bytes; then ten letters.
      Field(5, Field(1, "\U0001F5FB na\u00EFvet\u00E9")) + Field(5, Field(1, "0123456789"));
  ClientFixture fixture;
  kesu::Client client(fixture.options());
  std::vector<kesu::Place> told;
  const kesu::Call call =
      client.Reverse({38.7, -9.1}, [&](const auto& place) { told.push_back(*place); });
  fixture.Answer(PositionReply(0, 0, features));
  REQUIRE(told.size() == 1);
  std::ostringstream text;
  text << std::setprecision(10) << told[0].name;
  for (const kesu::Feature& it : told[0].features) {
    text << '|' << it.name << ' ' << it.kind.value_or(-1);
    if (it.centre) text << " at " << it.centre->latitude << ',' << it.centre->longitude;
    for (const auto& line : it.address.lines) text << ' ' << line << ';';
    for (const auto& part : it.address.components) {
      text << ' ' << part.name << '/' << part.kind.value_or(-1) << '/' << part.language;
    }
    if (!it.bounding_box) continue;
    const auto& [south_west, north_east] = *it.bounding_box;
    text << " [" << south_west.latitude << ',' << south_west.longitude << ' ' << north_east.latitude
         << ',' << north_east.longitude << ']';
  }
  CHECK(text.str() ==
        "0123456789|Lisboa 7 at 38.7166667,-9.1333333 Rua Um 1; Lisboa; Lisboa/4/pt Portugal/-1/"
        " [1,2 3,-1e-07]| -1|\U0001F5FB na\u00EFvet\u00E9 -1|0123456789 -1");
}

}  // namespace
}  // namespace kesu_test
