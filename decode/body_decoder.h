#ifndef DECODE_BODY_DECODER_H_
#define DECODE_BODY_DECODER_H_

#include <cstddef>
#include <optional>
#include <string>

#include "kesu/common/base/vector.h"

#include "decode/cursor.h"
#include "decode/tree.h"

namespace kesu_decode {

/// Shows the body of a POST or of a reply. What is cut short is shown as far as it goes.
class BodyDecoder {
 public:
  /// `writer` is borrowed.
  explicit BodyDecoder(TreeWriter* writer) : writer_(writer) {}

  /// The body is a POST's when its first block is a header block, unless `is_post` knows better.
  /// Yields what is wrong with it, if anything is. Used once.
  std::optional<Fault> Decode(const common_base::ByteView& body, std::string remark = {},
                              std::optional<bool> is_post = {});

 private:
  bool DecodeBlocks(Cursor* in);
  bool DecodeBlock(Cursor* in);
  bool DecodeHeaderBlock(Cursor* in);
  bool DecodeRequestBlock(bool is_multipart, Cursor* in);
  bool DecodeRequestPayload(const Cursor::Run& service, Cursor* in);
  bool DecodeReplyBlock(const Cursor::Run& block, Cursor* in);
  bool DecodeEncodedPayload(const Cursor::Run& block, const Cursor::Run& encodings,
                            const Cursor::Run& payload);
  /// A reply block does not name its service: what reads as a location reply is shown as one.
  void ShowReplyPayload(Node node, const Cursor::Run& payload, bool is_cut);

  /// A big-endian, signed number of `width` bytes: 2, 4 or 8.
  bool ReadNumber(const char* name, int width, Cursor* in, long long* value);
  bool ShowNumber(const char* name, int width, Cursor* in);
  /// A 16-bit length and so many bytes.
  bool ShowText(const char* name, Cursor* in, Cursor::Run* text);
  bool ExpectEnd(const char* block, const Cursor& in);
  /// False, with the fault noted, for a run that is cut short. `offset` is that of its length.
  bool IsWhole(const char* name, std::size_t offset, const Cursor::Run& run);
  void Fail(std::size_t offset, const std::string& reason);

  TreeWriter* writer_;
  bool is_post_ = false;
  std::optional<Fault> fault_;
};

}  // namespace kesu_decode

#endif  // DECODE_BODY_DECODER_H_
