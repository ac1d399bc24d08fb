// Bodies of POSTs: what ReadPost takes can be written back byte for byte, and it takes what the
// library writes.
#include "tools/kesu-server/post_reader.h"

#include <string>

#include "kesu/mux/header_request.h"
#include "kesu/mux/kesu_request_builder.h"
#include "kesu/mux/plain_request.h"

#include "fuzz/byte_script.h"

namespace {

using common_base::GString;
using namespace kesu_fuzz;
using kesu_server::ServiceRequest;
using kesu_test::BigEndian;

std::string Counted(std::string_view text, int width) {
  return BigEndian(text.size(), width).append(text);
}

std::string BytesOf(const ServiceRequest& request) {
  const std::string body =
      BigEndian(request.id, 2) + Counted(request.service, 2) + BigEndian(request.version, 2) +
      (request.is_multipart ? std::string(request.payload) : Counted(request.payload, 4));
  return BigEndian(body.size(), 4) + BigEndian(request.is_multipart ? 0x0101 : 0x0100, 2) + body;
}

std::string BytesOf(const kesu_server::Post& post) {
  const std::string header =
      Counted(post.client_version, 2) + BigEndian(post.cookie, 8) + Counted(post.configuration, 2);
  std::string bytes = BigEndian(1, 2) + BigEndian(header.size(), 4) + BigEndian(1, 2) + header;
  for (const ServiceRequest& request : post.requests) bytes += BytesOf(request);
  return bytes;
}

bool Reads(std::string_view body) {
  kesu_server::Post post;
  if (const auto error = kesu_server::ReadPost(body, &post)) {
    Require(error->offset <= body.size() && !error->description.empty());
    return false;
  }
  Require(BytesOf(post) == body);
  return true;
}

/// ASCII, so that a GString keeps it as it is.
std::string TakeAscii(ByteScript* script) {
  std::string text(script->TakeText(script->TakeByte()));
  for (char& c : text) c = static_cast<char>(c & 0x7F);
  return text;
}

void WriteWithTheLibraryAndRead(ByteScript script) {
  common_kesu::MuxConfig config;
  std::string client_version;
  for (GString* part : {&config.product, &config.version, &config.platform,
                        &config.distribution_channel, &config.locale}) {
    const std::string text = TakeAscii(&script);
    *part = GString(ViewOf(text));
    client_version += (part == &config.product ? "" : ",") + text;
  }
  const std::string configuration = TakeAscii(&script);
  config.configuration = GString(ViewOf(configuration));
  const std::int64_t high = script.TakeInt16();
  const std::int64_t cookie = high << 48 | script.TakeUint32();
  std::string expected = BytesOf({client_version, cookie, configuration, {}});

  common_base::ByteVector written;
  KesuRequestBuilder out(&written);
  common_kesu::HeaderRequest header(config);
  header.set_cookie(cookie);
  header.WriteHeader(&out);
  header.WriteBody(&out);
  while (!script.IsAtEnd()) {
    const std::string service = TakeAscii(&script);
    ServiceRequest wanted;
    wanted.service = service;
    wanted.id = static_cast<std::int16_t>(script.TakeInt16());
    wanted.version = static_cast<std::int16_t>(script.TakeInt16());
    wanted.payload = script.TakeText(script.TakeByte());
    expected += BytesOf(wanted);
    const common_base::ByteView payload = ViewOf(wanted.payload);
    common_kesu::PlainRequest request(GString(ViewOf(service)),
                                      common_kesu::ServiceVersion{wanted.version},
                                      payload.IsEmpty() ? nullptr : &payload);
    request.set_id(wanted.id);
    request.WriteHeader(&out);
    request.WriteBody(&out);
  }
  const std::string body(written.begin(), written.end());
  Require(body == expected && Reads(body));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  if (script.TakeByte() % 2 == 0) {
    Reads(script.TakeRest());
  } else {
    WriteWithTheLibraryAndRead(script);
  }
  return 0;
}
