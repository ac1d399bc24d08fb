// What the services send, what they take from the answers, and how their calls end.
#include <cmath>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"
#include "kesu/services/location_service.h"
#include "kesu/services/reverse_geocode_service.h"

#include "support/log_capture.h"
#include "support/recording_requester.h"

using namespace common_kesu;
using namespace kesu_test;
using common_base::GString;
using Lines = std::vector<std::string>;

namespace {

/// Of a request with the version "A".
constexpr char kPayloadA[] = "0A 03 0A 01 41";

lbs::GLocRequest* NewRequest(const char* version) {
  auto* request = new lbs::GLocRequest;
  request->mutable_platformprofile()->set_version(version);
  return request;
}

std::string PayloadOf(const common_net_proto::Message& message) {
  common_base::ByteVector bytes;
  common_base::DataOutputStream stream(&bytes);
  message.Write(&stream);
  return ToHex(bytes);
}

struct Fixture : MuxFixture {
  template <typename Service>
  void Start(Service* service) {
    CHECK(service->NewInvocation()->Start(&requester) == 0);
  }
  /// Sends what waits, one call, and answers it.
  void Answer(std::string_view payload, int status = 200, int http_status = 200) {
    mux()->FlushPendingRequests();
    const int id = PostedRequests(transport.latest().body).at(0).id;
    transport.End(transport.count() - 1, http_status,
                  kReplyStart + ReplyBlock(id, payload, status));
  }
  /// Sends what waits and lets that POST fail.
  void FailPost(int http_status = 500) { Answer("", 200, http_status); }
  /// A call with this answer, in hexadecimal.
  template <typename Service>
  void Call(Service* service, const std::string& reply, int status = 200, int http_status = 200) {
    Start(service);
    Answer(TextOf(Bytes(reply)), status, http_status);
  }
  /// The payload, in hexadecimal, of a call that leaves at once.
  template <typename Service>
  std::string Sent(Service* service) {
    service->set_send_immediately(true);
    Start(service);
    return LatestPayload();
  }
  /// The payload of the one call in the latest POST.
  std::string LatestPayload() const {
    const auto posted = PostedRequests(transport.latest().body);
    REQUIRE(posted.size() == 1);
    return ToHex(ViewOf(posted[0].payload));
  }
  /// The accuracies of all locations, and the key: "10 20 k".
  std::string Found() const {
    common_base::GVector<lbs::GLocation*> locations;
    location.GetGLocations(&locations);
    std::string text;
    for (const lbs::GLocation* found : locations) text += std::to_string(found->accuracy_m()) + ' ';
    GString key("untouched");
    location.GetPlatformKey(&key);
    return text + TextOf(key);
  }

  RecordingRequester requester;
  LbsService typed{"g:loc/ql", NewRequest("A")};
  LocationService location{"g:loc/ql", NewRequest("A")};
  ReverseGeocodeService reverse{52.5F, 13.4F, nullptr};
};

}  // namespace

TEST_CASE_FIXTURE(Fixture, "what is sent, byte for byte") {
  KesuServiceRequest* invocation = typed.NewInvocation();
  CHECK(invocation->Start(&requester) == 0);
  Advance(kBatchDelay);
  CHECK(invocation->ElapsedTicks() == kBatchDelay);
  CHECK(LatestPayload() == kPayloadA);
  Answer("");
  CHECK(Sent(&location) == kPayloadA);

  // 52.5 is 525000000 = 0x1F4ADD40; the float next to 13.4 is 13.39999961..., cut to 133999996 =
  // 0x07FCAD7C.
  const ManualClock utc(0, 300);
  ReverseGeocodeService by_default(52.5F, 13.4F, &utc);
  CHECK(Sent(&by_default) ==
        "0A 2C 0A 00 12 10 4B 65 73 75 54 65 73 74 50 6C 61 74 66 6F 72 6D "
        "1A 0D 69 6E 74 65 72 6E 61 6C 20 6F 6E 6C 79 22 05 65 6E 5F 55 53 2A 00 "
        "22 1A 1A 0F 0A 0A 0D 40 DD 4A 1F 15 7C AD FC 07 30 AC 02 "
        "22 07 0D 00 00 00 00 10 01");
  // -525000000 = 0xE0B522C0, -1800000000 = 0x94B62E00.
  ReverseGeocodeService own(-52.5F, -180.0F, 258, "a", "b", "c", "d", "e", nullptr);
  CHECK(Sent(&own) ==
        "0A 0F 0A 01 61 12 01 62 1A 01 63 22 01 64 2A 01 65 "
        "22 19 1A 0E 0A 0A 0D C0 22 B5 E0 15 00 2E B6 94 30 00 "
        "22 07 0D 02 01 00 00 10 01");
  // Degrees that no field can hold are cut to its limits.
  const std::pair<float, std::string> rows[] = {
      {1e9F, "FF FF FF 7F"}, {-INFINITY, "00 00 00 80"}, {NAN, "00 00 00 00"}};
  for (const auto& [degrees, bytes] : rows) {
    ReverseGeocodeService service(degrees, 0, nullptr);
    CHECK(Sent(&service).find("0A 0A 0D " + bytes + " 15 00 00 00 00") != std::string::npos);
  }
}

