#ifndef KESU_TOOL_LOOKUP_H_
#define KESU_TOOL_LOOKUP_H_

#include <functional>
#include <memory>
#include <vector>

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/request_interface.h"
#include "kesu/proto/lbs.h"

#include "tools/kesu/arguments.h"
#include "tools/kesu/result.h"

namespace kesu_tool {

/// One question to the service, asked once. It waits with the others for the next POST. Deleting it
/// cancels it, and goes before the multiplexer does.
class Lookup : public common_base::RequesterInterface {
 public:
  Lookup() = default;
  Lookup(const Lookup&) = delete;
  Lookup& operator=(const Lookup&) = delete;

  /// `at_end` is called when the result is there, never from inside. False when the question could
  /// not be asked: the result says so already.
  bool Start(std::function<void()> at_end);

  const Result& result() const { return result_; }

  void OnRequestComplete(common_base::RequestInterface* request) override;
  void OnRequestFailed(common_base::RequestInterface* request) override;

 protected:
  /// For the subclass's constructor: what is asked about, which the result tells in any case.
  void SetPoint(const Point& point) { result_.point = point; }

 private:
  virtual common_base::RequestInterface* NewInvocation() = 0;
  virtual int last_status() const = 0;
  virtual int last_http_status() const = 0;
  virtual const common_kesu::TransportError& last_transport_error() const = 0;
  /// The answer of a request that has succeeded.
  virtual const lbs::GLocReply& reply() const = 0;
  /// Takes what the answer says into `result`, whose outcome is "found" already.
  virtual void ReadAnswer(Result* result) const = 0;

  void TakeError();

  Result result_;
  std::function<void()> at_end_;
};

/// One lookup per observation or point, not yet started. `clock` is borrowed.
std::vector<std::unique_ptr<Lookup>> NewLookups(const Arguments& arguments,
                                                const common_base::ClockInterface* clock);

}  // namespace kesu_tool

#endif  // KESU_TOOL_LOOKUP_H_
