#ifndef KESU_SERVICES_REQUEST_REPLY_SERVICE_BASE_H_
#define KESU_SERVICES_REQUEST_REPLY_SERVICE_BASE_H_

#include <optional>

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/data_output_stream.h"
#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/request.h"
#include "kesu/mux/transport_error.h"
#include "kesu/services/kesu_request_maker.h"
#include "kesu/services/kesu_service_request.h"

namespace common_kesu {

/// A remote service that is called with one message and answers with one, through the multiplexer.
/// A subclass writes the payload and reads the answer.
///
/// One invocation runs at a time. An invocation that is made while another runs cannot be started;
/// one that was never started gives way to the next.
class RequestReplyServiceBase : public common_base::HeapObject,
                                public Request::ListenerInterface,
                                public KesuServiceRequestPatron {
 public:
  explicit RequestReplyServiceBase(const common_base::GString& service_uri)
      : service_uri_(service_uri) {
    maker_ = &default_maker_.emplace();
  }
  /// Becomes the owner of `maker`.
  RequestReplyServiceBase(const common_base::GString& service_uri, KesuRequestMaker* maker)
      : maker_(maker), owned_maker_(maker), service_uri_(service_uri) {}
  RequestReplyServiceBase(const RequestReplyServiceBase&) = delete;
  RequestReplyServiceBase& operator=(const RequestReplyServiceBase&) = delete;

  bool RequestComplete(const Request* request, const Response* response, bool* ok) override;
  /// Cancels an invocation that runs: its requester hears nothing, and its Cancel() only deletes
  /// it.
  ~RequestReplyServiceBase() override;

  KesuServiceRequest* NewInvocation() override;
  /// Sends the request as it stands now; false when there is no multiplexer. A service that has its
  /// response already does not send: it tells the requester of success from inside, until
  /// ResetForNewRequest().
  bool MakeTheKesuRequest() override;
  void CancelTheKesuRequest() override;

  /// Reads the answer; false when it cannot be made out.
  virtual bool ExtractTheResponseFrom(common_base::DataInputStream* stream) = 0;
  virtual void WriteThePayloadTo(common_base::DataOutputStream* stream) = 0;
  /// Forgets the payload and the fact that there was a response, so that the next invocation sends
  /// anew. Not while an invocation runs.
  virtual void ResetForNewRequest();

  const common_base::GString& service_uri() const { return service_uri_; }
  bool is_request_made() const { return request_made_; }
  bool is_response_received() const { return response_received_; }
  /// How the last invocation ended: the status of its response, 200 for an answer that was
  /// delivered, readable or not. Of a request that failed as a whole it is the HTTP status of the
  /// carrier or one of those in ErrorResponse. 0 while there is none.
  int last_status() const { return last_status_; }
  /// The HTTP status of the exchange that carried that response; 0 where there was none.
  int last_http_status() const { return last_http_status_; }
  /// Why that exchange got no response, as the transport says; kNotStarted where there was none, be
  /// it that there is no multiplexer. kNone while an invocation runs, and wherever a server
  /// answered, whatever its status.
  const TransportError& last_transport_error() const { return last_transport_error_; }
  /// Whether an invocation has been started and has not ended. One whose multiplexer is gone does
  /// not run any more: it gives way to the next, and its owner, who never hears of it, cancels it.
  bool HasInvocationRunning() const {
    return HasInvocationStarted() && (!request_made_ || request_->is_waiting());
  }
  /// Whether there is one that has not ended, even if it never will.
  bool HasInvocationStarted() const { return invocation_ != nullptr && invocation_->is_started(); }

 private:
  void ForgetOutcome(const TransportError& error);
  void RememberOutcome(const Response& response);
  void ReplaceRequest(Request* request);
  void InformRequester(bool success, const Response* response);

  /// The request is with the multiplexer, which borrows it and, through it, the payload.
  bool request_made_ = false;
  bool response_received_ = false;
  common_base::ScopedPtr<Request> request_;
  KesuServiceRequest* invocation_ = nullptr;
  KesuRequestMaker* maker_;
  /// Where none was handed in.
  std::optional<KesuRequestMaker> default_maker_;
  common_base::ScopedPtr<KesuRequestMaker> owned_maker_;
  common_base::GString service_uri_;
  common_base::GVector<unsigned char> payload_;
  /// Of `payload_`, for the request, which borrows the view too.
  common_base::GVectorRef<const unsigned char> payload_view_;

  int last_status_ = 0;
  int last_http_status_ = 0;
  TransportError last_transport_error_;
};

}  // namespace common_kesu

#endif  // KESU_SERVICES_REQUEST_REPLY_SERVICE_BASE_H_
