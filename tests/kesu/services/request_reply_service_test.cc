// The machinery behind both services, through the typed service.
#include <memory>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/services/lbs_service.h"
#include "kesu/services/service_fixture.h"

#include "support/log_capture.h"

using common_base::RequestInterface;
using common_kesu::KesuServiceRequest;
using common_kesu::LbsService;
using kesu_test::kPayloadA;
using kesu_test::kPayloadB;
using kesu_test::RecordingRequester;
using kesu_test::ServiceFixture;

namespace {

struct Fixture : ServiceFixture {
  LbsService service{"g:loc/ql", NewRequest("A")};
  RecordingRequester requester;
};

}  // namespace

TEST_CASE_FIXTURE(Fixture, "a call is one request for the service's name, version 1") {
  KesuServiceRequest* invocation = service.NewInvocation();
  CHECK_FALSE(service.HasInvocationRunning());
  CHECK(invocation->ElapsedTicks() == 0);
  CHECK(invocation->Start(&requester) == 0);
  CHECK(service.HasInvocationRunning());
  CHECK(service.is_request_made());
  CHECK(transport.count() == 0);
  Advance(kBatchDelay);
  CHECK(invocation->ElapsedTicks() == kBatchDelay);
  REQUIRE(transport.count() == 1);
  const std::string block = transport.exchange(0).body.substr(kHeaderBytes);
  CHECK(kesu_test::ToHex(kesu_test::ViewOf(block)) ==
        "00 00 00 17 01 00 00 00 00 08 67 3A 6C 6F 63 2F 71 6C 00 01 00 00 00 05 0A 03 0A 01 41");
  Answer("");
  CHECK(requester.completed == 1);
  CHECK(requester.last_request == invocation);
  CHECK_FALSE(service.is_request_made());
  CHECK_FALSE(service.HasInvocationRunning());
  CHECK(service.is_response_received());
}

TEST_CASE_FIXTURE(Fixture, "calls may leave at once") {
  service.set_send_immediately(true);
  CHECK(service.send_immediately());
  service.NewInvocation()->Start(&requester);
  CHECK(transport.count() == 1);
  CHECK(requester.completed + requester.failed == 0);
  Answer("");
  CHECK(requester.completed == 1);
}

TEST_CASE_FIXTURE(Fixture, "after a failure the next call writes its payload afresh") {
  service.NewInvocation()->Start(&requester);
  FailPost();
  CHECK(requester.failed == 1);
  service.NewInvocation()->Start(&requester);
  mux()->FlushPendingRequests();
  CHECK(LatestPayload() == kPayloadA);
  FailPost();
  service.vollen_request()->mutable_platformprofile()->set_version("B");
  service.NewInvocation()->Start(&requester);
  mux()->FlushPendingRequests();
  CHECK(LatestPayload() == kPayloadB);
  Answer("");
  CHECK(requester.completed == 1);
}

TEST_CASE_FIXTURE(Fixture, "once there is a response a call succeeds at once, until the reset") {
  service.NewInvocation()->Start(&requester);
  Answer("");
  const lbs::GLocReply* reply = service.vollen_response();
  CHECK(reply != nullptr);
  const common_kesu::Response* seen = nullptr;
  RecordingRequester second([&](RequestInterface* request) {
    seen = static_cast<KesuServiceRequest*>(request)->response();
  });
  CHECK(service.NewInvocation()->Start(&second) == 0);
  CHECK(second.completed == 1);
  CHECK(seen == nullptr);
  CHECK(service.vollen_response() == reply);
  CHECK(transport.count() == 1);
  service.ResetForNewRequest();
  CHECK_FALSE(service.is_response_received());
  CHECK(service.NewInvocation()->Start(&second) == 0);
  CHECK(second.completed == 1);
  Answer("");
  CHECK(second.completed == 2);
  CHECK(transport.count() == 2);
  CHECK(LatestPayload() == kPayloadA);
}

