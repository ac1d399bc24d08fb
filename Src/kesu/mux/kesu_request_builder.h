#ifndef KESU_MUX_KESU_REQUEST_BUILDER_H_
#define KESU_MUX_KESU_REQUEST_BUILDER_H_

#include "kesu/common/base/data_output_stream.h"
#include "kesu/common/base/gstring.h"
#include "kesu/common/base/vector.h"

/// A writer of framed bytes: varints, and length marks that are filled in once what they measure
/// has been written. Marks nest; the newest open one is always the next to be written back.
class KesuRequestBuilder : public common_base::DataOutputStream {
 public:
  /// `out` is borrowed; every write appends to it, and nobody else may meanwhile.
  explicit KesuRequestBuilder(common_base::GVector<unsigned char>* out) : DataOutputStream(out) {}

  /// Base-128, the least significant group first: 1 to 5 bytes, and 1 to 10.
  void WriteVarint32(unsigned value);
  void WriteVarint64(unsigned long long value);

  /// Write a zero placeholder of 1, 2 or 4 bytes and open a mark.
  void Write8bitLengthMark();
  void Write16bitLengthMark();
  void Write32bitLengthMark();
  /// The same with a varint, which moves what follows if it turns out longer than one byte.
  void WriteVarintLengthMark();
  /// Closes the newest mark: stores the number of bytes written since, cut to the mark's width.
  void WriteBackLengthMark() { WriteBackLengthMarkWithOffset(0); }
  /// The same, less `offset`.
  void WriteBackLengthMarkWithOffset(int offset);

  void WriteUtf8StringWithNoLength(const common_base::GString& text);
  /// The tag, a varint byte count, the UTF-8 bytes.
  void WriteTaggedUtf8StringWithVarintLength(unsigned char tag, const common_base::GString& text);

 private:
  enum class MarkKind { k8bit, k16bit, k32bit, kVarint };

  struct Mark {
    /// Just past the placeholder.
    int position;
    MarkKind kind;
  };

  void OpenMark(int placeholder_size, MarkKind kind);
  void StoreBigEndian(int position, int width, unsigned value);
  void StoreVarint(int position, unsigned value);

  common_base::GVector<Mark> marks_;
};

/// Sets `out` to the varint of `value`.
void UInt32ToVarint(unsigned value, common_base::GVector<unsigned char>* out);

#endif  // KESU_MUX_KESU_REQUEST_BUILDER_H_
