#include "server/services/echo_service.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/protocol/big_endian.h"
#include "server/services/http_call.h"

namespace kesu_server {
namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

constexpr std::size_t kMaxHeaders = std::numeric_limits<std::uint8_t>::max();
constexpr std::size_t kMaxTextBytes = std::numeric_limits<std::uint16_t>::max();

Headers EchoedHeaders(const HttpCall& call) {
  Headers headers;
  headers.emplace_back("X-Method", call.method);
  if (!call.parts.empty()) headers.emplace_back("X-Multipart", call.mime_type);
  for (const auto& [name, value] : call.headers) headers.emplace_back(name, value);
  for (std::size_t i = 0; i < call.parts.size(); ++i) {
    const HttpPart& part = call.parts[i];
    std::string name("X-Part-");
    name.append(std::to_string(i + 1));
    headers.emplace_back(std::move(name), std::to_string(part.body.size()) + " " + part.mime_type);
  }
  return headers;
}

bool AppendText(std::string_view text, std::string* out) {
  if (text.size() > kMaxTextBytes) return false;
  AppendBigEndian(static_cast<std::uint16_t>(text.size()), out);
  out->append(text);
  return true;
}

bool AppendHeaders(const Headers& headers, std::string* out) {
  if (headers.size() > kMaxHeaders) return false;
  AppendBigEndian(static_cast<std::uint8_t>(headers.size()), out);
  for (const auto& [name, value] : headers) {
    if (!AppendText(name, out) || !AppendText(value, out)) return false;
  }
  return true;
}

}  // namespace

ServiceReply Echo(const ServiceRequest& request) {
  HttpCall call;
  if (ReadHttpCall(request, &call)) return {kBadRequestStatus, {}};
  ServiceReply reply;
  reply.status = kOkStatus;
  if (!AppendHeaders(EchoedHeaders(call), &reply.payload)) return {kBadRequestStatus, {}};
  reply.payload.append(call.body);
  for (const HttpPart& part : call.parts) reply.payload.append(part.body);
  return reply;
}

}  // namespace kesu_server
