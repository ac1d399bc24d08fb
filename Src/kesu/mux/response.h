#ifndef KESU_MUX_RESPONSE_H_
#define KESU_MUX_RESPONSE_H_

#include "kesu/common/base/data_input_stream.h"
#include "kesu/mux/block.h"
#include "kesu/mux/http_request_factory.h"
#include "kesu/mux/http_request_interface.h"

namespace common_kesu {

/// The answer to one request, as its listener gets to see it. It lives, with all it refers to,
/// until the listener returns.
class Response : public Block {
 public:
  Response(BlockType type, int id, int status_code)
      : Block(type, static_cast<short>(id)), status_code_(status_code) {}

  /// The byte count of the decoded payload.
  virtual int ComputePayloadLength() const = 0;
  /// A new stream over the decoded payload, owned by the caller; null where there is no payload to
  /// read at all.
  virtual common_base::DataInputStream* GetInputStream() const = 0;
  /// The status of this one request; of an ErrorResponse the reason of the failure.
  virtual int status_code() const { return status_code_; }
  virtual void set_status_code(int status_code) { status_code_ = status_code; }
  virtual bool is_error() const { return false; }
  /// The HTTP exchange that carried the reply; null when there was none.
  virtual const HttpRequestInterface* http_request() const { return http_request_; }
  virtual const HttpRequestFactory::StatusInfo* http_status_info() const {
    return http_status_info_;
  }
  /// Both are borrowed.
  virtual void SetHttpFields(const HttpRequestInterface* request,
                             const HttpRequestFactory::StatusInfo* status_info) {
    http_request_ = request;
    http_status_info_ = status_info;
  }

 private:
  int status_code_;
  const HttpRequestInterface* http_request_ = nullptr;
  const HttpRequestFactory::StatusInfo* http_status_info_ = nullptr;
};

/// The answer to a request that failed as a whole. Its status is the HTTP status of the carrier or
/// one of those below.
class ErrorResponse : public Response {
 public:
  /// The reply spoke another version of the protocol.
  static constexpr int kProtocolVersionMismatch = 2;
  /// The request was sent as often as it may be.
  static constexpr int kRetriesUsedUp = -3;

  ErrorResponse(int id, int status_code) : Response(kResponseBlock, id, status_code) {}

  int ComputePayloadLength() const override { return 0; }
  common_base::DataInputStream* GetInputStream() const override { return nullptr; }
  bool is_error() const override { return true; }
};

}  // namespace common_kesu

#endif  // KESU_MUX_RESPONSE_H_
