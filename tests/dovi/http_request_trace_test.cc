#include <cstdio>
#include <string>

#include <doctest/doctest.h>
#include <unistd.h>

#include "dovi/exchange.h"

namespace {

/// Sends standard output to a temporary file for the length of a scope.
class CapturedOutput {
 public:
  CapturedOutput() : file_(std::tmpfile()) {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    dup2(fileno(file_), STDOUT_FILENO);
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  ~CapturedOutput() {
    Restore();
    std::fclose(file_);
  }

  std::string TakeText() {
    Restore();
    std::string text;
    std::rewind(file_);
    for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_)) {
      text += static_cast<char>(c);
    }
    return text;
  }

 private:
  void Restore() {
    if (saved_ < 0) return;
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    saved_ = -1;
  }

  std::FILE* file_;
  int saved_ = -1;
};

/// Replaces what differs from run to run: the number or address behind `label`.
void Mask(std::string* text, const std::string& label, const char* digits) {
  const std::size_t label_at = text->find(label);
  if (label_at == std::string::npos) return;
  const std::size_t start = label_at + label.size();
  const std::size_t end = text->find_first_not_of(digits, start);
  *text = text->substr(0, start) + "#" + text->substr(end);
}

std::string TraceOf(const std::string& reply) {
  kesu_test::ScriptedServer server;
  const ScopedSettings settings(server.host());
  CapturedOutput output;
  {
    DoviHttpRequestFactory factory;
    server.Reply({reply});
    Exchange exchange(&factory, "hello");
    exchange.Run();
    delete exchange.request->HttpResponseHeaders();
  }
  std::string text = output.TakeText();
  Mask(&text, "req================", "-0123456789");
  Mask(&text, "sendPostRequest handle", "0x123456789abcdef");
  for (std::size_t at = 0; (at = text.find(server.host(), at)) != std::string::npos;) {
    text.replace(at, server.host().size(), "HOST");
  }
  return text;
}

const std::string kBeforeTheResponse =
    "=========glibcurl_init================\n"
    "=========NewHttpPostRequest================\n"
    "constructing DoviHttpRequest()\n"
    "url is %sHOST/m/appreq/cllDovi\n"
    "=========NewHttpPostRequest req================#\n"
    "======================sendPostRequest\n"
    "sendPostRequest handle#\n"
    "======================post data size 5\n";

const std::string kAfterTheResponse =
    "Cancel \n"
    "~DoviHttpRequest \n"
    "enf curl_slist_free_all()\n"
    "glibcurl_remove()\n"
    "end curl_easy_cleanup()\n"
    "=========Clean up the curl================\n";

}  // namespace

TEST_CASE("the trace of a POST") {
  CHECK(TraceOf("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok") ==
        kBeforeTheResponse +
            "In parse resp num of bytes : 2 \n"
            "Allocate m_responsebuffer : 3 \n"
            "connection closed, CURLMsg:No error\n"
            "lasturllHOST/m/appreq/cllDovi\n"
            "my_GlibcurlCallback============= m_response_header size 39  \n"
            "last error is: \n"
            "my_GlibcurlCallback============= 2 m_response_header size 39 \n"
            "================= OnRequestComplete \n"
            "HttpResponseHeaders============= m_response_header size 39 " +
            kAfterTheResponse);
  CHECK(TraceOf("HTTP/1.1 500 No\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\n\r\n") ==
        kBeforeTheResponse +
            "In parse resp num of bytes : 1 \n"
            "Allocate m_responsebuffer : 2 \n"
            "connection closed, CURLMsg:No error\n"
            "lasturllHOST/m/appreq/cllDovi\n"
            "my_GlibcurlCallback============= m_response_header size 48  \n"
            "last error is: \n"
            "Nnnnnnooooooooooooooo respbody: \n"
            "my_GlibcurlCallback============= 2 m_response_header size 48 \n"
            "================= OnRequestFailed \n"
            "HttpResponseHeaders============= m_response_header size 48 " +
            kAfterTheResponse);
}
