#ifndef KESU_COMMON_BASE_ZLIB_DECOMPRESSION_H_
#define KESU_COMMON_BASE_ZLIB_DECOMPRESSION_H_

#include "kesu/common/base/vector.h"

#pragma GCC visibility push(hidden)
namespace common_base {

/// Inflates `input` (zlib, RFC 1950, or gzip, RFC 1952) and appends to `output`. `*ok` is false for
/// a corrupt stream. Deliberately, as the peers of this library expect it: the bytes of the call
/// that ends the stream are not appended, and no more than one buffer of 4096 bytes is. A payload
/// that inflates within one call therefore yields nothing.
void DoZlibDecompression(const GVectorRef<const unsigned char>* input,
                         GVector<unsigned char>* output, bool* ok);
void DoZlibDecompression(const GVectorRef<unsigned char>* input, GVector<unsigned char>* output,
                         bool* ok);

}  // namespace common_base
#pragma GCC visibility pop

#endif  // KESU_COMMON_BASE_ZLIB_DECOMPRESSION_H_
