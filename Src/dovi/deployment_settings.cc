#include "dovi/deployment_settings.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include "dovi/glibcurl.h"
#include "kesu/common/base/vector.h"

namespace {

using Text = common_base::GVector<char>;

static_assert(sizeof(KESU_SERVICE_HOST) + sizeof(kDoviServicePath) - 1 <= kDoviUrlBufferSize,
              "KESU_SERVICE_HOST is too long");

bool IsSet(const char* text) {
  return text != nullptr && *text != 0;
}

const char* HostOf(const DoviDeploymentSettings& settings) {
  return IsSet(settings.host) ? settings.host : KESU_SERVICE_HOST;
}

bool DoesUrlFit(const char* host) {
  return std::strlen(host) + sizeof(kDoviServicePath) <= kDoviUrlBufferSize;
}

Text CopyOf(const char* text) {
  if (text == nullptr) text = "";
  return Text(common_base::kAllocateAndCopy, text, static_cast<int>(std::strlen(text) + 1));
}

/// The settings together with the texts they point to.
struct StoredSettings {
  explicit StoredSettings(const DoviDeploymentSettings& settings)
      : host(CopyOf(HostOf(settings))),
        ca_file(CopyOf(settings.ca_file)),
        proxy(CopyOf(settings.proxy)),
        view(settings) {
    view.host = host.data();
    view.ca_file = ca_file.data();
    view.proxy = proxy.data();
  }

  Text host;
  Text ca_file;
  Text proxy;
  DoviDeploymentSettings view;
};

StoredSettings& Stored() {
  static StoredSettings stored{DoviDeploymentSettings()};
  return stored;
}

}  // namespace

bool SetDoviDeploymentSettings(const DoviDeploymentSettings& settings) {
  if (!DoesUrlFit(HostOf(settings))) return false;
  if (settings.connect_timeout_ms < 0 || settings.total_timeout_ms < 0) return false;
  const bool wants_callback = settings.trace == DoviTraceTarget::kCallback;
  if (wants_callback && settings.trace_callback == nullptr) return false;
  const int connections = settings.first_connections;
  if (connections < 1 || connections > static_cast<int>(kGlibcurlMaxConnections)) return false;
  // The new texts may be those in force, so they are copied before these go.
  StoredSettings replacement(settings);
  Stored() = std::move(replacement);
  return true;
}

const DoviDeploymentSettings& GetDoviDeploymentSettings() {
  return Stored().view;
}

void WriteDoviServiceUrl(char (&buffer)[kDoviUrlBufferSize]) {
  std::snprintf(buffer, sizeof(buffer), "%s%s", GetDoviDeploymentSettings().host, kDoviServicePath);
}
