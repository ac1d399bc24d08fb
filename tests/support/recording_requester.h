#ifndef SUPPORT_RECORDING_REQUESTER_H_
#define SUPPORT_RECORDING_REQUESTER_H_

#include <functional>
#include <utility>

#include "kesu/common/base/request_interface.h"

namespace kesu_test {

/// A requester that counts what it is told, and runs a function from inside the callback that
/// reports the end. The function may destroy this requester.
class RecordingRequester final : public common_base::RequesterInterface {
 public:
  using Request = common_base::RequestInterface;
  using Action = std::function<void(Request*)>;

  RecordingRequester() = default;
  explicit RecordingRequester(Action at_end) : at_end_(std::move(at_end)) {}

  void OnRequestComplete(Request* request) override { End(request, &completed); }
  void OnRequestFailed(Request* request) override { End(request, &failed); }
  void OnRequestMadeProgress(Request* request) override {
    ++progressed;
    last_request = request;
  }

  int completed = 0;
  int failed = 0;
  int progressed = 0;
  /// The request of the latest call, for comparison only.
  Request* last_request = nullptr;

 private:
  void End(Request* request, int* count) {
    ++*count;
    last_request = request;
    if (const Action action = at_end_) action(request);
  }

  Action at_end_;
};

}  // namespace kesu_test

#endif  // SUPPORT_RECORDING_REQUESTER_H_
