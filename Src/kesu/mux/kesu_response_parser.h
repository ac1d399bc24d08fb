#ifndef KESU_MUX_KESU_RESPONSE_PARSER_H_
#define KESU_MUX_KESU_RESPONSE_PARSER_H_

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/gstring.h"

/// A reader of framed bytes: adds varints, base-128 with the least significant group first. A
/// varint that the end of the input cuts short puts the stream in error.
class KesuResponseParser : public common_base::DataInputStream {
 public:
  using DataInputStream::DataInputStream;

  /// Takes 5 bytes at most: the fifth always ends the number, and bits beyond 32 are dropped.
  unsigned ReadVarint32();
  /// Takes 10 bytes at most. Good for values that fit in 31 bits, deliberately so: bits beyond 32
  /// are dropped and bit 31 is extended into the upper half.
  unsigned long long ReadVarint64();
  /// A varint byte count and that many bytes of UTF-8.
  common_base::GString ReadVarintLengthString();

 private:
  unsigned ReadGroups(int max_groups);
};

#endif  // KESU_MUX_KESU_RESPONSE_PARSER_H_