TEST_CASE("how a call ends, and what the log says") {
  struct Row {
    /// What its POSTs end with; of no POST the transport makes a request.
    std::vector<int> posts;
    std::string answer;
    int status;
    int http_status;
    Lines log;
    std::string error = "none ";
  };
  const Lines error = {"**W: The server sent back an error"};
  const Lines unreadable = {"**W: An error occurred while attempting to extract the response"};
  const Row rows[] = {
      {{200}, "\x08\1", 200, 200, {}},
      {{503}, "", 503, 503, error},
      {{0}, "", 0, 0, error, "timed-out after 3 s"},
      {{}, "", 0, 0, error, "not-started the transport made no request"},
      {{502, 502}, "", -3, 502, error},
      {{200}, "\x08\1", 404, 200, unreadable},
      {{200}, "\x12\x7F", 200, 200, unreadable},
  };
  const auto error_of = [](const auto& service) {
    const TransportError& last = service.last_transport_error();
    return std::string(TransportErrorKindName(last.kind)) + ' ' + TextOf(last.text);
  };
  for (const Row& row : rows) {
    Fixture f;
    f.transport.error = {TransportErrorKind::kTimedOut, "after 3 s"};
    f.transport.makes_null = row.posts.empty();
    RecordingRequester requester([&](auto* request) {
      CHECK(static_cast<KesuServiceRequest*>(request)->response()->status_code() == row.status);
      CHECK_FALSE(f.typed.HasInvocationRunning());
    });
    f.typed.NewInvocation()->Start(&requester);
    CHECK(f.typed.HasInvocationRunning());
    const LogCapture log(common_base::kLogWarnings);
    for (const int http_status : row.posts) {
      f.Answer(row.answer, row.status, http_status);
      f.Advance(2 * Fixture::kRetryDelay);
    }
    f.Advance(Fixture::kBatchDelay);
    f.transport.makes_null = false;
    CHECK(log.lines() == row.log);
    CHECK((row.log.empty() ? requester.completed : requester.failed) == 1);
    CHECK(f.typed.is_response_received() == row.log.empty());
    CHECK(f.typed.last_status() == row.status);
    CHECK(f.typed.last_http_status() == row.http_status);
    CHECK(error_of(f.typed) == row.error);
    // The next call succeeds at once until the reset, then it writes its payload afresh.
    f.typed.vollen_request()->mutable_platformprofile()->set_version("B");
    if (row.log.empty()) {
      f.Start(&f.typed);
      CHECK(f.requester.completed == 1);
      f.typed.ResetForNewRequest();
    }
    CHECK(f.Sent(&f.typed) == "0A 03 0A 01 42");
    f.Answer("");
  }
  Fixture f;
  MobileServiceMux::DeleteInstance();
  const auto check_refusal = [&](auto* service) {
    common_base::RequestInterface* call = service->NewInvocation();
    CHECK(call->Start(nullptr) != 0);
    call->Cancel();
    CHECK(service->last_status() == 0);
    CHECK(error_of(*service) == "not-started there is no multiplexer");
  };
  check_refusal(&f.typed);
  check_refusal(&f.location);
  check_refusal(&f.reverse);
}

TEST_CASE_FIXTURE(Fixture, "a request made without an invocation brings a response for the next") {
  CHECK(typed.MakeTheKesuRequest());
  Answer("");
  CHECK_FALSE(typed.is_response_received());
  CHECK(typed.MakeTheKesuRequest());
  KesuServiceRequest* invocation = typed.NewInvocation();
  Answer("");
  CHECK(invocation->Start(&requester) == 0);
  CHECK(requester.completed == 1);
}

