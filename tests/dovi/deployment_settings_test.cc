#include "dovi/deployment_settings.h"

#include <string>

#include <doctest/doctest.h>

#include "dovi/exchange.h"

namespace {

std::string ServiceUrl() {
  char buffer[kDoviUrlBufferSize];
  WriteDoviServiceUrl(buffer);
  return buffer;
}

std::string HostOfLength(std::size_t length) {
  return "http://" + std::string(length - 7, 'h');
}

}  // namespace

TEST_CASE("deployment settings") {
  const ScopedSettings restored("");
  const std::string default_url = ServiceUrl();
  CHECK(default_url.rfind("http", 0) == 0);

  DoviDeploymentSettings settings;
  const auto set_host = [&](const std::string& host) {
    settings.host = host.c_str();
    return SetDoviDeploymentSettings(settings);
  };

  SUBCASE("the longest host that fits") {
    CHECK(set_host(HostOfLength(82)));
    CHECK(ServiceUrl() == HostOfLength(82) + "/m/appreq/cllDovi");
  }
  SUBCASE("what is refused changes nothing") {
    settings.proxy = "http://127.0.0.1:3128";
    CHECK_FALSE(set_host(HostOfLength(83)));
    CHECK_FALSE(set_host(HostOfLength(100000)));
    settings.total_timeout_ms = -1;
    CHECK_FALSE(set_host("http://a"));
    CHECK(ServiceUrl() == default_url);
    CHECK(GetDoviDeploymentSettings().proxy == std::string());
  }
  SUBCASE("texts are copied, also from the settings in force") {
    {
      const std::string host = "https://a:1";
      const std::string ca_file = "/a/ca.pem";
      settings.ca_file = ca_file.c_str();
      CHECK(set_host(host));
    }
    settings = GetDoviDeploymentSettings();
    settings.connect_timeout_ms = 5;
    CHECK(SetDoviDeploymentSettings(settings));
    CHECK(ServiceUrl() == "https://a:1/m/appreq/cllDovi");
    CHECK(GetDoviDeploymentSettings().ca_file == std::string("/a/ca.pem"));
    CHECK(GetDoviDeploymentSettings().connect_timeout_ms == 5);
  }
}