TEST_CASE("how a call ends, and what the log says") {
  using Ending = void (*)(Fixture*);
  struct Row {
    std::string what;
    Ending end;
    bool is_success;
    int status;
    int http_status;
    std::vector<std::string> log;
  };
  const std::string handling = "  D: ... handling the response";
  const std::string error = "**W: The server sent back an error";
  const std::string unreadable = "**W: An error occurred while attempting to extract the response";
  const Row rows[] = {
      {"success", [](Fixture* f) { f->Answer("\x08\1"); }, true, 200, 200, {handling}},
      {"an empty answer", [](Fixture* f) { f->Answer(""); }, true, 200, 200, {handling}},
      {"the POST fails", [](Fixture* f) { f->FailPost(503); }, false, 503, 503, {handling, error}},
      {"retries used up",
       [](Fixture* f) {
         f->FailPost(502);
         f->Advance(ServiceFixture::kRetryDelay);
         f->FailPost(502);
       },
       false,
       -3,
       502,
       {handling, error}},
      {"another version",
       [](Fixture* f) {
         f->mux()->FlushPendingRequests();
         f->transport.Reply(0, "");
       },
       false,
       2,
       200,
       {handling, error}},
      {"status 404",
       [](Fixture* f) { f->Answer("\x08\1", 404); },
       false,
       404,
       200,
       {handling, unreadable}},
      {"status 0", [](Fixture* f) { f->Answer("", 0); }, false, 0, 200, {handling, unreadable}},
      {"garbage",
       [](Fixture* f) { f->Answer(ServiceFixture::kGarbage); },
       false,
       200,
       200,
       {handling, unreadable}},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    Fixture fixture;
    const common_kesu::Response* seen = nullptr;
    RecordingRequester requester([&](RequestInterface* request) {
      seen = static_cast<KesuServiceRequest*>(request)->response();
      CHECK(seen->status_code() == row.status);
    });
    fixture.service.NewInvocation()->Start(&requester);
    const kesu_test::LogCapture log(common_base::kLogDebug);
    row.end(&fixture);
    std::vector<std::string> lines;
    for (const std::string& line : log.lines()) {
      if (line.find("response body") == std::string::npos &&
          line.find("response payload") == std::string::npos &&
          line.find("MobileServiceMux") == std::string::npos &&
          line.find("invalid protocol version") == std::string::npos) {
        lines.push_back(line);
      }
    }
    CHECK(lines == row.log);
    CHECK(requester.completed == (row.is_success ? 1 : 0));
    CHECK(requester.failed == (row.is_success ? 0 : 1));
    CHECK(seen != nullptr);
    CHECK(fixture.service.is_response_received() == row.is_success);
    CHECK(fixture.service.last_status() == row.status);
    CHECK(fixture.service.last_http_status() == row.http_status);
  }
}

TEST_CASE("without a multiplexer a call cannot be started") {
  LbsService service("g:loc/ql", ServiceFixture::NewRequest("A"));
  RecordingRequester requester;
  KesuServiceRequest* invocation = service.NewInvocation();
  CHECK(invocation->Start(&requester) != 0);
  CHECK_FALSE(service.HasInvocationRunning());
  const ServiceFixture fixture;
  CHECK(invocation->Start(&requester) == 0);
  invocation->Cancel();
  CHECK(requester.completed + requester.failed == 0);
}

TEST_CASE_FIXTURE(Fixture, "one call runs at a time, and one that never ran gives way") {
  KesuServiceRequest* never_ran = service.NewInvocation();
  KesuServiceRequest* first = service.NewInvocation();
  RecordingRequester other;
  CHECK(never_ran->Start(&other) != 0);
  CHECK(first->Start(&requester) == 0);
  KesuServiceRequest* second = service.NewInvocation();
  CHECK(second->Start(&other) != 0);
  second->Cancel();
  never_ran->Cancel();
  CHECK(service.HasInvocationRunning());
  Answer("");
  CHECK(requester.completed == 1);
  CHECK(other.completed + other.failed == 0);
}

TEST_CASE_FIXTURE(Fixture, "a cancelled call is not heard of, and the service can be used again") {
  KesuServiceRequest* invocation = service.NewInvocation();
  invocation->Start(&requester);
  SUBCASE("while it waits") {}
  SUBCASE("in flight") {
    mux()->FlushPendingRequests();
  }
  SUBCASE("held back for a retry") {
    FailPost(502);
  }
  SUBCASE("by way of the service") {
    service.CancelTheKesuRequest();
    CHECK_FALSE(service.HasInvocationRunning());
  }
  invocation->Cancel();
  CHECK_FALSE(service.is_request_made());
  RecordingRequester again;
  service.NewInvocation()->Start(&again);
  Advance(kRetryDelay);
  Answer("");
  CHECK(again.completed == 1);
  CHECK(requester.completed + requester.failed == 0);
  Advance(kRetryDelay);
  if (transport.exchange(0).request != nullptr) transport.Reply(0, kesu_test::kReplyStart);
  CHECK(transport.open_count() == 0);
}