TEST_CASE_FIXTURE(Fixture, "a request maker shapes the requests, and messages can be taken over") {
  struct SlowMaker final : KesuRequestMaker {
    PlainRequest* NewKesuRequestFrom(const GString& service_uri,
                                     const common_base::ByteView* payload) override {
      auto* request = new PlainRequest(service_uri, ServiceVersion::kVersion0, payload);
      request->set_retry_timeout(2000000);
      return request;
    }
  };
  auto service = std::make_unique<LbsService>("s", new SlowMaker, NewRequest("A"));
  const std::unique_ptr<lbs::GLocRequest> request(service->vollen_request_as_owner());
  Start(service.get());
  FailPost(502);
  Advance(1999999);
  CHECK(transport.count() == 1);
  Advance(1);
  REQUIRE(transport.count() == 2);
  CHECK(LatestPayload() == kPayloadA);
  Answer("\x08\1");
  const std::unique_ptr<lbs::GLocReply> first(service->vollen_response_as_owner());
  service->ResetForNewRequest();
  Call(service.get(), "08 02");
  const std::unique_ptr<lbs::GLocReply> second(service->vollen_response_as_owner());
  service.reset();
  CHECK(PayloadOf(*request) == kPayloadA);
  CHECK(first->status() == 1);
  CHECK(second->status() == 2);
}

TEST_CASE("retries are drawn from half a second to a second, the same from one seed") {
  KesuRequestMaker seeded(7), again(7), own, other;
  const auto draw = [](KesuRequestMaker& maker) {
    const std::unique_ptr<Request> request(maker.NewKesuRequestFrom("u", nullptr));
    return request->GetRetryTimeout();
  };
  std::set<long long> timeouts, of_own;
  for (int i = 0; i < 1000; ++i) {
    timeouts.insert(draw(seeded));
    CHECK(timeouts.contains(draw(again)));
    of_own.insert({draw(own), draw(other)});
  }
  // Not far from either end.
  CHECK(*timeouts.begin() / 10000 == 50);
  CHECK((*timeouts.rbegin() - 1) / 10000 == 99);
  CHECK(of_own.size() > 1900);
}

TEST_CASE_TEMPLATE("an invocation ends once, whatever goes before it does", Service, LbsService,
                   LocationService, ReverseGeocodeService) {
  constexpr bool kIsTyped = std::is_same_v<Service, LbsService>;
  Fixture f;
  std::unique_ptr<Service> service;
  const auto renew = [&] {
    if constexpr (std::is_same_v<Service, ReverseGeocodeService>) {
      service = std::make_unique<Service>(1.0F, 2.0F, nullptr);
    } else {
      service = std::make_unique<Service>("g", NewRequest("A"));
    }
  };
  const auto next = [&] {
    if constexpr (kIsTyped) service->ResetForNewRequest();
    return service->NewInvocation();
  };
  const auto start_next = [&](auto* requester) {
    auto* started = next();
    CHECK(started->Start(requester) == 0);
    return started;
  };
  renew();
  // Cancelled, and followed by the next, from inside its outcome.
  RecordingRequester cancels([](auto* ended) { ended->Cancel(); });
  for (const bool fails : {false, true}) {
    start_next(&cancels);
    f.Answer("", 200, fails ? 500 : 200);
  }
  CHECK(cancels.completed + 2 * cancels.failed == 3);
  RecordingRequester repeats([&](auto*) { start_next(&f.requester); });
  start_next(&repeats);
  f.Answer("");
  f.Answer("");
  CHECK(f.requester.completed == 1);
  // One at a time; one that was not started gives way.
  const auto check_refused = [&](auto* invocation) {
    CHECK(invocation->Start(&f.requester) != 0);
    invocation->Cancel();
  };
  auto* running = start_next(&f.requester);
  check_refused(service->NewInvocation());
  running->Cancel();
  auto* unstarted = next();
  running = next();
  check_refused(unstarted);
  CHECK(running->Start(&f.requester) == 0);
  // Of one whose multiplexer goes nobody hears any more; its owner cancels it.
  MobileServiceMux::DeleteInstance();
  f.Initialize();
  start_next(&f.requester);
  running->Cancel();
  f.Answer("");
  CHECK(f.requester.completed == 2);
  // The service goes from inside the outcome, while one runs, and after the multiplexer.
  RecordingRequester deletes([&](auto*) { service.reset(); });
  start_next(&deletes);
  f.Answer("");
  CHECK(deletes.completed == 1);
  for (const bool has_multiplexer : {true, false}) {
    renew();
    running = start_next(&f.requester);
    if (!has_multiplexer) MobileServiceMux::DeleteInstance();
    service.reset();
    if (kIsTyped) running->Cancel();
  }
  f.Initialize();
  f.mux()->FlushPendingRequests();
  CHECK(f.transport.Open().empty());
  CHECK(f.requester.completed + f.requester.failed == 2);
}

