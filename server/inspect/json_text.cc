#include "server/inspect/json_text.h"

#include <nlohmann/json.hpp>

namespace kesu_server {

std::string JsonText(std::string_view text) {
  using Json = nlohmann::json;
  return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string Shortened(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return std::string(text);
  // Not within a character.
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) --bytes;
  return std::string(text.substr(0, bytes)) + "...";
}

}  // namespace kesu_server
