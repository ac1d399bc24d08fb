#include "kesu/mux/header_request.h"

#include "kesu/common/base/string_buffer.h"
#include "kesu/mux/protocol_reader.h"

namespace common_kesu {
namespace {

using common_base::DataOutputStream;
using common_base::GString;
using common_base::GStringBuffer;

constexpr int kVersionBytes = 2;

}  // namespace

HeaderRequest::HeaderRequest(const MuxConfig& config)
    : Request(kHeaderBlock, 0),
      config_(&config),
      client_version_text_(BuildClientVersionText(config)) {}

int HeaderRequest::GetTotalLength() {
  return Request::GetTotalLength() + kVersionBytes;
}

void HeaderRequest::WriteHeader(DataOutputStream* out) {
  out->WriteInt16(kProtocolVersion);
  Request::WriteHeader(out);
}

void HeaderRequest::WriteBody(DataOutputStream* out) {
  out->WriteUtf8String(client_version_text_);
  out->WriteInt64(cookie_);
  out->WriteUtf8String(config_->configuration);
}

GString HeaderRequest::BuildClientVersionText(const MuxConfig& config) {
  GStringBuffer text;
  text.AppendFormattedText("%S,%S,%S,%S,%S", &config.product, &config.version, &config.platform,
                           &config.distribution_channel, &config.locale);
  return text.ToString();
}

}  // namespace common_kesu
