#include <algorithm>
#include <memory>
#include <string>

#include <doctest/doctest.h>

#include "dovi/deployment_settings.h"
#include "kesu/mux/http_request.h"
#include "kesu/mux/http_response.h"
#include "kesu/mux/mobile_service_mux.h"

#include "soak/server_process.h"
#include "support/bytes.h"
#include "support/scripted_server.h"
#include "tools/kesu/session.h"

namespace {

using common_base::ScopedPtr;
using common_kesu::BodyPart;
using common_kesu::BufferChunkProvider;
using common_kesu::HttpRequest;
using common_kesu::HttpResponse;
using common_kesu::NonMultipartResponse;
using kesu_test::TextOf;
using kesu_test::ViewOf;

/// Takes the answer to one request apart.
struct Answer final : common_kesu::Request::ListenerInterface {
  bool RequestComplete(const common_kesu::Request*, const common_kesu::Response* response,
                       bool* ok) override {
    *ok = true;
    status = response->status_code();
    // The response forwards its status to the reply that it is made of, and so wants to write it.
    auto* const source =
        const_cast<NonMultipartResponse*>(dynamic_cast<const NonMultipartResponse*>(response));
    REQUIRE(source != nullptr);
    const ScopedPtr<HttpResponse> http(HttpResponse::NewHttpResponseFrom(source));
    REQUIRE(http.get() != nullptr);
    const ScopedPtr<HeaderFieldIteratorInterface> field(http->NewHeaderFieldIterator());
    for (; !field->AtEnd(); field->Next()) {
      headers += TextOf(field->FieldName()) + "=" + TextOf(field->FieldValue()) + "|";
    }
    const ScopedPtr<common_base::DataInputStream> in(http->GetInputStream());
    body = TextOf(in->ReadByteSpan(http->ComputePayloadLength()));
    return true;
  }

  int status = 0;
  std::string headers;
  std::string body;
};

BufferChunkProvider* NewBody(const std::string& text) {
  return new BufferChunkProvider(ViewOf(text));
}

TEST_CASE("HTTP requests in one POST come back as HTTP responses") {
  ServerProcess server(KESU_SERVER);
  REQUIRE(server.Start({}));
  DoviDeploymentSettings settings;
  settings.host = server.url().c_str();
  REQUIRE(SetDoviDeploymentSettings(settings));
  const kesu_tool::Session session;
  // Many chunks, with bytes of every value.
  std::string long_body;
  for (int i = 0; i < 20'000; ++i) long_body.push_back(static_cast<char>(i * 7 & 0xFF));
  const std::string root = "root";
  const std::string part = "<part/>";
  const std::string nothing;

  HttpRequest plain("http:echo", NewBody(long_body));
  plain.set_method("PUT");
  plain.SetConnectionProperty("Accept", "a/B");
  plain.SetConnectionProperty("Content-Type", "is/not-sent");
  HttpRequest multipart("http:echo", NewBody(root));
  multipart.SetConnectionProperty("X", "y");
  multipart.SetConnectionProperty("Content-Type", "multipart/related;b=1");
  auto* const first_part = new BodyPart("text/xml;q=1", NewBody(part));
  first_part->set_content_id("id");
  first_part->AddProperty("p", "v");
  multipart.AddBodyPart(first_part);
  multipart.AddBodyPart(new BodyPart("x/y", NewBody(nothing)));
  HttpRequest empty_root("http:echo", NewBody(nothing));
  empty_root.AddBodyPart(new BodyPart("image/jpeg", NewBody(part)));
  HttpRequest no_root("http:echo");
  no_root.AddBodyPart(new BodyPart("image/jpeg", NewBody(part)));

  struct Case {
    std::string description;
    HttpRequest* request;
    std::string headers;
    std::string body;
    Answer answer = {};
  };
  Case cases[] = {
      {"plain", &plain, "X-Method=PUT|accept=a/B|", long_body},
      {"multipart", &multipart,
       "X-Method=GET|X-Multipart=multipart/related;b=1|Content-Type=multipart/related;b=1|x=y|"
       "X-Part-1=7 text/xml;q=1|X-Part-2=0 x/y|",
       root + part},
      {"multipart, an empty root body", &empty_root,
       "X-Method=GET|X-Multipart=multipart/related|X-Part-1=7 image/jpeg|", part},
      {"multipart, no root body", &no_root,
       "X-Method=GET|X-Multipart=multipart/related|X-Part-1=7 image/jpeg|", part},
  };
  for (Case& c : cases) {
    c.request->ReplaceListener(&c.answer);
    common_kesu::MobileServiceMux::GetInstance()->Submit(c.request);
  }
  const auto is_answered = [](const Case& c) { return c.answer.status != 0; };
  kesu_test::IterateUntil(
      [&] { return std::all_of(std::begin(cases), std::end(cases), is_answered); });
  for (const Case& c : cases) {
    CAPTURE(c.description);
    CHECK(c.answer.status == 200);
    CHECK(c.answer.headers == c.headers);
    CHECK((c.answer.body == c.body));
  }
  CHECK(server.Stop());
}

}  // namespace
