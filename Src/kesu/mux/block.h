#ifndef KESU_MUX_BLOCK_H_
#define KESU_MUX_BLOCK_H_

#include "kesu/common/base/memory.h"

namespace common_kesu {

/// The base of everything that travels in a block of the framing: its type, its id and the length
/// of its body.
class Block : public common_base::HeapObject {
 public:
  /// The 16-bit type on the wire.
  enum BlockType : unsigned short {
    kHeaderBlock = 0x0001,
    kRequestBlock = 0x0100,
    kMultipartRequestBlock = 0x0101,
    kResponseBlock = 0x8100,
  };

  static constexpr int kBodyLengthUnknown = -1;

  Block(BlockType type, short id) : Block(type, id, kBodyLengthUnknown) {}
  Block(BlockType type, short id, int body_length)
      : type_(type), id_(id), body_length_(body_length) {}
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  virtual ~Block() = default;
  virtual void set_id(short id) { id_ = id; }
  virtual void set_type(BlockType type) { type_ = type; }
  virtual void set_body_length(int length) { body_length_ = length; }

  BlockType type() const { return type_; }
  short id() const { return id_; }
  /// In bytes; kBodyLengthUnknown while it has not been computed.
  int body_length() const { return body_length_; }

 private:
  BlockType type_;
  short id_;
  int body_length_;
};

}  // namespace common_kesu

#endif  // KESU_MUX_BLOCK_H_
