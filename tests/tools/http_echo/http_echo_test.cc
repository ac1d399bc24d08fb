#include <cstdlib>
#include <memory>
#include <string>

#include <doctest/doctest.h>
#include <gio/gio.h>

#include "dovi/deployment_settings.h"
#include "kesu/mux/http_request.h"
#include "kesu/mux/http_response.h"
#include "kesu/mux/mobile_service_mux.h"

#include "support/bytes.h"
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

/// Far longer than anything takes.
constexpr unsigned kPatienceS = 60;

/// A kesu-server of its own, which the library is pointed at.
class ServerProcess {
 public:
  ServerProcess() {
    const char* const path = std::getenv("KESU_SERVER");
    REQUIRE_MESSAGE(path != nullptr, "KESU_SERVER is not set");
    process_ =
        g_subprocess_new(G_SUBPROCESS_FLAGS_STDOUT_PIPE, nullptr, path, "--port", "0", nullptr);
    REQUIRE(process_ != nullptr);
    GDataInputStream* const output =
        g_data_input_stream_new(g_subprocess_get_stdout_pipe(process_));
    g_filter_input_stream_set_close_base_stream(G_FILTER_INPUT_STREAM(output), FALSE);
    char* const line = g_data_input_stream_read_line(output, nullptr, nullptr, nullptr);
    g_object_unref(output);
    REQUIRE(line != nullptr);
    const std::string announcement = line;
    g_free(line);
    const std::string prefix = "listening on ";
    REQUIRE(announcement.starts_with(prefix));
    const std::string url = announcement.substr(prefix.size());
    DoviDeploymentSettings settings;
    settings.host = url.c_str();
    REQUIRE(SetDoviDeploymentSettings(settings));
  }
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  ~ServerProcess() {
    SetDoviDeploymentSettings(DoviDeploymentSettings());
    g_subprocess_send_signal(process_, SIGTERM);
    CHECK(g_subprocess_wait(process_, nullptr, nullptr));
    CHECK(g_subprocess_get_exit_status(process_) == 0);
    g_object_unref(process_);
  }

 private:
  GSubprocess* process_ = nullptr;
};

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
    is_readable = http.get() != nullptr;
    if (is_readable) Keep(*http);
    return true;
  }

  void Keep(const HttpResponse& http) {
    const ScopedPtr<HeaderFieldIteratorInterface> field(http.NewHeaderFieldIterator());
    for (; !field->AtEnd(); field->Next()) {
      headers += TextOf(field->FieldName()) + "=" + TextOf(field->FieldValue()) + "|";
    }
    method = TextOf(http.ValueOfHeader("X-Method"));
    const ScopedPtr<common_base::DataInputStream> in(http.GetInputStream());
    body = TextOf(in->ReadByteSpan(http.ComputePayloadLength()));
  }

  int status = 0;
  bool is_readable = false;
  std::string headers;
  std::string method;
  std::string body;
};

BufferChunkProvider* NewBody(const std::string& text) {
  return new BufferChunkProvider(ViewOf(text));
}

TEST_CASE("HTTP requests in one POST come back as HTTP responses") {
  const ServerProcess server;
  const kesu_tool::Session session(false);
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
  HttpRequest bare("http:echo");
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
  // Said to be multipart, without a part.
  HttpRequest malformed("http:echo");
  malformed.set_type(common_kesu::Block::kMultipartRequestBlock);

  struct Case {
    const char* description;
    HttpRequest* request;
    int status;
    const char* method;
    const char* headers;
    std::string body;
    Answer answer = {};
  };
  Case cases[] = {
      {"plain", &plain, 200, "PUT", "X-Method=PUT|accept=a/B|", long_body},
      {"without a header or a body", &bare, 200, "GET", "X-Method=GET|", ""},
      {"malformed", &malformed, 400, "", "", ""},
      {"multipart", &multipart, 200, "GET",
       "X-Method=GET|X-Multipart=multipart/related;b=1|Content-Type=multipart/related;b=1|x=y|"
       "X-Part-1=7 text/xml;q=1|X-Part-2=0 x/y|",
       root + part},
      {"multipart, an empty root body", &empty_root, 200, "GET",
       "X-Method=GET|X-Multipart=multipart/related|X-Part-1=7 image/jpeg|", part},
      {"multipart, no root body", &no_root, 200, "GET",
       "X-Method=GET|X-Multipart=multipart/related|X-Part-1=7 image/jpeg|", part},
  };
  auto* const mux = common_kesu::MobileServiceMux::GetInstance();
  for (Case& c : cases) {
    c.request->ReplaceListener(&c.answer);
    mux->Submit(c.request);
  }
  bool is_too_late = false;
  const unsigned timer = g_timeout_add_seconds(
      kPatienceS,
      [](void* flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_CONTINUE;
      },
      &is_too_late);
  for (Case& c : cases) {
    while (c.answer.status == 0 && !is_too_late) g_main_context_iteration(nullptr, TRUE);
  }
  g_source_remove(timer);

  for (const Case& c : cases) {
    CAPTURE(c.description);
    CHECK(c.answer.status == c.status);
    // A refusal has no payload, and so not even a count of headers.
    CHECK(c.answer.is_readable == (c.status == 200));
    CHECK(c.answer.method == c.method);
    CHECK(c.answer.headers == c.headers);
    CHECK((c.answer.body == c.body));
  }
}

}  // namespace