TEST_CASE_FIXTURE(Fixture,
                  "what a requester throws comes out, and the invocation ends all the same") {
  RecordingRequester throws([](auto*) { throw std::runtime_error("thrown"); });
  typed.NewInvocation()->Start(&throws);
  // Deleted nonetheless, which leak detection sees.
  reverse.NewInvocation()->Start(&throws);
  Start(&location);
  CHECK_THROWS_WITH(FailPost(), "thrown");
  CHECK_FALSE(typed.HasInvocationRunning());
  CHECK(requester.failed == 1);
}

TEST_CASE("what a lookup and the geocoder take from the reply") {
  struct Row {
    std::string reply;
    std::string found;
    Lines log;
    bool geocoder_succeeds;
    std::string geocoder_key;
  };
  // Success of the geocoder is a status that is there and 0.
  const Row rows[] = {
      {"08 00 12 04 12 02 18 0A 12 04 12 02 18 14 1A 02 6B 31", "10 20 k1", {}, true, "k1"},
      {"12 02 08 01 12 04 12 02 18 14 1A 01 6B", "20 k", {}, false, "k"},
      {"08 00 1A 00", "", {"**W: received empty platfrom key from server"}, true, ""},
      {"08 01", "untouched", {"**W: server did not return a platform key"}, false, "old"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.reply);
    Fixture f;
    const LogCapture log(common_base::kLogWarnings);
    f.Call(&f.location, row.reply);
    CHECK(f.Found() == row.found);
    CHECK(log.lines() == row.log);
    CHECK(PayloadOf(*f.location.GetGLocReply()) == row.reply);
    f.reverse.set_platform_key("old");
    f.Call(&f.reverse, row.reply);
    CHECK(f.reverse.revgeocode_request_succeeded() == row.geocoder_succeeds);
    CHECK(TextOf(f.reverse.platform_key()) == row.geocoder_key);
  }
}

TEST_CASE_FIXTURE(Fixture, "locations pile up, and a failed call leaves everything as it was") {
  const std::string good = "08 00 12 04 12 02 18 0A 1A 01 6B";
  const auto call_both = [&](const std::string& reply, int status, int http_status) {
    Call(&location, reply, status, http_status);
    Call(&reverse, reply, status, http_status);
  };
  call_both(good, 200, 200);
  call_both(good, 200, 500);
  call_both(good, 404, 200);
  call_both("08 01 1A 01 78 12 7F", 200, 200);
  CHECK(requester.completed == 2);
  CHECK(requester.failed == 6);
  CHECK(Found() == "10 k");
  CHECK(PayloadOf(*location.GetGLocReply()) == good);
  CHECK(PayloadOf(*reverse.GetGLocReply()) == good);
  CHECK(TextOf(reverse.platform_key()) == "k");
  CHECK_FALSE(reverse.revgeocode_request_succeeded());
  const std::string two = "12 04 12 02 18 14 12 04 12 02 18 1E";
  Call(&location, two);
  CHECK(Found() == "10 20 30 k");
  CHECK(location.TakeGLocations().length() == 3);
  CHECK(Found() == "k");
  Call(&location, two);
  location.ClearGLocations();
  CHECK(Found() == "k");
}

TEST_CASE_FIXTURE(Fixture, "the longest name") {
  CHECK(TextOf(reverse.GetLongestReverseGeocode()) == "");
  const std::pair<std::string, std::string> rows[] = {
      {"12 02 12 00 12 04 12 02 2A 00 12 06 12 04 2A 02 0A 00", ""},
      {"12 07 12 05 2A 03 0A 01 61 12 02 12 00 12 0A 12 08 2A 04 0A 02 62 62 2A 00 "
       "12 0D 12 0B 2A 04 0A 02 63 63 2A 03 0A 01 64",
       "bb"},
      // Characters count, neither bytes nor UTF-16 units.
      {"12 15 12 13 2A 05 0A 03 61 62 63 2A 0A 0A 08 F0 9F 8C 8D F0 9F 8C 8D", "abc"},
  };
  for (const auto& [reply, longest] : rows) {
    Call(&reverse, reply);
    CHECK(TextOf(reverse.GetLongestReverseGeocode()) == longest);
  }
}
