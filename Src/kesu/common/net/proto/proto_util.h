#ifndef KESU_COMMON_NET_PROTO_PROTO_UTIL_H_
#define KESU_COMMON_NET_PROTO_PROTO_UTIL_H_

#include <climits>

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/data_output_stream.h"
#include "kesu/common/base/gstring.h"
#include "kesu/common/base/vector.h"
#include "kesu/common/net/proto/wire_type.h"
#include "kesu/common/net/proto/zigzag.h"

/// The wire primitives of tagged messages: keys, varints, fixed-width numbers, byte spans. Reads
/// report failure through the stream's sticky error only.
class ProtoUtil {
 public:
  ProtoUtil() = delete;

  using DataInputStream = common_base::DataInputStream;
  using DataOutputStream = common_base::DataOutputStream;
  using GString = common_base::GString;
  using ByteView = common_base::GVectorRef<const unsigned char>;

  /// 0 when the stream ends inside the varint, and 0 (with no stream error) for one that goes on
  /// after its tenth byte; of the tenth byte only the lowest bit counts.
  static long long ReadVarint(DataInputStream* stream) {
    const unsigned char first = stream->ReadUint8();
    if (first >= 0x80) return ReadLongVarint(first, stream);
    return stream->hit_error() ? 0 : first;
  }
  /// Field numbers beyond 16 bits are deliberately cut to their low 16 bits.
  static void ReadTagAndType(DataInputStream* stream, unsigned short* field,
                             unsigned char* wire_type) {
    const auto key = static_cast<unsigned long long>(ReadVarint(stream));
    *field = static_cast<unsigned short>(key >> common_net_proto::kWireTypeBits);
    *wire_type = static_cast<unsigned char>(key & common_net_proto::kWireTypeMask);
  }
  /// A view of the stream's own bytes. A length that is negative, beyond 31 bits or past the end is
  /// a stream error and an empty view.
  static ByteView ReadLengthDelimited(DataInputStream* stream) {
    const long long length = ReadVarint(stream);
    const bool is_valid = length >= 0 && length <= INT_MAX;
    return stream->ReadByteSpan(is_valid ? static_cast<int>(length) : -1);
  }
  static long long ReadZigZagInt(DataInputStream* stream);
  /// Passes over the value of a key just read; false when the wire type has no value to pass over
  /// (end group, 6 and 7). A group reaches to the end-group key of its own number; end-group keys
  /// of other numbers inside it are passed over, and the end of the stream ends it as well. Takes
  /// memory in proportion to the nesting of groups, never call stack.
  static bool SkipValue(unsigned short field, unsigned char wire_type, DataInputStream* stream);

  static void WriteBareVarint(long long value, DataOutputStream* stream);
  static void WriteTagAndType(unsigned short field, unsigned char wire_type,
                              DataOutputStream* stream);
  static void WriteVarint(unsigned short field, long long value, DataOutputStream* stream);
  static void WriteBool(unsigned short field, bool value, DataOutputStream* stream);
  static void WriteZigZagInt(unsigned short field, long long value, DataOutputStream* stream);
  static void WriteFixed32(unsigned short field, int value, DataOutputStream* stream);
  static void WriteFixed64(unsigned short field, long long value, DataOutputStream* stream);
  static void WriteBytes(unsigned short field, const ByteView& bytes, DataOutputStream* stream);
  /// The UTF-8 form of `text` as bytes.
  static void WriteString(unsigned short field, const GString& text, DataOutputStream* stream);

 private:
  static long long ReadLongVarint(unsigned char first, DataInputStream* stream);
};

#endif  // KESU_COMMON_NET_PROTO_PROTO_UTIL_H_
