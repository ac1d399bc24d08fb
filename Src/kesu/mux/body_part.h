#ifndef KESU_MUX_BODY_PART_H_
#define KESU_MUX_BODY_PART_H_

#include "kesu/common/base/data_output_stream.h"
#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/chunk_provider.h"

namespace common_kesu {

/// A part of a multipart body: headers in the manner of MIME (RFC 2045) in a compact form, and a
/// body.
class BodyPart : public common_base::HeapObject {
 public:
  /// Becomes the owner of `body`.
  BodyPart(const common_base::GString& mime_type, ChunkProviderInterface* body)
      : body_(body), mime_type_(mime_type) {}
  BodyPart(const BodyPart&) = delete;
  BodyPart& operator=(const BodyPart&) = delete;

  virtual ~BodyPart() = default;
  virtual void set_content_id(const common_base::GString& content_id);
  virtual const common_base::GString& content_id() const { return content_id_; }
  virtual void set_mime_type(const common_base::GString& mime_type);
  virtual const common_base::GString& mime_type() const { return mime_type_; }
  /// The bytes of the body.
  virtual int GetLength() const { return body_->GetTotalDataLength(); }
  virtual void WritePayload(common_base::DataOutputStream* out) { body_->WriteToStream(out); }
  virtual void WriteHeaders(common_base::DataOutputStream* out) const;
  /// Adds a header of the caller's own; 255 at most.
  virtual void AddProperty(common_base::GString name, common_base::GString value);

  /// New providers, owned by the caller, of the headers and of the body. This part must outlive
  /// them, unchanged.
  ChunkProviderInterface* HeadersAsChunkProvider();
  ChunkProviderInterface* BodyAsChunkProvider() const { return body_->Clone(); }

  /// Writes a MIME type in its short form: a 16-bit code for the type in front of the first ";" and
  /// a string with what follows that, or 0 and the whole type where there is no code for it.
  static void WriteContentType(const common_base::GString& mime_type,
                               common_base::DataOutputStream* out);

 private:
  common_base::ScopedPtr<ChunkProviderInterface> body_;
  common_base::GString mime_type_;
  common_base::GString content_id_;
  /// The number of properties.
  unsigned char flags_ = 0;
  common_base::GVector<unsigned char> properties_;
  common_base::GVector<unsigned char> serialised_headers_;
};

}  // namespace common_kesu

#endif  // KESU_MUX_BODY_PART_H_