TEST_CASE_FIXTURE(Fixture, "cancelling an old call by way of the service spares the next") {
  KesuServiceRequest* old = service.NewInvocation();
  old->Start(&requester);
  service.CancelTheKesuRequest();
  RecordingRequester next;
  service.NewInvocation()->Start(&next);
  old->Cancel();
  Answer("");
  CHECK(next.completed == 1);
}

TEST_CASE("a service that goes takes its request along, with or without an invocation") {
  ServiceFixture fixture;
  RecordingRequester requester;
  auto service = std::make_unique<LbsService>("g:loc/ql", ServiceFixture::NewRequest("A"));
  RequestInterface* invocation = nullptr;
  SUBCASE("running") {
    invocation = service->NewInvocation();
    invocation->Start(&requester);
  }
  SUBCASE("not started") {
    invocation = service->NewInvocation();
  }
  SUBCASE("request made without an invocation") {
    CHECK(service->MakeTheKesuRequest());
  }
  SUBCASE("cancelled by way of the service") {
    invocation = service->NewInvocation();
    invocation->Start(&requester);
    service->CancelTheKesuRequest();
  }
  SUBCASE("the multiplexer has gone before") {
    invocation = service->NewInvocation();
    invocation->Start(&requester);
    common_kesu::MobileServiceMux::DeleteInstance();
  }
  service.reset();
  fixture.Advance(ServiceFixture::kBatchDelay);
  CHECK(fixture.transport.count() == 0);
  if (invocation != nullptr) {
    CHECK(invocation->Start(&requester) != 0);
    invocation->Cancel();
  }
  CHECK(requester.completed + requester.failed == 0);
}

TEST_CASE_FIXTURE(Fixture, "a request made without an invocation brings a response for the next") {
  CHECK(service.MakeTheKesuRequest());
  SUBCASE("with none at all") {
    Answer("");
    CHECK_FALSE(service.is_response_received());
  }
  SUBCASE("with one that is not started") {
    KesuServiceRequest* invocation = service.NewInvocation();
    Answer("");
    CHECK(service.is_response_received());
    CHECK(service.MakeTheKesuRequest());
    CHECK(invocation->Start(&requester) == 0);
    CHECK(requester.completed == 1);
    CHECK(transport.count() == 1);
    CHECK(service.MakeTheKesuRequest());
  }
}

TEST_CASE("messages that were handed away are the caller's") {
  ServiceFixture fixture;
  std::unique_ptr<lbs::GLocRequest> request;
  std::unique_ptr<lbs::GLocReply> first;
  std::unique_ptr<lbs::GLocReply> second;
  {
    LbsService service("g:loc/ql", ServiceFixture::NewRequest("A"));
    RecordingRequester requester;
    request.reset(service.vollen_request_as_owner());
    CHECK(service.vollen_response() == nullptr);
    service.NewInvocation()->Start(&requester);
    fixture.Answer("\x08\1");
    first.reset(service.vollen_response_as_owner());
    service.ResetForNewRequest();
    service.NewInvocation()->Start(&requester);
    fixture.Answer("\x08\2");
    second.reset(service.vollen_response_as_owner());
    CHECK(requester.completed == 2);
  }
  CHECK(ServiceFixture::PayloadOf(*request) == "\x0A\3\x0A\1A");
  CHECK(first->status() == 1);
  CHECK(second->status() == 2);
}

TEST_CASE("a request maker shapes the requests") {
  struct SlowMaker final : common_kesu::KesuRequestMaker {
    common_kesu::PlainRequest* NewKesuRequestFrom(const common_base::GString& service_uri,
                                                  const common_base::ByteView* payload) override {
      auto* request = new common_kesu::PlainRequest(
          service_uri, common_kesu::ServiceVersion::kVersion0, payload);
      request->set_retry_timeout(2000000);
      return request;
    }
  };
  ServiceFixture fixture;
  LbsService service("s", new SlowMaker, ServiceFixture::NewRequest("A"));
  RecordingRequester requester;
  service.NewInvocation()->Start(&requester);
  fixture.FailPost(502);
  fixture.Advance(1999999);
  CHECK(fixture.transport.count() == 1);
  fixture.Advance(1);
  REQUIRE(fixture.transport.count() == 2);
  CHECK(fixture.LatestPayload() == kPayloadA);
  fixture.Answer("");
  CHECK(requester.completed == 1);
}
