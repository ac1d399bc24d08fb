#include "kesu/mux/kesu_response_parser.h"

using common_base::GString;

namespace {

constexpr unsigned char kMoreFollows = 0x80;
constexpr unsigned kGroupMask = 0x7F;
constexpr int kBitsPerGroup = 7;
constexpr int kBits = 32;
constexpr int kMaxVarint32Bytes = 5;
constexpr int kMaxVarint64Bytes = 10;

}  // namespace

unsigned KesuResponseParser::ReadGroups(int max_groups) {
  unsigned value = 0;
  for (int group = 0; group < max_groups; ++group) {
    const unsigned char byte = ReadUint8();
    const int shift = group * kBitsPerGroup;
    if (shift < kBits) value |= (byte & kGroupMask) << shift;
    if ((byte & kMoreFollows) == 0) break;
  }
  return value;
}

unsigned KesuResponseParser::ReadVarint32() {
  return ReadGroups(kMaxVarint32Bytes);
}

unsigned long long KesuResponseParser::ReadVarint64() {
  return static_cast<unsigned long long>(static_cast<int>(ReadGroups(kMaxVarint64Bytes)));
}

GString KesuResponseParser::ReadVarintLengthString() {
  return GString(ReadByteSpan(static_cast<int>(ReadVarint32())));
}
