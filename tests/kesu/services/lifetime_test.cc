// Services and invocations that come and go at any time: under the sanitizers nothing may dangle.
#include <memory>
#include <type_traits>

#include <doctest/doctest.h>

#include "kesu/services/location_service.h"
#include "kesu/services/reverse_geocode_service.h"
#include "kesu/services/service_fixture.h"

using common_base::RequestInterface;
using common_kesu::LbsService;
using common_kesu::LocationService;
using common_kesu::MobileServiceMux;
using common_kesu::ReverseGeocodeService;
using kesu_test::RecordingRequester;
using kesu_test::ServiceFixture;

namespace {

template <typename Service>
constexpr bool kIsTyped = std::is_same_v<Service, LbsService>;

template <typename Service>
struct Fixture : ServiceFixture {
  static std::unique_ptr<Service> New() {
    if constexpr (std::is_same_v<Service, ReverseGeocodeService>) {
      return std::make_unique<Service>(52.5F, 13.4F, nullptr);
    } else {
      return std::make_unique<Service>("g:loc/ql", NewRequest("A"));
    }
  }
  /// Started, which must work.
  RequestInterface* Start(RecordingRequester* told) {
    if constexpr (kIsTyped<Service>) service->ResetForNewRequest();
    RequestInterface* invocation = service->NewInvocation();
    CHECK(invocation->Start(told) == 0);
    return invocation;
  }

  std::unique_ptr<Service> service = New();
  RecordingRequester requester;
};

}  // namespace

TEST_CASE_TEMPLATE("what an outcome may do from inside", Service, LbsService, LocationService,
                   ReverseGeocodeService) {
  enum { kDelete, kStartNext, kCancelOther, kDeleteOther };
  for (const auto action : {kDelete, kStartNext, kCancelOther, kDeleteOther}) {
    for (const bool well : {true, false}) {
      CAPTURE(action);
      CAPTURE(well);
      Fixture<Service> f;
      auto other = f.New();
      RequestInterface* other_invocation = other->NewInvocation();
      RecordingRequester requester([&](RequestInterface*) {
        if (action == kDelete) f.service.reset();
        if (action == kStartNext) f.Start(&f.requester);
        if (action == kCancelOther) other_invocation->Cancel();
        if (action == kDeleteOther) other.reset();
      });
      f.Start(&requester);
      // Both are in one POST, the other one behind.
      if (action >= kCancelOther) CHECK(other_invocation->Start(&f.requester) == 0);
      if (action < kCancelOther) other_invocation->Cancel();
      well ? f.Answer("") : f.FailPost();
      CHECK((well ? requester.completed : requester.failed) == 1);
      CHECK(f.requester.completed + f.requester.failed == 0);
      if (action == kStartNext) {
        f.Answer("");
        CHECK(f.requester.completed == 1);
      }
      // An invocation that outlives a typed service is its owner's.
      if (kIsTyped<Service> && action == kDeleteOther) other_invocation->Cancel();
    }
  }
}

TEST_CASE_TEMPLATE("nobody hears of an invocation that is cancelled, or whose service has gone",
                   Service, LbsService, LocationService, ReverseGeocodeService) {
  enum { kWaiting, kInFlight, kHeldBack, kWithoutMultiplexer };
  for (const auto stage : {kWaiting, kInFlight, kHeldBack, kWithoutMultiplexer}) {
    for (const bool deletes : {true, false}) {
      CAPTURE(stage);
      CAPTURE(deletes);
      Fixture<Service> f;
      RequestInterface* invocation = f.Start(&f.requester);
      if (stage == kInFlight) f.mux()->FlushPendingRequests();
      if (stage == kHeldBack) f.FailPost(502);
      if (stage == kWithoutMultiplexer) MobileServiceMux::DeleteInstance();
      if (deletes) f.service = f.New();
      if (!deletes) invocation->Cancel();
      if (stage == kWithoutMultiplexer) {
        RequestInterface* early = f.service->NewInvocation();
        CHECK(early->Start(&f.requester) != 0);
        early->Cancel();
        MobileServiceMux::Initialize(&f.transport, &f.queue, &f.clock,
                                     ServiceFixture::NewConfig(ServiceFixture::kUrl));
      }
      RecordingRequester again;
      f.Start(&again);
      f.Advance(ServiceFixture::kRetryDelay);
      // The only one in its POST.
      f.LatestPayload();
      f.AnswerLatest("");
      if (stage == kInFlight) f.transport.Fail(0, 500);
      CHECK(again.completed == 1);
      CHECK(f.requester.completed + f.requester.failed == 0);
      if (deletes && kIsTyped<Service>) invocation->Cancel();
    }
  }
}
