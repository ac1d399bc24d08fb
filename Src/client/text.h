#ifndef CLIENT_TEXT_H_
#define CLIENT_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/vector.h"

/// Texts of the library and texts of applications, which are UTF-8.
namespace kesu::detail {

/// The bytes of `text`, which must outlive the view.
inline common_base::ByteView ViewOf(std::string_view text) {
  return {common_base::kReferenceExistingBuffer,
          reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size())};
}

inline common_base::GString GStringOf(std::string_view text) {
  return common_base::GString(ViewOf(text));
}

/// The whole text, also where GStringStorage::ToUtf8Vector() would lose its end.
std::string TextOf(const common_base::GString& text);

/// The number of code points.
std::size_t CharacterCount(std::string_view utf8);

}  // namespace kesu::detail

#endif  // CLIENT_TEXT_H_
