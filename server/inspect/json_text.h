#ifndef SERVER_INSPECT_JSON_TEXT_H_
#define SERVER_INSPECT_JSON_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace kesu_server {

/// In quotes, on one line; bytes that are no UTF-8 are replaced.
std::string JsonText(std::string_view text);

/// The beginning of a text that is longer than `bytes`, with three dots behind it.
std::string Shortened(std::string_view text, std::size_t bytes);

}  // namespace kesu_server

#endif  // SERVER_INSPECT_JSON_TEXT_H_
