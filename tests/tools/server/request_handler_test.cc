#include "tools/kesu-server/request_handler.h"

#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "support/bytes.h"

namespace {

using kesu_server::HttpHeaders;
using kesu_server::Reply;
using kesu_server::ServiceRequest;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;
using kesu_test::ViewOf;

const std::string kPath = "/m/appreq/cllDovi";
const HttpHeaders kBinary = {{"X-Test", "one"}, {"content-type", "Application/Binary ; v=1"}};

TEST_CASE("what is answered to what") {
  // Version 1 and a header block; request 7 for "x" with "AB"; request -2 for "y".
  const std::string post =
      TextOf(Bytes("00 01  00 00 00 0D 00 01  00 01 74  00 00 00 00 00 00 00 2A  00 00 "
                   "00 00 00 0D 01 00  00 07  00 01 78  00 00  00 00 00 02 41 42 "
                   "00 00 00 0B 01 00  FF FE  00 01 79  00 00  00 00 00 00"));
  // Request 7: status 201, "BA". Request -2: status 404 and nothing.
  const std::string answer =
      TextOf(Bytes("00 01  00 00 00 0C 81 00  00 07  00 C9  00 00  00 00 00 00 42 41 "
                   "00 00 00 0A 81 00  FF FE  01 94  00 00  00 00 00 00"));
  const std::string malformed =
      "malformed POST: header block: 4 bytes wanted, 1 left, at byte offset 2";
  const std::string too_short("\0\1\0", 3);
  const struct {
    kesu_server::HttpRequest request;
    unsigned status;
    std::string reply;
  } cases[] = {
      {{"POST", kPath, kBinary, post}, 200, answer},
      {{"POST", kPath, kBinary, too_short}, 400, malformed + "\n"},
      {{"POST", kPath, kBinary, "", true}, 413, "the body is longer than 1048576 bytes\n"},
      {{"POST", kPath, {{"Content-Type", "application/octet-stream"}}, post},
       415,
       "the content type must be application/binary\n"},
      {{"POST", kPath, {}, post}, 415, "the content type must be application/binary\n"},
      {{"DELETE", kPath, kBinary, post}, 405, "only GET and POST\n"},
      {{"GET", kPath, kBinary, ""}, 200, "X-Test: one\ncontent-type: Application/Binary ; v=1\n"},
      {{"GET", "/", {}, ""}, 404, "nothing here\n"},
      {{"GET", kPath + "/", {}, ""}, 404, "nothing here\n"},
      {{"GET", "/m/appreq/clldovi", {}, ""}, 404, "nothing here\n"},
  };
  std::vector<std::string> reports;
  kesu_server::RequestHandler handler([&](const std::string& line) { reports.push_back(line); });
  handler.AddService("x", [](const ServiceRequest& request) {
    return kesu_server::ServiceReply{201, {request.payload.rbegin(), request.payload.rend()}};
  });
  for (const auto& row : cases) {
    CAPTURE(row.status);
    const Reply reply = handler.Handle(row.request);
    CHECK(reply.status == row.status);
    CHECK(ToHex(ViewOf(reply.body)) == ToHex(ViewOf(row.reply)));
    const bool is_binary = row.reply == answer;
    CHECK(reply.headers[0].second ==
          (is_binary ? "application/binary" : "text/plain; charset=utf-8"));
    CHECK(reply.headers[1].second == std::to_string(reply.body.size()));
  }
  CHECK(reports == std::vector<std::string>{malformed});
}

}  // namespace
