// Bodies of POST /v2/geosubmit: whatever they are, the answer is JSON, and what is learned of a
// station makes sense.
#include <cmath>
#include <cstdint>
#include <vector>

#include <nlohmann/json.hpp>

#include "fuzz/byte_script.h"
#include "server/http/geosubmit_page.h"
#include "server/learn/learn.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using kesu_fuzz::Require;
  constexpr std::int64_t kNow = 1'800'000'000;
  kesu_server::HttpRequest request;
  request.body = {reinterpret_cast<const char*>(bytes), size};
  kesu_server::LearnedStation station;
  const auto teach = [&](const std::vector<kesu_server::Lesson>& lessons) {
    Require(!lessons.empty());
    for (const kesu_server::Lesson& lesson : lessons) {
      station.key = lesson.station;
      Learn(lesson, kNow, &station);
      Require(IsOnEarth(station.position) && station.weight_sum >= 0 &&
              std::isfinite(station.weight_sum) && station.radius_m >= 0 &&
              station.radius_m <= 100'000 && station.south <= station.north);
    }
  };
  const kesu_server::Reply reply = Geosubmit(request, teach);
  const auto answer = nlohmann::json::parse(reply.body);
  Require(reply.status == 200 ? answer.empty()
                              : answer.at("error").at("code") == 400 && reply.status == 400);
  Require(reply.answered <= reply.requests);
  return 0;
}
