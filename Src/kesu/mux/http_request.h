#ifndef KESU_MUX_HTTP_REQUEST_H_
#define KESU_MUX_HTTP_REQUEST_H_

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/body_part.h"
#include "kesu/mux/chunk_provider.h"
#include "kesu/mux/http_constants.h"
#include "kesu/mux/plain_request.h"

namespace common_kesu {

/// A call of a remote service in the form of an HTTP request (RFC 9110): a method, header fields, a
/// root body and any number of further body parts. It travels as a block of a POST like any other
/// request.
///
/// What it writes is made once and kept until the next setter.
class HttpRequest : public PlainRequest {
 public:
  /// Owns `root_body`, which may be null.
  explicit HttpRequest(common_base::GString service_uri,
                       ChunkProviderInterface* root_body = nullptr);
  HttpRequest(common_base::GString service_uri, ServiceVersion service_version,
              ChunkProviderInterface* root_body = nullptr);
  /// `payload` becomes the root body. The view and its bytes are borrowed for the life of the
  /// request.
  HttpRequest(common_base::GString service_uri,
              const common_base::GVectorRef<const unsigned char>* payload);
  HttpRequest(common_base::GString service_uri, ServiceVersion service_version,
              const common_base::GVectorRef<const unsigned char>* payload);

  void set_id(short id) override;
  void set_type(BlockType type) override;
  void set_body_length(int length) override;
  int GetBodyLength() override;
  /// A new list, owned by the caller, with the bytes of WriteHeader() and WriteBody(). The request
  /// must outlive it, unchanged.
  ChunkProviderInterface* AsChunkProvider() override;
  void WriteBody(common_base::DataOutputStream* out) override;
  /// The payload becomes the root body as well. The view and its bytes are borrowed.
  void set_payload(const common_base::GVectorRef<const unsigned char>* payload) override;
  /// Owns `part`, which is not changed any more, and makes this a multipart request. There can be
  /// 65535 parts; one more is reported as a broken contract and deleted.
  virtual void AddBodyPart(BodyPart* part);

  const common_base::GString& method() const { return method_; }
  void set_method(const common_base::GString& method);
  /// Owns `body`; null for none.
  void set_root_body(ChunkProviderInterface* body);

  /// Sets a header field. Its name is sent in lower case; twice the same name sends both.
  /// "content-type", however capitalised, sets the content type instead, which is sent only where
  /// there are body parts. There can be 255 fields, the content type counted, if there is one; what
  /// goes beyond that is reported as a broken contract and left out.
  void SetConnectionProperty(const common_base::GString& name, const common_base::GString& value);

  void WriteHttpHeaders(common_base::DataOutputStream* out) const;

 private:
  bool has_body_parts() const { return !body_parts_.IsEmpty(); }
  int root_body_length() const;
  void ClearInternalBuffers();
  void ClearBodyChunks() { body_chunks_.Clear(); }
  void MaybeUpdatePayloadMetadata();
  void MaybeUpdatePayloadHeader();
  void MaybeUpdateBodyPartCount();
  void MaybeUpdateRequestHeader();
  void MaybeUpdateBodyChunks();

  unsigned char property_count_ = 0;
  common_base::GString method_ = kDefaultMethod;
  common_base::GString content_type_;
  common_base::GVector<unsigned char> connection_properties_;
  common_base::GVector<unsigned char> body_part_count_;
  common_base::GVector<unsigned char> payload_metadata_;
  common_base::GVector<unsigned char> payload_header_;
  common_base::GVector<unsigned char> request_header_;
  common_base::ScopedPtr<ChunkProviderInterface> root_body_;
  common_base::ScopedPtr<ChunkProviderInterface> request_header_provider_;
  common_base::GVector<common_base::ScopedPtr<BodyPart>> body_parts_;
  ChunkProviderList body_chunks_;
};

}  // namespace common_kesu

#endif  // KESU_MUX_HTTP_REQUEST_H_
