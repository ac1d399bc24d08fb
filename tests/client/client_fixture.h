#ifndef TESTS_CLIENT_CLIENT_FIXTURE_H_
#define TESTS_CLIENT_CLIENT_FIXTURE_H_

#include <string>
#include <string_view>
#include <vector>

#include "client/client.h"
#include "client/engine.h"
#include "kesu/mux/mux_fixture.h"

namespace kesu_test {

// A message, field by field.
inline std::string Varint(unsigned long long value) {
  std::string bytes;
  for (; value > 0x7F; value >>= 7) bytes += static_cast<char>(0x80 | (value & 0x7F));
  return bytes + static_cast<char>(value);
}
inline std::string Number(unsigned field, long long value) {
  return Varint(field << 3) + Varint(static_cast<unsigned long long>(value));
}
inline std::string Fixed(unsigned field, int value) {
  const std::string bytes = BigEndian(static_cast<unsigned>(value), 4);
  return Varint(field << 3 | 5) + std::string(bytes.rbegin(), bytes.rend());
}
inline std::string Field(unsigned field, std::string_view bytes) {
  return (Varint(field << 3 | 2) + Varint(bytes.size())).append(bytes);
}
inline std::string LatLng(int latitude_e7, int longitude_e7) {
  return Fixed(1, latitude_e7) + Fixed(2, longitude_e7);
}
/// The reply to a lookup.
inline std::string PositionReply(int latitude_e7, int longitude_e7, const std::string& rest = "") {
  return Number(1, 0) + Field(2, Field(2, Field(1, LatLng(latitude_e7, longitude_e7)) + rest));
}

class TestClock final : public kesu::Clock {
 public:
  std::chrono::microseconds Monotonic() const override { return now; }
  std::chrono::milliseconds Utc() const override { return std::chrono::milliseconds(1'000'000); }

  std::chrono::microseconds now{1};
};

/// Clients on a stub transport and a clock that is moved by hand. It outlives them.
struct ClientFixture {
  ClientFixture() { kesu::detail::Engine::transport_for_tests = &transport; }
  ClientFixture(const ClientFixture&) = delete;
  ClientFixture& operator=(const ClientFixture&) = delete;
  ~ClientFixture() {
    Iterate();
    kesu::detail::Engine::transport_for_tests = nullptr;
  }

  kesu::Options options() const {
    return {.server = "http://service.example",
            .batch_wait = std::chrono::milliseconds(0),
            .clock = &clock};
  }
  static kesu::Observation Seen(int cell = 1001) {
    return {.cells = {{.mcc = 1, .mnc = 1, .area = 1, .cell = cell, .signal_dbm = -71}}};
  }
  /// Until nothing is left to do at this moment.
  static void Iterate() {
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
  }
  void Advance(std::chrono::microseconds time) {
    clock.now += time;
    Iterate();
  }
  /// Answers each request of the latest POST with this.
  void Answer(std::string_view payload, int http_status = 200, int status = 200) {
    Iterate();
    std::string body = kReplyStart;
    for (const PostedRequest& request : PostedRequests(transport.latest().body)) {
      body += ReplyBlock(request.id, payload, status);
    }
    transport.End(transport.count() - 1, http_status, body);
    Iterate();
  }
  /// The payloads of the latest POST, one after the other.
  std::string Asked() const {
    std::string payloads;
    for (const PostedRequest& request : PostedRequests(transport.latest().body)) {
      payloads += request.payload;
    }
    return payloads;
  }

  StubTransport transport;
  TestClock clock;
};

}  // namespace kesu_test

#endif  // TESTS_CLIENT_CLIENT_FIXTURE_H_
