#include "kesu/common/base/internal/request_adapter.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "support/log_capture.h"
#include "support/recording_requester.h"

using namespace common_base;
using kesu_test::LogCapture;
using kesu_test::RecordingRequester;

namespace {

/// An inner request that the test owns.
struct Inner final : RequestInterface {
  int Start(RequesterInterface* to_tell) override {
    requester = to_tell;
    return start_result;
  }
  void Cancel() override { ++cancelled; }

  int start_result = 0;
  RequesterInterface* requester = nullptr;
  int cancelled = 0;
};

class Adapter final : public RequestAdapter {
 public:
  Adapter(RequestInterface* inner, int* alive) : alive_(alive) {
    InitRequestAdapter(inner, "TestAdapter");
    ++*alive_;
  }
  ~Adapter() override { --*alive_; }

  using RequestAdapter::ResetInnerRequest;
  using RequestAdapter::SetSucceeded;

  std::function<void(Adapter*)> on_complete;
  std::function<void(Adapter*)> on_failed;

 protected:
  void OnInnerRequestComplete(RequestInterface*) override {
    if (on_complete) on_complete(this);
  }
  void OnInnerRequestFailed(RequestInterface* request) override {
    RequestAdapter::OnInnerRequestFailed(request);
    if (on_failed) on_failed(this);
  }

 private:
  int* alive_;
};

struct Fixture {
  Fixture() : adapter(new Adapter(&inner, &alive)) {}

  Inner inner;
  int alive = 0;
  Adapter* adapter;
  RecordingRequester requester;
};

}  // namespace

TEST_CASE("the outcome of the inner request, as the subclass leaves it, is reported once") {
  struct {
    bool inner_succeeds, changes, reported_success;
  } const kCases[] = {
      {true, false, true}, {false, false, false}, {true, true, false}, {false, true, true}};
  for (const auto& c : kCases) {
    Fixture f;
    const auto change = [&c](Adapter* adapter) {
      if (c.changes) adapter->SetSucceeded(c.reported_success);
    };
    f.adapter->on_complete = change;
    f.adapter->on_failed = change;
    f.adapter->Start(&f.requester);
    if (c.inner_succeeds) {
      f.inner.requester->OnRequestComplete(&f.inner);
    } else {
      f.inner.requester->OnRequestFailed(&f.inner);
    }
    CHECK(f.requester.completed == (c.reported_success ? 1 : 0));
    CHECK(f.requester.failed == (c.reported_success ? 0 : 1));
    CHECK(f.requester.last_request == f.adapter);
    CHECK(f.alive == 0);
    CHECK(f.inner.cancelled == 0);
  }
}

TEST_CASE("a chained inner request is waited for, after a failure too") {
  Fixture f;
  Inner second;
  Inner third;
  f.adapter->on_complete = [&second](Adapter* adapter) {
    adapter->on_complete = nullptr;
    adapter->ResetInnerRequest(&second);
  };
  f.adapter->on_failed = [&third](Adapter* adapter) { adapter->ResetInnerRequest(&third); };
  f.adapter->Start(&f.requester);
  f.adapter->OnRequestComplete(&f.inner);
  f.adapter->OnRequestComplete(&f.inner);  // No longer its inner request.
  CHECK(second.requester == f.adapter);
  f.adapter->OnRequestFailed(&second);
  CHECK(third.requester == f.adapter);
  CHECK(f.requester.completed + f.requester.failed == 0);
  f.adapter->OnRequestComplete(&third);
  CHECK(f.requester.completed == 1);
  CHECK(f.requester.failed == 0);
  CHECK(f.alive == 0);
}

TEST_CASE("a chained inner request that cannot be started is a failure") {
  Fixture f;
  Inner second;
  second.start_result = -1;
  f.adapter->on_complete = [&second](Adapter* adapter) { adapter->ResetInnerRequest(&second); };
  f.adapter->Start(&f.requester);
  f.adapter->OnRequestComplete(&f.inner);
  CHECK(f.requester.failed == 1);
  CHECK(f.requester.completed == 0);
  CHECK(second.cancelled == 1);
  CHECK(f.alive == 0);
}

TEST_CASE("strange requests are ignored, progress is passed on") {
  Fixture f;
  Inner stranger;
  f.adapter->Start(&f.requester);
  f.adapter->OnRequestComplete(&stranger);
  f.adapter->OnRequestFailed(&stranger);
  CHECK(f.requester.completed + f.requester.failed == 0);
  f.adapter->OnRequestMadeProgress(&f.inner);
  f.adapter->OnRequestMadeProgress(&f.inner);
  CHECK(f.requester.progressed == 2);
  CHECK(f.requester.last_request == f.adapter);
  f.adapter->Cancel();
  CHECK(f.alive == 0);
}

TEST_CASE("cancelling and deleting cancel the inner request and tell nobody") {
  for (const bool by_cancel : {true, false}) {
    for (const bool started : {true, false}) {
      Fixture f;
      if (started) f.adapter->Start(&f.requester);
      if (by_cancel) {
        f.adapter->Cancel();
      } else {
        delete f.adapter;
      }
      CHECK(f.inner.cancelled == 1);
      CHECK(f.alive == 0);
      CHECK(f.requester.completed + f.requester.failed == 0);
    }
  }
}

TEST_CASE("Start passes the result of the inner request on") {
  Fixture f;
  f.inner.start_result = -1;
  CHECK(f.adapter->Start(&f.requester) == -1);
  f.adapter->Cancel();
}

TEST_CASE("the requester and the inner request may be deleted from inside the callback") {
  int alive = 0;
  auto inner = std::make_unique<Inner>();
  std::unique_ptr<RecordingRequester> requester;
  bool told = false;
  requester = std::make_unique<RecordingRequester>([&](RequestInterface*) {
    told = true;
    inner.reset();
    requester.reset();
  });
  auto* adapter = new Adapter(inner.get(), &alive);
  adapter->Start(requester.get());
  adapter->OnRequestComplete(inner.get());
  CHECK(told);
  CHECK(alive == 0);
}

TEST_CASE("log lines carry the low 32 bits of the address as a signed number") {
  struct {
    bool succeeds;
    std::vector<std::string> texts;
  } const kCases[] = {
      {true, {"start", "inner request complete", "complete"}},
      {false, {"start", "inner request failed", "failed"}},
  };
  for (const auto& c : kCases) {
    Fixture f;
    f.adapter->on_complete = [](Adapter* adapter) { adapter->SetSucceeded(false); };
    const auto id = std::to_string(static_cast<int>(reinterpret_cast<std::uintptr_t>(f.adapter)));
    const LogCapture log(kLogDebug);
    f.adapter->Start(&f.requester);
    if (c.succeeds) {
      f.adapter->OnRequestComplete(&f.inner);
    } else {
      f.adapter->OnRequestFailed(&f.inner);
    }
    REQUIRE(log.lines().size() == c.texts.size());
    for (std::size_t i = 0; i < c.texts.size(); ++i) {
      CHECK(log.lines()[i] == "  D: RequestAdapter TestAdapter " + id + ": " + c.texts[i]);
    }
  }
}
