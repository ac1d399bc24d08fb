#include "server/services/http_call.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace kesu_server {
namespace {

struct ShortMimeType {
  std::uint16_t code;
  std::string_view name;
};

constexpr ShortMimeType kShortMimeTypes[] = {
    {0x7478, "text/xml"},          {0x7470, "text/plain"}, {0x616F, "application/octet-stream"},
    {0x6D72, "multipart/related"}, {0x696A, "image/jpeg"}, {0x6161, "application/atom+xml"},
};
constexpr std::uint16_t kNoShortMimeType = 0;

/// A code, and the parameters of the type that it stands for; or 0 and the whole type.
std::string ReadMimeType(ByteCursor* in) {
  const std::size_t start = in->offset();
  const std::uint16_t code = in->Uint16("MIME type");
  const std::string_view text = in->ShortRun("MIME type");
  if (code == kNoShortMimeType) return std::string(text);
  for (const ShortMimeType& known : kShortMimeTypes) {
    if (code != known.code) continue;
    std::string type(known.name);
    if (!text.empty()) type.append(1, ';').append(text);
    return type;
  }
  char description[48];
  std::snprintf(description, sizeof description, "MIME type: the code 0x%04X is unknown",
                unsigned{code});
  in->Fail(start, description);
  return {};
}

std::vector<HttpField> ReadFields(ByteCursor* in) {
  std::vector<HttpField> fields;
  for (int left = in->Uint8("number of headers"); left > 0 && !in->failed(); --left) {
    const std::string_view name = in->ShortRun("header name");
    const std::string_view value = in->ShortRun("header value");
    fields.emplace_back(name, value);
  }
  return fields;
}

void ExpectNoEncoding(ByteCursor* in) {
  const std::size_t start = in->offset();
  if (!in->ShortRun("encoding").empty()) in->Fail(start, "encoding: none is known");
}

/// The length of a body, the name of its encoding, which comes only with a body, and the body.
std::string_view ReadEncodedBody(ByteCursor* in) {
  const std::size_t start = in->offset();
  const std::int32_t length = in->Int32("body");
  if (length == 0) return {};
  ExpectNoEncoding(in);
  return in->Run("body", start, length);
}

HttpPart ReadPart(ByteCursor* in) {
  HttpPart part;
  part.mime_type = ReadMimeType(in);
  in->ShortRun("content id");
  ReadFields(in);
  part.body = ReadEncodedBody(in);
  return part;
}

void ReadMultipartCall(ByteCursor* in, HttpCall* call) {
  constexpr char kNumberOfParts[] = "number of parts";
  call->mime_type = ReadMimeType(in);
  ExpectNoEncoding(in);
  call->headers = ReadFields(in);
  call->body = ReadEncodedBody(in);
  const std::size_t start = in->offset();
  int parts = in->Uint16(kNumberOfParts);
  // There is at least one part. A zero here is the empty encoding of a body that is there but
  // empty, which the length does not tell from a body that is not.
  if (parts == 0 && call->body.empty()) parts = in->Uint16(kNumberOfParts);
  if (parts == 0) in->Fail(start, "number of parts: there must be one");
  for (; parts > 0 && !in->failed(); --parts) call->parts.push_back(ReadPart(in));
}

}  // namespace

std::optional<ReadError> ReadHttpCall(const ServiceRequest& request, HttpCall* call) {
  std::optional<ReadError> error;
  ByteCursor in(request.payload, 0, &error);
  call->method = in.ShortRun("method");
  if (request.is_multipart) {
    ReadMultipartCall(&in, call);
  } else {
    call->headers = ReadFields(&in);
    call->body = in.LongRun("body");
  }
  in.ExpectEnd("request");
  return error;
}

}  // namespace kesu_server
