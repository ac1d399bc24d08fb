// Services and invocations that come and go at any time: under the sanitizers nothing may dangle.
#include <memory>
#include <string>
#include <string_view>

#include <doctest/doctest.h>

#include "kesu/services/location_service.h"
#include "kesu/services/reverse_geocode_service.h"
#include "kesu/services/service_fixture.h"

using common_base::RequestInterface;
using common_kesu::LocationService;
using common_kesu::MobileServiceMux;
using common_kesu::ReverseGeocodeService;
using kesu_test::RecordingRequester;
using kesu_test::ServiceFixture;

namespace {

template <typename Service>
std::unique_ptr<Service> NewService();

template <>
std::unique_ptr<LocationService> NewService() {
  return std::make_unique<LocationService>("g:loc/ql", ServiceFixture::NewRequest("A"));
}

template <>
std::unique_ptr<ReverseGeocodeService> NewService() {
  return std::make_unique<ReverseGeocodeService>(52.5F, 13.4F, nullptr);
}

template <typename Service>
struct Fixture : ServiceFixture {
  /// Ends what runs, well or badly.
  void End(bool well) { well ? Answer("") : FailPost(); }
  static int Ends(const RecordingRequester& requester) {
    return requester.completed + requester.failed;
  }

  std::unique_ptr<Service> service = NewService<Service>();
};

}  // namespace

TEST_CASE_TEMPLATE("a service is deleted from inside its outcome", Service, LocationService,
                   ReverseGeocodeService) {
  for (const bool well : {true, false}) {
    CAPTURE(well);
    Fixture<Service> f;
    RecordingRequester requester([&](RequestInterface*) { f.service.reset(); });
    CHECK(f.service->NewInvocation()->Start(&requester) == 0);
    f.End(well);
    CHECK(requester.completed == (well ? 1 : 0));
    CHECK(requester.failed == (well ? 0 : 1));
    CHECK(f.service == nullptr);
  }
}

TEST_CASE_TEMPLATE("the next invocation starts from inside the outcome", Service, LocationService,
                   ReverseGeocodeService) {
  for (const bool well : {true, false}) {
    CAPTURE(well);
    Fixture<Service> f;
    RecordingRequester second;
    RecordingRequester first(
        [&](RequestInterface*) { CHECK(f.service->NewInvocation()->Start(&second) == 0); });
    CHECK(f.service->NewInvocation()->Start(&first) == 0);
    f.End(well);
    CHECK(f.Ends(first) == 1);
    CHECK(f.Ends(second) == 0);
    f.mux()->FlushPendingRequests();
    CHECK(f.transport.count() == 2);
    f.Answer("");
    CHECK(second.completed == 1);
  }
}

TEST_CASE_TEMPLATE("another service's invocation is cancelled, or it is deleted, from inside",
                   Service, LocationService, ReverseGeocodeService) {
  for (const bool well : {true, false}) {
    for (const bool deletes : {true, false}) {
      CAPTURE(well);
      CAPTURE(deletes);
      Fixture<Service> f;
      std::unique_ptr<LocationService> other = NewService<LocationService>();
      RequestInterface* other_invocation = other->NewInvocation();
      RecordingRequester other_requester;
      RecordingRequester requester([&](RequestInterface*) {
        if (deletes) {
          other.reset();
        } else {
          other_invocation->Cancel();
        }
      });
      CHECK(f.service->NewInvocation()->Start(&requester) == 0);
      CHECK(other_invocation->Start(&other_requester) == 0);
      // Both are in one POST, the other one behind.
      f.End(well);
      CHECK(f.transport.count() == 1);
      CHECK(f.Ends(requester) == 1);
      CHECK(f.Ends(other_requester) == 0);
      if (deletes) continue;
      CHECK(other->NewInvocation()->Start(&other_requester) == 0);
      f.Answer("");
      CHECK(other_requester.completed == 1);
    }
  }
}

