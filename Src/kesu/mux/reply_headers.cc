#include "kesu/mux/reply_headers.h"

#include <string_view>

#include "kesu/mux/http_constants.h"

namespace common_kesu {
namespace {

constexpr std::string_view kStatusLineStart = "HTTP/";

std::string_view TextOf(const common_base::ByteVector& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(bytes.length())};
}

}  // namespace

bool IsMultiplexedReply(HeaderFieldIteratorInterface* headers) {
  bool has_right_type = false;
  bool has_status_line = false;
  bool is_behind_headers = false;
  for (; !headers->AtEnd(); headers->Next()) {
    const std::string_view name = TextOf(headers->FieldName());
    if (name.starts_with(kStatusLineStart)) {
      has_status_line = true;
      has_right_type = false;
      is_behind_headers = false;
    }
    const std::string_view value = TextOf(headers->FieldValue());
    is_behind_headers |= has_status_line && name.empty() && value.empty();
    has_right_type |= !is_behind_headers && name == kContentType && value == kKesuMuxContentType;
  }
  return has_right_type;
}

}  // namespace common_kesu
