#include "server/http/geosubmit_page.h"

#include <optional>

#include "server/http/json_reply.h"
#include "server/services/json_reports.h"

namespace kesu_server {

Reply Geosubmit(const HttpRequest& request,
                const std::function<void(const std::vector<Lesson>&)>& teach) {
  if (!teach) return JsonError(kForbiddenStatus, "This server does not learn");
  std::optional<Reports> reports = ReadReports(request.body);
  if (!reports || !reports->has_items) return JsonError(kBadJsonStatus, "Parse Error");
  for (std::vector<Lesson>& lessons : reports->lessons) {
    // Anybody can say that it was long ago; it counts when it came.
    for (Lesson& lesson : lessons) lesson.time = 0;
    teach(lessons);
  }
  Reply reply = JsonReply(nlohmann::ordered_json::object());
  reply.answered = reports->lessons.size();
  reply.requests = reply.answered;
  for (const auto& [fault, count] : reports->faults) {
    reply.requests += static_cast<std::size_t>(count);
  }
  return reply;
}

}  // namespace kesu_server
