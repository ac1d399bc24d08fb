#include "tools/kesu/stats_text.h"

#include <cstdint>
#include <utility>

#include "client/error.h"

namespace kesu_tool {

std::string StatsText(const kesu::Counters& counters) {
  std::string text = "calls=" + std::to_string(counters.calls);
  for (int i = 0; i < kesu::kErrorKindCount; ++i) {
    const auto kind = static_cast<kesu::ErrorKind>(i);
    const std::uint64_t count = counters.outcome(kind);
    const bool is_found = kind == kesu::ErrorKind::kNone;
    if (count == 0 && !is_found) continue;
    text += std::string(" ") + (is_found ? "found" : kesu::ErrorKindName(kind)) + "=" +
            std::to_string(count);
  }
  const std::pair<const char*, std::uint64_t> kCounts[] = {{"requests", counters.requests},
                                                           {"retries", counters.retries},
                                                           {"posts", counters.posts},
                                                           {"bytes_out", counters.bytes_out},
                                                           {"bytes_in", counters.bytes_in}};
  for (const auto& [name, count] : kCounts) {
    text += std::string(" ") + name + "=" + std::to_string(count);
  }
  return text;
}

}  // namespace kesu_tool
