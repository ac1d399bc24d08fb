#include "kesu/common/base/logging.h"

namespace common_base {

// Weak and alone in its file, so that a program's own definition takes its place.
[[gnu::weak]] void LogInternal(const GString&) {}

}  // namespace common_base
