#ifndef KESU_MUX_NON_MULTIPART_RESPONSE_H_
#define KESU_MUX_NON_MULTIPART_RESPONSE_H_

#include <string_view>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/response.h"

namespace common_kesu {

/// A reply block: status, encodings and payload of the answer to one request.
class NonMultipartResponse : public Response {
 public:
  NonMultipartResponse() : Response(kResponseBlock, 0, 0) {}

  common_base::DataInputStream* GetInputStream() const override;
  int ComputePayloadLength() const override { return payload_.length(); }

  /// Reads the body of a reply block, `length` bytes, from `in` and decodes the payload. `*ok` is
  /// false for a block that is cut short or whose payload cannot be decoded. The bytes behind `in`
  /// must outlive this response.
  virtual void Initialize(common_base::DataInputStream* in, int length, bool* ok);
  bool IsInitialized() const { return is_initialized_; }

  const common_base::GString& encodings() const { return encodings_; }
  /// The 32-bit value that follows the encodings. It is kept and has no meaning here.
  int value_after_encodings() const { return value_after_encodings_; }
  const common_base::GVectorRef<const unsigned char>& raw_payload() const { return raw_payload_; }
  const common_base::GVectorRef<const unsigned char>& payload() const { return payload_; }

  /// Undoes one encoding: appends the decoded `input` to `output`. `*ok` is false for an unknown
  /// encoding and for bytes that do not decode.
  static void DoSingleDecodingPass(const common_base::GVectorRef<const unsigned char>& input,
                                   const common_base::GString& encoding,
                                   common_base::GVector<unsigned char>* output, bool* ok);
  /// Undoes all encodings of the raw payload, the last one first.
  void DoChainedDecodings(bool* ok);

 private:
  void DecodePayload(std::string_view encoding, bool* ok);
  void LogPayload() const;

  common_base::GString encodings_;
  int value_after_encodings_ = 0;
  common_base::GVectorRef<const unsigned char> raw_payload_;
  /// Of the raw payload, or of `decoded_`.
  common_base::GVectorRef<const unsigned char> payload_;
  common_base::GVector<unsigned char> decoded_;
  bool is_initialized_ = false;
};

}  // namespace common_kesu

#endif  // KESU_MUX_NON_MULTIPART_RESPONSE_H_
