#ifndef CLIENT_SERVICE_REQUEST_H_
#define CLIENT_SERVICE_REQUEST_H_

#include <functional>
#include <string_view>

#include "client/live_counters.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/plain_request.h"

namespace kesu::detail {

/// One question to a service, from its making to its answer. Destroying it takes it back, wherever
/// it is.
class ServiceRequest final : public common_kesu::PlainRequest,
                             private common_kesu::Request::ListenerInterface {
 public:
  /// Called once, from inside the multiplexer; it may destroy the request.
  using OnResponse = std::function<void(const common_kesu::Response&)>;

  /// `counters` is borrowed.
  ServiceRequest(std::string_view service, common_base::ByteVector payload, LiveCounters* counters,
                 OnResponse on_response);
  ServiceRequest(const ServiceRequest&) = delete;
  ServiceRequest& operator=(const ServiceRequest&) = delete;
  ~ServiceRequest() override;

  /// Hands it to the multiplexer, the first time.
  void Submit();

  /// Each time that a POST takes the request along.
  void WriteHeader(common_base::DataOutputStream* out) override;
  bool ShouldRetry() override;

 private:
  enum class Stage { kWaits, kIsInFlight, kHasEnded };

  bool RequestComplete(const common_kesu::Request* request, const common_kesu::Response* response,
                       bool* ok) override;
  void MoveTo(Stage stage);

  const common_base::ByteVector payload_;
  const common_base::ByteView payload_view_;
  LiveCounters* counters_;
  OnResponse on_response_;
  Stage stage_ = Stage::kWaits;
  bool is_submitted_ = false;
  bool was_sent_ = false;
};

}  // namespace kesu::detail

#endif  // CLIENT_SERVICE_REQUEST_H_
