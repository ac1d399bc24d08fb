#ifndef DECODE_MESSAGE_DECODER_H_
#define DECODE_MESSAGE_DECODER_H_

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "kesu/common/net/proto/message_descriptor.h"

#include "decode/cursor.h"
#include "decode/tree.h"

namespace kesu_decode {

/// Shows a message field by field, as the library reads it: a known field in its declared encoding
/// whatever the key says, unknown ones passed over. The call stack grows with the nesting that the
/// message classes know, and no class nests itself.
class MessageDecoder {
 public:
  /// `writer` is borrowed.
  explicit MessageDecoder(TreeWriter* writer) : writer_(writer) {}

  /// Shows `node` as a message of the class `descriptor`, with the fields that `in` holds. False
  /// after a fault; a field that is cut short is shown as far as it goes.
  bool Decode(const common_net_proto::MessageDescriptor& descriptor, Node node, Cursor* in) {
    return DecodeMessage(descriptor, std::move(node), false, in);
  }

  /// The first fault.
  const std::optional<Fault>& fault() const { return fault_; }
  /// The first thing that the library lets pass, but that no writer of such a message makes.
  const std::optional<Fault>& oddity() const { return oddity_; }

 private:
  struct Key {
    std::size_t offset = 0;
    unsigned short number = 0;
    unsigned char wire_type = 0;
  };

  bool DecodeMessage(const common_net_proto::MessageDescriptor& descriptor, Node node,
                     bool is_group, Cursor* in);
  bool DecodeFields(const common_net_proto::MessageDescriptor& descriptor, bool is_group,
                    Cursor* in);
  bool DecodeKnownField(const common_net_proto::FieldRow& row, const Key& key, Cursor* in);
  bool DecodeNumber(const common_net_proto::FieldRow& row, Node node, Cursor* in);
  bool DecodeText(Node node, Cursor* in);
  bool DecodeNestedMessage(const common_net_proto::MessageDescriptor& descriptor, Node node,
                           Cursor* in);
  bool DecodeUnknownField(const Key& key, Cursor* in);
  bool DecodeUnknownRun(Node node, Cursor* in);
  bool DecodeUnknownGroup(const Key& key, Node node, Cursor* in);
  /// An end-group key where no group is: the message ends there.
  void EndEarly(const Key& key, Cursor* in);

  /// A length and the bytes it announces, which may be fewer: see IsWhole().
  static Cursor::Run TakeRun(Cursor* in);
  /// False, with the fault noted, for a run that is cut short.
  bool IsWhole(const Cursor::Run& run, const Node& node);
  bool FailCutShort(const Node& node);
  void Fail(std::size_t offset, const std::string& reason);
  void Wonder(std::size_t offset, const std::string& reason);

  TreeWriter* writer_;
  std::optional<Fault> fault_;
  std::optional<Fault> oddity_;
};

}  // namespace kesu_decode

#endif  // DECODE_MESSAGE_DECODER_H_
