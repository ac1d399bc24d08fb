#include "kesu/mux/kesu_request_builder.h"

#include "kesu/common/base/assertions.h"

using common_base::ByteVector;
using common_base::GString;
using common_base::GVector;

namespace {

constexpr unsigned kMoreFollows = 0x80;
constexpr unsigned kGroupMask = 0x7F;
constexpr int kBitsPerGroup = 7;

void AppendVarint(unsigned long long value, GVector<unsigned char>* out) {
  for (; value >= kMoreFollows; value >>= kBitsPerGroup) {
    out->Append(static_cast<unsigned char>((value & kGroupMask) | kMoreFollows));
  }
  out->Append(static_cast<unsigned char>(value));
}

}  // namespace

void UInt32ToVarint(unsigned value, GVector<unsigned char>* out) {
  out->Clear();
  AppendVarint(value, out);
}

void KesuRequestBuilder::WriteVarint32(unsigned value) {
  AppendVarint(value, sink());
}

void KesuRequestBuilder::WriteVarint64(unsigned long long value) {
  AppendVarint(value, sink());
}

void KesuRequestBuilder::OpenMark(int placeholder_size, MarkKind kind) {
  const int position = sink()->length() + placeholder_size;
  sink()->AdjustLengthAndZero(position);
  marks_.Append({position, kind});
}

void KesuRequestBuilder::Write8bitLengthMark() {
  OpenMark(1, MarkKind::k8bit);
}

void KesuRequestBuilder::Write16bitLengthMark() {
  OpenMark(2, MarkKind::k16bit);
}

void KesuRequestBuilder::Write32bitLengthMark() {
  OpenMark(4, MarkKind::k32bit);
}

void KesuRequestBuilder::WriteVarintLengthMark() {
  OpenMark(1, MarkKind::kVarint);
}

void KesuRequestBuilder::WriteBackLengthMarkWithOffset(int offset) {
  GWASSERT(!marks_.IsEmpty());
  if (marks_.IsEmpty()) return;
  const Mark mark = marks_[marks_.length() - 1];
  marks_.AdjustLength(marks_.length() - 1);
  const auto length =
      static_cast<unsigned>(sink()->length() - mark.position) - static_cast<unsigned>(offset);
  switch (mark.kind) {
    case MarkKind::k8bit:
      return StoreBigEndian(mark.position, 1, length);
    case MarkKind::k16bit:
      return StoreBigEndian(mark.position, 2, length);
    case MarkKind::k32bit:
      return StoreBigEndian(mark.position, 4, length);
    case MarkKind::kVarint:
      return StoreVarint(mark.position, length);
  }
}

void KesuRequestBuilder::StoreBigEndian(int position, int width, unsigned value) {
  for (int i = 1; i <= width; ++i, value >>= 8) {
    (*sink())[position - i] = static_cast<unsigned char>(value);
  }
}

void KesuRequestBuilder::StoreVarint(int position, unsigned value) {
  ByteVector varint;
  UInt32ToVarint(value, &varint);
  (*sink())[position - 1] = varint[0];
  if (varint.length() == 1) return;
  sink()->InsertItems(sink()->data() + position, varint.length() - 1, varint.data() + 1);
}

void KesuRequestBuilder::WriteUtf8StringWithNoLength(const GString& text) {
  ByteVector utf8;
  text->ToUtf8Vector(&utf8);
  WriteRawBytes(utf8);
}

void KesuRequestBuilder::WriteTaggedUtf8StringWithVarintLength(unsigned char tag,
                                                               const GString& text) {
  WriteUint8(tag);
  WriteVarintLengthMark();
  WriteUtf8StringWithNoLength(text);
  WriteBackLengthMark();
}
