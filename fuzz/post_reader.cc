// Bodies of POSTs: what ReadPost takes can be written back byte for byte, http:echo has an answer
// to it, and both understand what the library writes.
#include "server/protocol/post_reader.h"

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "kesu/mux/header_request.h"
#include "kesu/mux/http_request.h"
#include "kesu/mux/kesu_request_builder.h"

#include "fuzz/byte_script.h"
#include "server/services/echo_service.h"

namespace {

using common_base::GString;
using common_kesu::HttpRequest;
using namespace kesu_fuzz;
using kesu_server::Echo;
using kesu_server::ServiceRequest;
using kesu_test::BigEndian;

std::string Counted(std::string_view text, int width = 2) {
  return BigEndian(text.size(), width).append(text);
}

std::string Block(int type, const std::string& content) {
  return BigEndian(content.size(), 4) + BigEndian(static_cast<unsigned>(type), 2) + content;
}

std::string BytesOf(const kesu_server::Post& post) {
  std::string bytes =
      BigEndian(1, 2) + Block(1, Counted(post.client_version) + BigEndian(post.cookie, 8) +
                                     Counted(post.configuration));
  for (const ServiceRequest& request : post.requests) {
    const std::string payload =
        request.is_multipart ? std::string(request.payload) : Counted(request.payload, 4);
    bytes += Block(request.is_multipart ? 0x0101 : 0x0100,
                   BigEndian(request.id, 2) + Counted(request.service) +
                       BigEndian(request.version, 2) + payload);
  }
  return bytes;
}

bool Reads(std::string_view body, kesu_server::Post* post) {
  if (const auto error = kesu_server::ReadPost(body, post)) {
    Require(error->offset <= body.size() && !error->description.empty());
    return false;
  }
  Require(BytesOf(*post) == body);
  for (const ServiceRequest& request : post->requests) Require(Echo(request).status >= 200);
  return true;
}

/// ASCII, so that a GString keeps it as it is.
std::string TakeAscii(ByteScript* script) {
  std::string text(script->TakeText(script->TakeByte()));
  for (char& c : text) c = static_cast<char>(c & 0x7F);
  return text;
}

/// Gives an HTTP-like request its bodies, which `texts` keeps. Yields all of them.
std::string Fill(HttpRequest* request, ByteScript* script, std::deque<std::string>* texts) {
  std::string bodies;
  const auto new_body = [&] {
    bodies += texts->emplace_back(script->TakeText(script->TakeByte()));
    return new common_kesu::BufferChunkProvider(ViewOf(texts->back()));
  };
  request->SetConnectionProperty("Accept", "a/B");
  if (script->Pick(2) == 1) request->set_root_body(new_body());
  for (int left = script->Pick(3); left > 0; --left) {
    auto* const part = new common_kesu::BodyPart("text/xml;q=1", new_body());
    part->set_content_id("id");
    part->AddProperty("p", "v");
    request->AddBodyPart(part);
  }
  return bodies;
}

void WriteWithTheLibraryAndRead(ByteScript script) {
  common_kesu::MuxConfig config;
  const std::string product = TakeAscii(&script);
  config.product = GString(ViewOf(product));
  config.locale = "en";
  const std::string configuration = TakeAscii(&script);
  config.configuration = GString(ViewOf(configuration));
  common_base::ByteVector written;
  KesuRequestBuilder out(&written);
  common_kesu::HeaderRequest header(config);
  header.set_cookie(std::int64_t{script.TakeInt16()} << 48 | script.TakeUint32());
  header.WriteHeader(&out);
  header.WriteBody(&out);

  // What each request says; of an HTTP-like one, the end of the answer in place of its payload.
  std::vector<ServiceRequest> wanted;
  std::deque<std::string> texts;
  while (!script.IsAtEnd()) {
    ServiceRequest what;
    what.id = static_cast<std::int16_t>(script.TakeInt16());
    what.is_multipart = script.Pick(2) == 1;
    what.service =
        texts.emplace_back(what.is_multipart ? kesu_server::kEchoServiceName : TakeAscii(&script));
    what.version = static_cast<std::int16_t>(script.TakeInt16());
    const common_kesu::ServiceVersion version{what.version};
    what.payload = script.TakeText(what.is_multipart ? 0 : script.TakeByte());
    const common_base::ByteView payload = ViewOf(what.payload);
    auto request = std::make_unique<common_kesu::PlainRequest>(
        GString(ViewOf(what.service)), version, payload.IsEmpty() ? nullptr : &payload);
    if (what.is_multipart) {
      auto http = std::make_unique<HttpRequest>(kesu_server::kEchoServiceName, version);
      what.payload = texts.emplace_back(Fill(http.get(), &script, &texts));
      request = std::move(http);
    }
    // Measured before it gets its number, as the multiplexer does.
    const int end = written.length() + request->GetTotalLength();
    request->set_id(what.id);
    request->WriteHeader(&out);
    request->WriteBody(&out);
    Require(written.length() == end);
    wanted.push_back(what);
  }

  const std::string body(written.begin(), written.end());
  kesu_server::Post post;
  Require(Reads(body, &post) && post.requests.size() == wanted.size());
  Require(post.client_version == product + ",,,,en" && post.cookie == header.cookie() &&
          post.configuration == configuration);
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const ServiceRequest& read = post.requests[i];
    Require(read.id == wanted[i].id && read.service == wanted[i].service &&
            read.version == wanted[i].version);
    const kesu_server::ServiceReply echo = Echo(read);
    Require(wanted[i].is_multipart ? echo.status == 200 && echo.payload.ends_with(wanted[i].payload)
                                   : read.payload == wanted[i].payload);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  kesu_server::Post post;
  if (script.TakeByte() % 2 == 0) {
    Reads(script.TakeRest(), &post);
  } else {
    WriteWithTheLibraryAndRead(script);
  }
  return 0;
}
