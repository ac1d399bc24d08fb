// Long random histories of services, their invocations and the multiplexer. An invocation starts
// exactly when it may, it is told its outcome at most once, and never once it or its service has
// gone. Under the sanitizers nothing may dangle either.
#include <list>
#include <memory>
#include <random>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/services/location_service.h"
#include "kesu/services/reverse_geocode_service.h"
#include "kesu/services/service_fixture.h"

using common_base::RequesterInterface;
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
    while (steps-- > 0) Step(true);
    while (!services_.empty()) DeleteService();
    while (!calls_.empty()) Forget(&calls_.front());
    CHECK(fixture_.transport.open_count() == CountPostsInFlight());
    return told_;
  }

 private:
  struct Call;

  struct AnyService {
    RequestInterface* NewInvocation() const {
      return location ? location->NewInvocation() : reverse->NewInvocation();
    }
    std::unique_ptr<LocationService> location;
    std::unique_ptr<ReverseGeocodeService> reverse;
    /// What may be started, or is running.
    Call* current = nullptr;
  };

  struct Call final : RequesterInterface {
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
    std::erase_if(calls_, [&](const Call& entry) { return &entry == call; });
    if (depth_ > 3) return;
    ++depth_;
    for (int i = Pick(4); i > 0; --i) Step(false);
    --depth_;
  }

  void Step(bool is_outside) {
    switch (Pick(11)) {
      case 0:
        return NewService();
      case 1:
        return services_.size() > 3 ? DeleteService() : NewService();
      case 2:
      case 3:
        return NewCall();
      case 4:
      case 5:
      case 6:
        return StartCall();
      case 7:
        if (!calls_.empty() && Pick(2) == 0) Forget(PickFrom(&calls_));
        return;
      case 8:
        return fixture_.Advance(Pick(300000));
      case 9:
        if (is_outside && Pick(MobileServiceMux::InstanceExists() ? 10 : 2) == 0)
          ReplaceMultiplexer();
        return;
      default:
        EndSomePost();
    }
  }

  void NewService() {
    services_.emplace_back();
    AnyService* service = &services_.back();
    if (Pick(2) == 0) {
      service->location =
          std::make_unique<LocationService>("g:loc/ql", ServiceFixture::NewRequest("A"));
      service->location->set_send_immediately(Pick(2) == 0);
    } else {
      service->reverse = std::make_unique<ReverseGeocodeService>(1.0F, 2.0F, nullptr);
    }
  }

  void DeleteService() {
    const AnyService* service = PickFrom(&services_);
    std::erase_if(calls_, [&](Call& call) {
      if (call.service == service) call.service = nullptr;
      return call.service == nullptr && call.is_running;
    });
    services_.remove_if([&](const AnyService& entry) { return &entry == service; });
  }

  void NewCall() {
    if (services_.empty()) return;
    calls_.emplace_back();
    Call* call = &calls_.back();
    call->history = this;
    call->service = PickFrom(&services_);
    const Call* current = call->service->current;
    call->request = call->service->NewInvocation();
    if (current == nullptr || !current->is_running) call->service->current = call;
  }

  void StartCall() {
    if (calls_.empty()) return;
    Call* call = PickFrom(&calls_);
    if (call->is_running) return;
    const bool may_start = MobileServiceMux::InstanceExists() && call->service != nullptr &&
                           call->service->current == call;
    call->is_running = may_start;
    CHECK((call->request->Start(call) == 0) == may_start);
  }

  void Forget(Call* call) {
    call->request->Cancel();
    if (call->service != nullptr && call->service->current == call) {
      call->service->current = nullptr;
    }
    std::erase_if(calls_, [&](const Call& entry) { return &entry == call; });
  }

  void ReplaceMultiplexer() {
    MobileServiceMux::DeleteInstance();
    first_post_ = fixture_.transport.count();
    if (Pick(3) == 0) return;
    MobileServiceMux::Initialize(&fixture_.transport, &fixture_.queue, &fixture_.clock,
                                 ServiceFixture::NewConfig(ServiceFixture::kUrl));
  }

  std::vector<std::size_t> PostsInFlight() const {
    std::vector<std::size_t> posts;
    for (std::size_t i = first_post_; i < fixture_.transport.count(); ++i) {
      if (!fixture_.transport.exchange(i).has_ended) posts.push_back(i);
    }
    return posts;
  }
  int CountPostsInFlight() const { return static_cast<int>(PostsInFlight().size()); }

  void EndSomePost() {
    const std::vector<std::size_t> posts = PostsInFlight();
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
  CHECK(told > 500);
}
