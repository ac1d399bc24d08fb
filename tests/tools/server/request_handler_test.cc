#include "tools/kesu-server/request_handler.h"

#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "support/bytes.h"
#include "tools/server/test_world.h"

namespace {

using kesu_server::HttpHeaders;
using kesu_server::HttpRequest;
using kesu_server::LocationService;
using kesu_server::Reply;
using kesu_server::RequestHandler;
using kesu_server::ServiceRequest;
using kesu_test::Bytes;
using kesu_test::TextOf;

/// The handler with the location service, and what it reports.
struct Server {
  Server() {
    handler.AddService(LocationService::kName, [this](const ServiceRequest& request) {
      return world.service.Answer(request);
    });
  }

  Reply Send(std::string method, std::string content_type, std::string_view body) {
    return handler.Handle({std::move(method),
                           "/m/appreq/cllDovi",
                           {{"X-Test", "one"}, {"content-type", std::move(content_type)}},
                           body,
                           false});
  }

  kesu_test::TestWorld world;
  std::vector<std::string> reports;
  RequestHandler handler{[this](const std::string& line) { reports.push_back(line); }};
};

std::string Header(const Reply& reply, const std::string& name) {
  for (const auto& [key, value] : reply.headers) {
    if (key == name) return value;
  }
  return "(none)";
}

constexpr char kHeaderBlock[] =
    "00 01  00 00 00 0D 00 01  00 01 74  00 00 00 00 00 00 00 2A  00 00 ";

TEST_CASE("a POST with a location request and one for an unknown service") {
  Server server;
  const auto post = TextOf(Bytes(std::string(kHeaderBlock) +
                                 // Request 7 for "g:loc/ql", 35 bytes of payload.
                                 "00 00 00 35 01 00  00 07  00 08 67 3A 6C 6F 63 2F 71 6C  00 01 "
                                 "00 00 00 23 "
                                 // The platform key "key-1".
                                 "0A 07 42 05 6B 65 79 2D 31 "
                                 // An element with the cell 001-01, area 1, cell 1001 at -80 dBm.
                                 "22 18 0A 16 0A 14 08 01 10 01 18 01 20 E9 07 "
                                 "28 B0 FF FF FF FF FF FF FF FF 01 "
                                 // Request 8 for "x".
                                 "00 00 00 0B 01 00  00 08  00 01 78  00 00  00 00 00 00"));
  const Reply reply = server.Send("POST", "application/binary", post);
  CHECK(reply.status == 200);
  CHECK(Header(reply, "Content-Type") == "application/binary");
  CHECK(Header(reply, "Content-Length") == std::to_string(reply.body.size()));
  const auto expected = Bytes(
      "00 01  00 00 00 28 81 00  00 07  00 C8  00 00  00 00 00 00 "
      // Status 0; an element with status 0, 10 N 20 E within 159 m; the key.
      "08 00  12 13 08 00 12 0F 0A 0A 0D 00 E1 F5 05 15 00 C2 EB 0B 18 9F 01 "
      "1A 05 6B 65 79 2D 31 "
      // Request 8: status 404, no payload.
      "00 00 00 0A 81 00  00 08  01 94  00 00  00 00 00 00");
  CHECK(kesu_test::ToHex(kesu_test::ViewOf(reply.body)) == kesu_test::ToHex(expected));
  CHECK(server.reports.empty());
}

TEST_CASE("a payload that is no message fails its own request only") {
  Server server;
  // A platform profile said to be 5 bytes long, of which there is one.
  const auto post = TextOf(Bytes(std::string(kHeaderBlock) +
                                 "00 00 00 15 01 00  00 07  00 08 67 3A 6C 6F 63 2F 71 6C  00 01 "
                                 "00 00 00 03 0A 05 42"));
  const Reply reply = server.Send("POST", "application/binary", post);
  CHECK(reply.status == 200);
  CHECK(kesu_test::ToHex(kesu_test::ViewOf(reply.body)) ==
        "00 01 00 00 00 0A 81 00 00 07 01 90 00 00 00 00 00 00");
}

TEST_CASE("a multipart request is none of the location service") {
  Server server;
  const auto post = TextOf(Bytes(std::string(kHeaderBlock) +
                                 "00 00 00 0E 01 01  00 07  00 08 67 3A 6C 6F 63 2F 71 6C  00 01"));
  CHECK(kesu_test::ToHex(kesu_test::ViewOf(server.Send("POST", "application/binary", post).body)) ==
        "00 01 00 00 00 0A 81 00 00 07 01 90 00 00 00 00 00 00");
}

TEST_CASE("faults are for POSTs that are answered") {
  Server server;
  std::string error;
  kesu_server::FaultPlan faults;
  faults.Add(*kesu_server::ParseFault("status=503:1", &error));
  server.handler.set_faults(&faults);
  CHECK(server.Send("GET", "", "").status == 200);
  CHECK(server.Send("POST", "text/plain", "").status == 415);
  CHECK(server.Send("POST", "application/binary", "").status == 400);
  const std::string post = TextOf(Bytes(kHeaderBlock));
  CHECK(server.Send("POST", "application/binary", post).status == 503);
  CHECK(server.Send("POST", "application/binary", post).status == 200);
}

TEST_CASE("what is refused, and how") {
  struct Case {
    const char* description;
    const char* method;
    const char* content_type;
    const char* body;
    unsigned status;
    std::size_t reports;
  };
  constexpr Case kCases[] = {
      {"no blocks but the header", "POST", "application/binary", kHeaderBlock, 200, 0},
      {"a content type with a parameter", "POST", "Application/Binary ; v=1", kHeaderBlock, 200, 0},
      {"another content type", "POST", "application/octet-stream", kHeaderBlock, 415, 0},
      {"no content type", "POST", "", kHeaderBlock, 415, 0},
      {"a malformed body", "POST", "application/binary", "00 01 00", 400, 1},
      {"another method", "DELETE", "application/binary", kHeaderBlock, 405, 0},
  };
  for (const Case& c : kCases) {
    CAPTURE(c.description);
    Server server;
    const Reply reply = server.Send(c.method, c.content_type, TextOf(Bytes(c.body)));
    CHECK(reply.status == c.status);
    CHECK(Header(reply, "Content-Length") == std::to_string(reply.body.size()));
    CHECK(server.reports.size() == c.reports);
  }

  Server server;
  HttpRequest request{
      "POST", "/m/appreq/cllDovi", {{"Content-Type", "application/binary"}}, "", true};
  CHECK(server.handler.Handle(request).status == 413);
  for (const char* path : {"/", "/m/appreq/cllDovi/", "/m/appreq/clldovi", "/m/appreq%2FcllDovi"}) {
    CAPTURE(path);
    request.path = path;
    CHECK(server.handler.Handle(request).status == 404);
  }
}

TEST_CASE("a malformed POST is reported with the offset of the fault") {
  Server server;
  const Reply reply = server.Send("POST", "application/binary", TextOf(Bytes("00 01 00")));
  REQUIRE(server.reports.size() == 1);
  CHECK(server.reports[0] ==
        "malformed POST: header block: 4 bytes wanted, 1 left, at byte offset 2");
  CHECK(reply.body == server.reports[0] + "\n");
}

TEST_CASE("a GET gets its own headers back") {
  Server server;
  const Reply reply = server.Send("GET", "text/html", "");
  CHECK(reply.status == 200);
  CHECK(Header(reply, "Content-Type") == "text/plain; charset=utf-8");
  CHECK(reply.body == "X-Test: one\ncontent-type: text/html\n");
}

}  // namespace
