#include "server/http/media_type.h"

#include <glib.h>

namespace kesu_server {

std::string MediaType(const HttpHeaders& headers) {
  for (const auto& [name, value] : headers) {
    if (g_ascii_strcasecmp(name.c_str(), "Content-Type") != 0) continue;
    std::string type = value.substr(0, value.find(';'));
    while (!type.empty() && g_ascii_isspace(type.back())) type.pop_back();
    return type;
  }
  return {};
}

}  // namespace kesu_server
