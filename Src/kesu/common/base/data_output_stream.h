#ifndef KESU_COMMON_BASE_DATA_OUTPUT_STREAM_H_
#define KESU_COMMON_BASE_DATA_OUTPUT_STREAM_H_

#include <bit>

#include "kesu/common/base/byte_order.h"
#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/vector.h"

namespace common_base {

/// Appends numbers, bytes and strings to a byte vector. Numbers are big-endian unless the name says
/// otherwise. Writes do not fail. What is written may lie in the sink itself.
class DataOutputStream : public HeapObject {
 public:
  /// `sink` is borrowed; every write appends to its end.
  explicit DataOutputStream(GVector<unsigned char>* sink) : sink_(sink) {}
  DataOutputStream(const DataOutputStream&) = delete;
  DataOutputStream& operator=(const DataOutputStream&) = delete;
  virtual ~DataOutputStream() = default;

  void WriteUint8(unsigned char value) { sink_->Append(value); }
  void WriteInt8(signed char value) { WriteUint8(static_cast<unsigned char>(value)); }
  void WriteBool(bool value) { WriteUint8(value ? 1 : 0); }
  void WriteUint16(unsigned short value) { WriteNumber<std::endian::big>(value); }
  void WriteInt16(short value) { WriteUint16(static_cast<unsigned short>(value)); }
  void WriteUint32(unsigned value) { WriteNumber<std::endian::big>(value); }
  void WriteInt32(int value) { WriteUint32(static_cast<unsigned>(value)); }
  void WriteUint64(unsigned long long value) { WriteNumber<std::endian::big>(value); }
  void WriteInt64(long long value) { WriteUint64(static_cast<unsigned long long>(value)); }
  void WriteLittleEndianUint32(unsigned value) { WriteNumber<std::endian::little>(value); }
  void WriteLittleEndianInt32(int value) { WriteLittleEndianUint32(static_cast<unsigned>(value)); }
  void WriteLittleEndianUint64(unsigned long long value) {
    WriteNumber<std::endian::little>(value);
  }
  void WriteLittleEndianInt64(long long value) {
    WriteLittleEndianUint64(static_cast<unsigned long long>(value));
  }

  /// Appends `count` bytes, as a run, for the caller to fill in before anything else is written.
  unsigned char* Extend(int count) {
    sink_->AddElements(count);
    return sink_->end() - count;
  }
  void WriteRawBytes(const GVectorRef<const unsigned char>& bytes);
  /// A 16-bit length and the bytes. A block of 65536 bytes or more gets the low 16 bits of its
  /// length, deliberately unchecked: that is the limit of the format.
  void WriteByteBlock(const GVectorRef<const unsigned char>& bytes);
  /// The UTF-8 form of `text` as a byte block.
  void WriteUtf8String(const GString& text);

  /// Whether the bytes lie in the sink, whose growth would take them away. A writer that puts
  /// something in front of them copies them first.
  bool IsInSink(const GVectorRef<const unsigned char>& bytes) const;

 protected:
  GVector<unsigned char>* sink() const { return sink_; }

 private:
  template <std::endian kOrder, typename Number>
  void WriteNumber(Number value) {
    StoreNumber<kOrder>(value, Extend(sizeof value));
  }

  GVector<unsigned char>* sink_;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_DATA_OUTPUT_STREAM_H_
