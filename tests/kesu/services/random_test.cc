// Random histories of services, their invocations and the multiplexer. An invocation starts exactly
// when it may, it is told its outcome at most once, and never once it or its service has gone.
#include <list>
#include <memory>
#include <random>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/services/location_service.h"
#include "kesu/services/reverse_geocode_service.h"
#include "kesu/services/service_fixture.h"

using common_base::RequestInterface;
using common_kesu::LocationService;
using common_kesu::MobileServiceMux;
using common_kesu::ReverseGeocodeService;
using kesu_test::ServiceFixture;

namespace {

class History {
 public:
  explicit History(unsigned seed) : random_(seed) {}

  int Run(int steps) {
    while (steps-- > 0) Step();
    while (!services_.empty()) DeleteService();
    while (!calls_.empty()) Forget(&calls_.front());
    return told_;
  }

 private:
  struct Call;

  struct AnyService {
    std::unique_ptr<LocationService> location;
    std::unique_ptr<ReverseGeocodeService> reverse;
    /// What may be started, or is running.
    Call* current = nullptr;
  };

  struct Call final : common_base::RequesterInterface {
    void OnRequestComplete(RequestInterface*) override { history->OnEnd(this); }
    void OnRequestFailed(RequestInterface*) override { history->OnEnd(this); }

    History* history = nullptr;
    /// Null once it has gone.
    AnyService* service = nullptr;
    RequestInterface* request = nullptr;
    bool is_running = false;
  };

  int Pick(int count) { return std::uniform_int_distribution(0, count - 1)(random_); }
  template <typename Container>
  auto* PickFrom(Container* container) {
    return &*std::next(container->begin(), Pick(static_cast<int>(container->size())));
  }

  void OnEnd(Call* call) {
    ++told_;
    REQUIRE(call->is_running);
    call->service->current = nullptr;
    calls_.remove_if([&](const Call& entry) { return &entry == call; });
    if (depth_ > 3) return;
    ++depth_;
    for (int i = Pick(4); i > 0; --i) Step();
    --depth_;
  }

  void Step() {
    const int choice = Pick(10);
    if (choice < 2) return services_.size() > 3 ? DeleteService() : NewService();
    if (choice < 4 && !services_.empty()) return NewCall(PickFrom(&services_));
    if (choice < 7 && !calls_.empty()) return Start(PickFrom(&calls_));
    if (choice == 7 && !calls_.empty() && Pick(2) == 0) return Forget(PickFrom(&calls_));
    if (choice == 8) return fixture_.Advance(Pick(300000));
    if (Pick(MobileServiceMux::InstanceExists() ? 20 : 2) == 0) return ReplaceMultiplexer();
    EndSomePost();
  }

  void NewService() {
    AnyService* service = &services_.emplace_back();
    if (Pick(2) == 0) {
      service->location.reset(new LocationService("g:loc/ql", ServiceFixture::NewRequest("A")));
      service->location->set_send_immediately(Pick(2) == 0);
    } else {
      service->reverse.reset(new ReverseGeocodeService(1.0F, 2.0F, nullptr));
    }
  }

  void DeleteService() {
    const AnyService* service = PickFrom(&services_);
    calls_.remove_if([&](Call& call) {
      if (call.service == service) call.service = nullptr;
      return call.service == nullptr && call.is_running;
    });
    services_.remove_if([&](const AnyService& entry) { return &entry == service; });
  }

  void NewCall(AnyService* service) {
    Call* call = &calls_.emplace_back();
    call->history = this;
    call->service = service;
    call->request =
        service->location ? service->location->NewInvocation() : service->reverse->NewInvocation();
    if (service->current == nullptr || !service->current->is_running) service->current = call;
  }

  void Start(Call* call) {
    if (call->is_running) return;
    call->is_running = MobileServiceMux::InstanceExists() && call->service != nullptr &&
                       call->service->current == call;
    const bool may_start = call->is_running;
    CHECK((call->request->Start(call) == 0) == may_start);
  }

  void Forget(Call* call) {
    call->request->Cancel();
    if (call->service != nullptr && call->service->current == call)
      call->service->current = nullptr;
    calls_.remove_if([&](const Call& entry) { return &entry == call; });
  }

  void ReplaceMultiplexer() {
    // The multiplexer must not go from inside a callback.
    if (depth_ > 0) return;
    MobileServiceMux::DeleteInstance();
    first_post_ = fixture_.transport.count();
    if (Pick(3) == 0) return;
    MobileServiceMux::Initialize(&fixture_.transport, &fixture_.queue, &fixture_.clock,
                                 ServiceFixture::NewConfig(ServiceFixture::kUrl));
  }

  void EndSomePost() {
    std::vector<std::size_t> posts;
    for (std::size_t i = first_post_; i < fixture_.transport.count(); ++i) {
      if (!fixture_.transport.exchange(i).has_ended) posts.push_back(i);
    }
    if (posts.empty()) return;
    const std::size_t index = *PickFrom(&posts);
    if (Pick(3) == 0) return fixture_.transport.Fail(index, Pick(2) == 0 ? 500 : 502);
    std::string reply = kesu_test::kReplyStart;
    for (const auto& request : kesu_test::PostedRequests(fixture_.transport.exchange(index).body)) {
      const char* payload = Pick(4) == 0 ? ServiceFixture::kGarbage : "\x1A\1k";
      if (Pick(5) != 0) reply += kesu_test::ReplyBlock(request.id, payload);
    }
    fixture_.transport.Reply(index, reply);
  }

  std::mt19937 random_;
  ServiceFixture fixture_;
  std::list<AnyService> services_;
  std::list<Call> calls_;
  std::size_t first_post_ = 0;
  int depth_ = 0;
  int told_ = 0;
};

}  // namespace

TEST_CASE("random histories of services") {
  int told = 0;
  for (unsigned seed = 0; seed < 100; ++seed) {
    CAPTURE(seed);
    told += History(seed).Run(500);
  }
  CHECK(told > 300);
}
