#include "client/error.h"

#include <cstddef>
#include <iterator>

namespace kesu {
namespace {

constexpr const char* kNames[] = {
    "none",   "not-found", "cannot-connect", "cannot-resolve", "tls",    "timed-out",
    "server", "malformed", "cancelled",      "withheld",       "misuse",
};
static_assert(std::size(kNames) == kErrorKindCount);
static_assert(static_cast<int>(ErrorKind::kMisuse) == kErrorKindCount - 1);

}  // namespace

const char* ErrorKindName(ErrorKind kind) {
  const auto index = static_cast<std::size_t>(kind);
  return index < std::size(kNames) ? kNames[index] : "none";
}

}  // namespace kesu
