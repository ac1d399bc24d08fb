// Bodies of POST /v1/geolocate: whatever they are, the answer is JSON that a client can use.
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "fuzz/byte_script.h"
#include "server/geo/geodesy.h"
#include "server/http/geolocate_page.h"
#include "server/storage/dialogues.h"
#include "server/storage/open_storage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using kesu_fuzz::Require;
  std::string error;
  static const std::unique_ptr<kesu_server::Lookup> kLookup =
      kesu_server::NewLookup({}, kesu_server::OpenStorage({}, &error), {});
  kesu_server::HttpRequest request;
  request.body = {reinterpret_cast<const char*>(bytes), size};
  kesu_server::Reply reply;
  const std::shared_ptr<kesu_server::Inquirer<kesu_server::Reply>> inquirer =
      kesu_server::Geolocate(request);
  kesu_server::Dialogues(kLookup.get(), 1)
      .Begin(
          [&](const std::optional<kesu_server::Findings>& findings, kesu_server::Inquiry* inquiry) {
            Require(findings.has_value());
            const auto answer =
                inquirer->GoOn({false, findings->stations, findings->surroundings}, inquiry);
            if (answer) reply = *answer;
          });
  const auto answer = nlohmann::json::parse(reply.body);
  if (reply.status == 200) {
    const auto& location = answer.at("location");
    const kesu_server::LatLng position = {location.at("lat"), location.at("lng")};
    Require(IsOnEarth(position) && answer.at("accuracy") > 0.0);
  } else {
    Require(reply.status == 400 || reply.status == 404);
    Require(answer.at("error").at("code") == reply.status);
  }
  return 0;
}
