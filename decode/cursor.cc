#include "decode/cursor.h"

#include <algorithm>

namespace kesu_decode {

Cursor::Run Cursor::Take(long long length) {
  const std::size_t start = offset();
  const int available = left();
  const auto taken = static_cast<int>(std::clamp<long long>(length, 0, available));
  return {stream_.ReadByteSpan(taken), start, length, available};
}

}  // namespace kesu_decode
