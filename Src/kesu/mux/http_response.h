#ifndef KESU_MUX_HTTP_RESPONSE_H_
#define KESU_MUX_HTTP_RESPONSE_H_

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/header_field_iterator_interface.h"
#include "kesu/mux/non_multipart_response.h"
#include "kesu/mux/response.h"

namespace common_kesu {

/// The answer to an HttpRequest: header fields and a body. Its status is that of the block it came
/// in.
class HttpResponse : public Response {
 public:
  /// A new response, owned by the caller, made out of `source`, which must outlive it; null where
  /// the payload is malformed. The length of the body is reckoned from the lengths of the headers
  /// in characters, deliberately: a header that is not plain ASCII makes the payload malformed.
  static HttpResponse* NewHttpResponseFrom(NonMultipartResponse* source);

  int ComputePayloadLength() const override { return body_length_; }
  common_base::DataInputStream* GetInputStream() const override;
  int status_code() const override { return source_->status_code(); }
  void set_status_code(int status_code) override { source_->set_status_code(status_code); }

  const common_base::GVector<common_base::GString>& header_names() const { return header_names_; }
  /// A new iterator over the headers, owned by the caller; this response must outlive it.
  HeaderFieldIteratorInterface* NewHeaderFieldIterator() const;
  /// The value of the first header of exactly this name; empty where there is none.
  common_base::GString ValueOfHeader(const common_base::GString& name) const;
  /// Whether there is such a header with a value: an empty one counts as absent, deliberately.
  bool HasHeader(const common_base::GString& name) const;
  const NonMultipartResponse* source() const { return source_; }

 private:
  explicit HttpResponse(NonMultipartResponse* source);

  bool Initialize();

  NonMultipartResponse* source_;
  int body_length_ = 0;
  common_base::GVector<common_base::GString> header_names_;
  common_base::GVector<common_base::GString> header_values_;
  common_base::GVector<unsigned char> body_;
  /// Of `body_`, for streams.
  common_base::GVectorRef<const unsigned char> body_view_;
};

}  // namespace common_kesu

#endif  // KESU_MUX_HTTP_RESPONSE_H_
