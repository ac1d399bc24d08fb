#include "server/inspect/summary_json.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include <nlohmann/json.hpp>

#include "server/http/time_text.h"
#include "server/inspect/json_text.h"
#include "server/protocol/post_reader.h"

namespace kesu_server {
namespace {

using Json = nlohmann::ordered_json;

constexpr double kUsPerMs = 1000;
/// A list shows no more of them, and no longer ones.
constexpr std::size_t kMostServices = 8;
constexpr std::size_t kLongestService = 64;

/// Each once, as they come.
std::vector<std::string> ServicesOf(const Post& post) {
  std::vector<std::string> services;
  for (const ServiceRequest& request : post.requests) {
    std::string service = Shortened(request.service, kLongestService);
    if (std::find(services.begin(), services.end(), service) != services.end()) continue;
    if (services.size() == kMostServices) break;
    services.push_back(std::move(service));
  }
  return services;
}

}  // namespace

std::string SummaryJson(const Exchange& exchange) {
  Post post;
  // The one in which the body ends too early is none.
  const bool is_sound = !ReadPost(exchange.request.bytes, &post);
  if (!is_sound && !post.requests.empty()) post.requests.pop_back();
  const Json summary = {
      {"id", exchange.id},
      {"time", TimeText(exchange.time_us)},
      {"client", exchange.client},
      {"bytes_in", exchange.request.length},
      {"bytes_out", exchange.reply.length},
      {"status", exchange.status},
      {"duration_ms", static_cast<double>(exchange.duration_us) / kUsPerMs},
      {"requests", post.requests.size()},
      {"services", ServicesOf(post)},
      {"fault", exchange.fault.empty() ? Json() : Json(exchange.fault)},
  };
  return summary.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace kesu_server
