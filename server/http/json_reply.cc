#include "server/http/json_reply.h"

namespace kesu_server {

Reply JsonReply(const nlohmann::ordered_json& json, unsigned status) {
  constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;
  return MakeReply(status, "application/json", json.dump(-1, ' ', false, kReplace));
}

Reply JsonError(unsigned status, const char* message) {
  return JsonReply({{"error", {{"code", status}, {"message", message}}}}, status);
}

}  // namespace kesu_server
