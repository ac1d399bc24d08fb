// Random histories of services, their invocations and the multiplexer, from inside outcomes too. An
// invocation starts exactly when it may, it is told its outcome once, unless the multiplexer goes,
// and never once it or its service has gone. Under the sanitizers nothing may dangle.
#include <list>
#include <memory>
#include <random>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"
#include "kesu/services/location_service.h"
#include "kesu/services/reverse_geocode_service.h"

using common_base::RequestInterface;
using common_kesu::LbsService;
using common_kesu::LocationService;
using common_kesu::MobileServiceMux;
using common_kesu::ReverseGeocodeService;
using kesu_test::MuxFixture;

namespace {

class History {
 public:
  explicit History(unsigned seed) : random_(seed) {}

  void Run(int steps) {
    while (steps-- > 0) Step();
    depth_ = kMaxDepth;
    for (int i = 0; i < 4; ++i) {
      fixture_.Advance(4 * MuxFixture::kRetryDelay);
      while (!fixture_.transport.Open().empty()) EndSomePost();
    }
    for (const Call& call : calls_) CHECK((!call.is_running || call.mux != mux_));
    while (!services_.empty()) DeleteService();
    while (!calls_.empty()) Forget(&calls_.front());
  }

 private:
  static constexpr int kMaxDepth = 4;
  struct Call;

  /// One of the three.
  struct AnyService {
    RequestInterface* NewInvocation() const {
      if (typed) return typed->NewInvocation();
      return location ? location->NewInvocation() : reverse->NewInvocation();
    }

    std::unique_ptr<LbsService> typed;
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
    /// Which multiplexer it was started with.
    int mux = 0;
  };

  int Pick(int count) { return std::uniform_int_distribution(0, count - 1)(random_); }
  template <typename Container>
  auto* PickFrom(Container* container) {
    return &*std::next(container->begin(), Pick(static_cast<int>(container->size())));
  }

  void OnEnd(Call* call) {
    REQUIRE(call->is_running);
    call->service->current = nullptr;
    calls_.remove_if([&](const Call& entry) { return &entry == call; });
    if (depth_ >= kMaxDepth) return;
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
    const int kind = Pick(3);
    if (kind == 0) service->typed = std::make_unique<LbsService>("g", new lbs::GLocRequest);
    if (kind == 1) service->reverse = std::make_unique<ReverseGeocodeService>(1.0F, 2.0F, nullptr);
    if (kind != 2) return;
    service->location = std::make_unique<LocationService>("g", new lbs::GLocRequest);
    service->location->set_send_immediately(Pick(2) == 0);
  }

  void DeleteService() {
    const AnyService* service = PickFrom(&services_);
    calls_.remove_if([&](Call& call) {
      if (call.service != service) return false;
      call.service = nullptr;
      // An invocation that outlives a typed service is its owner's.
      const bool is_current = service->current == &call;
      return std::exchange(call.is_running, false) && service->typed == nullptr && is_current;
    });
    services_.remove_if([&](const AnyService& entry) { return &entry == service; });
  }

  void NewCall(AnyService* service) {
    Call* call = &calls_.emplace_back();
    call->history = this;
    call->service = service;
    call->request = service->NewInvocation();
    const Call* current = service->current;
    const bool is_busy = current != nullptr && current->is_running && current->mux == mux_;
    if (!is_busy) service->current = call;
  }

  void Start(Call* call) {
    if (call->is_running) return;
    AnyService* service = call->service;
    const bool may_start =
        MobileServiceMux::InstanceExists() && service != nullptr && service->current == call;
    call->is_running = may_start;
    call->mux = mux_;
    if (may_start && service->typed) service->typed->ResetForNewRequest();
    CHECK((call->request->Start(call) == 0) == may_start);
  }

  void Forget(Call* call) {
    call->request->Cancel();
    if (call->service && call->service->current == call) call->service->current = nullptr;
    calls_.remove_if([&](const Call& entry) { return &entry == call; });
  }

  void ReplaceMultiplexer() {
    // The multiplexer must not go from inside a callback.
    if (depth_ > 0) return;
    MobileServiceMux::DeleteInstance();
    ++mux_;
    if (Pick(3) != 0) fixture_.Initialize();
  }

  void EndSomePost() {
    const auto posts = fixture_.transport.Open();
    if (posts.empty()) return;
    const std::size_t post = *PickFrom(&posts);
    std::string reply = kesu_test::kReplyStart;
    for (const auto& request : kesu_test::PostedRequests(fixture_.transport.exchange(post).body)) {
      if (Pick(5) != 0) reply += kesu_test::ReplyBlock(request.id, Pick(4) == 0 ? "?" : "\x1A\1k");
    }
    fixture_.transport.End(post, Pick(3) != 0 ? 200 : Pick(2) == 0 ? 500 : 502, reply);
  }

  std::mt19937 random_;
  MuxFixture fixture_;
  std::list<AnyService> services_;
  std::list<Call> calls_;
  int mux_ = 0;
  int depth_ = 0;
};

}  // namespace

TEST_CASE("random histories of services") {
  for (unsigned seed = 0; seed < 150; ++seed) {
    CAPTURE(seed);
    History(seed).Run(500);
  }
}