TEST_CASE_TEMPLATE("a service goes while its invocation runs, and nobody hears of it", Service,
                   LocationService, ReverseGeocodeService) {
  enum Stage { kWaiting, kInFlight, kHeldBack, kWithoutMultiplexer };
  for (const Stage stage : {kWaiting, kInFlight, kHeldBack, kWithoutMultiplexer}) {
    CAPTURE(stage);
    Fixture<Service> f;
    RecordingRequester requester;
    CHECK(f.service->NewInvocation()->Start(&requester) == 0);
    if (stage == kInFlight) f.mux()->FlushPendingRequests();
    if (stage == kHeldBack) f.FailPost(502);
    if (stage == kWithoutMultiplexer) MobileServiceMux::DeleteInstance();
    f.service.reset();
    if (stage == kInFlight) f.transport.Fail(0, 500);
    f.Advance(ServiceFixture::kRetryDelay);
    CHECK(f.Ends(requester) == 0);
    CHECK(f.transport.count() == (stage == kInFlight || stage == kHeldBack ? 1 : 0));
  }
}

TEST_CASE_TEMPLATE("an invocation that was not started stays its owner's", Service, LocationService,
                   ReverseGeocodeService) {
  Fixture<Service> f;
  RecordingRequester requester;
  SUBCASE("the service goes first") {
    RequestInterface* invocation = f.service->NewInvocation();
    f.service.reset();
    CHECK(invocation->Start(&requester) != 0);
    invocation->Cancel();
  }
  SUBCASE("it goes first") {
    f.service->NewInvocation()->Cancel();
    CHECK(f.service->NewInvocation()->Start(&requester) == 0);
    f.Answer("");
    CHECK(requester.completed == 1);
  }
  SUBCASE("another took its place") {
    RequestInterface* old = f.service->NewInvocation();
    CHECK(f.service->NewInvocation()->Start(&requester) == 0);
    RecordingRequester other;
    CHECK(old->Start(&other) != 0);
    old->Cancel();
    f.Answer("");
    CHECK(requester.completed == 1);
    CHECK(f.Ends(other) == 0);
  }
  SUBCASE("it could not be started") {
    MobileServiceMux::DeleteInstance();
    RequestInterface* invocation = f.service->NewInvocation();
    CHECK(invocation->Start(&requester) != 0);
    f.service.reset();
    invocation->Cancel();
    CHECK(f.Ends(requester) == 0);
  }
}

TEST_CASE_TEMPLATE("a second invocation cannot start while one runs", Service, LocationService,
                   ReverseGeocodeService) {
  Fixture<Service> f;
  RecordingRequester first;
  RecordingRequester second;
  CHECK(f.service->NewInvocation()->Start(&first) == 0);
  RequestInterface* invocation = f.service->NewInvocation();
  CHECK(invocation->Start(&second) != 0);
  SUBCASE("and is given up at once") {
    invocation->Cancel();
  }
  SUBCASE("and is given up later") {
    f.Answer("");
    invocation->Cancel();
  }
  SUBCASE("and is given up after the service") {
    f.Answer("");
    f.service.reset();
    invocation->Cancel();
  }
  if (f.transport.count() == 0) f.Answer("");
  CHECK(first.completed == 1);
  CHECK(f.Ends(second) == 0);
}

TEST_CASE_TEMPLATE("a cancelled invocation is not heard of, and the service goes on", Service,
                   LocationService, ReverseGeocodeService) {
  Fixture<Service> f;
  RecordingRequester requester;
  RequestInterface* invocation = f.service->NewInvocation();
  CHECK(invocation->Start(&requester) == 0);
  SUBCASE("while it waits") {}
  SUBCASE("in flight") {
    f.mux()->FlushPendingRequests();
  }
  SUBCASE("after the multiplexer has gone") {
    MobileServiceMux::DeleteInstance();
    invocation->Cancel();
    CHECK(f.Ends(requester) == 0);
    return;
  }
  invocation->Cancel();
  RecordingRequester again;
  CHECK(f.service->NewInvocation()->Start(&again) == 0);
  f.Answer("");
  CHECK(again.completed == 1);
  if (f.transport.exchange(0).request != nullptr) f.transport.Fail(0, 500);
  CHECK(f.Ends(requester) == 0);
}

TEST_CASE_TEMPLATE("a service survives one multiplexer and uses the next", Service, LocationService,
                   ReverseGeocodeService) {
  Fixture<Service> f;
  RecordingRequester requester;
  RequestInterface* invocation = f.service->NewInvocation();
  CHECK(invocation->Start(&requester) == 0);
  MobileServiceMux::DeleteInstance();
  invocation->Cancel();
  MobileServiceMux::Initialize(&f.transport, &f.queue, &f.clock,
                               ServiceFixture::NewConfig(ServiceFixture::kUrl));
  CHECK(f.service->NewInvocation()->Start(&requester) == 0);
  f.Answer("");
  CHECK(requester.completed == 1);
}
