#ifndef KESU_SERVICES_VOLLEN_SERVICE_H_
#define KESU_SERVICES_VOLLEN_SERVICE_H_

#include "kesu/common/net/proto/decode_budget.h"
#include "kesu/services/request_reply_service_base.h"

namespace common_kesu {

/// The service whose request is one message and whose answer is another.
template <typename Req, typename Reply>
class VollenService : public RequestReplyServiceBase {
 public:
  /// Owns `request`, which must not be null, until vollen_request_as_owner().
  VollenService(const common_base::GString& service_uri, Req* request)
      : RequestReplyServiceBase(service_uri), request_(request) {}
  /// Owns `maker` as well.
  VollenService(const common_base::GString& service_uri, KesuRequestMaker* maker, Req* request)
      : RequestReplyServiceBase(service_uri, maker), request_(request) {}

  ~VollenService() override {
    if (!request_handed_away_) delete request_;
    if (!reply_handed_away_) delete reply_;
  }

  bool ExtractTheResponseFrom(common_base::DataInputStream* stream) override {
    if (!reply_handed_away_) delete reply_;
    reply_handed_away_ = false;
    reply_ = new Reply;
    const common_net_proto::DecodeBudget budget;
    return reply_->Read(stream);
  }
  void WriteThePayloadTo(common_base::DataOutputStream* stream) override {
    request_->Write(stream);
  }

  /// The request as the next invocation sends it; the caller may change it.
  virtual Req* vollen_request() const { return request_; }
  /// The last answer that was read; null before the first.
  virtual Reply* vollen_response() const { return reply_; }
  /// The same, and the caller becomes the owner. The request must outlive this service; the answer
  /// is replaced, not changed, by the next.
  virtual Req* vollen_request_as_owner() {
    request_handed_away_ = true;
    return request_;
  }
  virtual Reply* vollen_response_as_owner() {
    reply_handed_away_ = true;
    return reply_;
  }

 private:
  Req* request_;
  Reply* reply_ = nullptr;
  bool request_handed_away_ = false;
  bool reply_handed_away_ = false;
};

}  // namespace common_kesu

#endif  // KESU_SERVICES_VOLLEN_SERVICE_H_
