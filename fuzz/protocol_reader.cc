// The body of a reply, and each payload in it as the answer to an HTTP request, against second
// readings of the layouts.
#include "kesu/mux/protocol_reader.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kesu/common/base/logging.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/zlib_decompression.h"
#include "kesu/mux/http_response.h"

#include "fuzz/byte_script.h"

using common_kesu::HttpResponse;
using common_kesu::NonMultipartResponse;
using namespace common_base;
using namespace kesu_fuzz;

namespace {

constexpr int kReplyBlock = 0x8100;
constexpr std::size_t kBlockHeadBytes = 6;
constexpr std::size_t kReplyHeadBytes = 10;

/// Undoes the encodings, the last one first; false where one cannot be undone.
bool Decode(std::string_view encodings, std::string* payload) {
  if (encodings.empty()) return true;
  const std::size_t comma = encodings.rfind(',');
  const std::string_view name = encodings.substr(comma + 1);
  bool ok = name == "n" || name == "g";
  if (name == "g") {
    const ByteView input = ViewOf(*payload);
    ByteVector output;
    DoZlibDecompression(&input, &output, &ok);
    *payload = TextOf(output);
  }
  if (!ok || comma == std::string_view::npos) return ok;
  // An empty name in front of the first comma fails too.
  return comma != 0 && Decode(encodings.substr(0, comma), payload);
}

std::optional<GString> TakeString(ByteScript* script, std::size_t* left) {
  if (*left < 2) return std::nullopt;
  const std::size_t length = static_cast<std::uint16_t>(script->TakeInt16());
  if (*left - 2 < length) return std::nullopt;
  *left -= 2 + length;
  const GString string(ViewOf(script->TakeText(length)));
  // Lengths are reckoned in characters, so that longer ones leave the body short of bytes.
  if (static_cast<std::size_t>(string->Length()) != length) return std::nullopt;
  return string;
}

void CheckAnswer(NonMultipartResponse* source, std::string_view payload) {
  ByteScript script(payload);
  std::size_t left = payload.empty() ? 0 : payload.size() - 1;
  std::vector<std::pair<GString, GString>> headers;
  bool is_good = !payload.empty();
  for (unsigned count = script.TakeByte(); is_good && count > 0; --count) {
    const std::optional<GString> name = TakeString(&script, &left);
    const std::optional<GString> value = name ? TakeString(&script, &left) : std::nullopt;
    is_good = value.has_value();
    if (is_good) headers.emplace_back(*name, *value);
  }
  const HttpRequestFactory::StatusInfo status_info;
  source->SetHttpFields(nullptr, &status_info);
  const ScopedPtr<HttpResponse> response(HttpResponse::NewHttpResponseFrom(source));
  Require((response.get() != nullptr) == is_good);
  if (!is_good) return;
  const ScopedPtr<HeaderFieldIteratorInterface> iterator(response->NewHeaderFieldIterator());
  std::map<std::string, GString> first_values;
  for (const auto& [name, value] : headers) {
    const GString& first = first_values.emplace(TextOf(name), value).first->second;
    Require(response->ValueOfHeader(name) == first);
    Require(response->HasHeader(name) == !first->IsEmpty());
    Require(!iterator->AtEnd());
    Require(GString(iterator->FieldName()) == name && GString(iterator->FieldValue()) == value);
    iterator->Next();
  }
  Require(iterator->AtEnd());
  Require(first_values.contains("Via") || response->ValueOfHeader("Via")->IsEmpty());
  Require(response->id() == source->id() && response->status_code() == source->status_code());
  Require(response->http_status_info() == &status_info);
  Require(response->ComputePayloadLength() == static_cast<int>(left));
  const ScopedPtr<DataInputStream> stream(response->GetInputStream());
  Require(TextOf(stream->ReadFully()) == script.TakeRest());
}

/// The body of a reply block, and what was made of it, if anything was.
void CheckReply(std::string_view body, NonMultipartResponse* response) {
  ByteScript script(body);
  const int id = script.TakeInt16();
  const int status = script.TakeInt16();
  const std::size_t length = static_cast<std::uint16_t>(script.TakeInt16());
  const std::string_view encodings = script.TakeText(length);
  const std::uint32_t value = script.TakeUint32();
  const std::string_view raw_payload = script.TakeRest();
  std::string payload(raw_payload);
  const bool is_good = body.size() >= kReplyHeadBytes + length && Decode(encodings, &payload);
  Require((response != nullptr) == is_good);
  if (!is_good) return;
  Require(response->IsInitialized() && !response->is_error());
  Require(response->type() == kReplyBlock && response->id() == id);
  Require(response->status_code() == status);
  Require(response->body_length() == static_cast<int>(body.size()));
  Require(response->encodings() == GString(ViewOf(encodings)));
  Require(static_cast<std::uint32_t>(response->value_after_encodings()) == value);
  Require(TextOf(response->raw_payload()) == raw_payload);
  Require(response->ComputePayloadLength() == static_cast<int>(payload.size()));
  const ScopedPtr<DataInputStream> stream(response->GetInputStream());
  Require(TextOf(stream->ReadFully()) == payload);
  CheckAnswer(response, payload);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  SetLogCallback([](const GString&, void*) {}, nullptr);
  SetLogLevel(script.Pick(2) == 1 ? kLogDebug : kLogNothing);
  std::string_view rest = script.TakeRest();
  const ByteView view = ViewOf(rest);
  DataInputStream stream(&view);
  common_kesu::ProtocolReader reader(&stream);
  bool ok = true;
  Require(reader.ReadResponse(&ok) == nullptr && !ok);
  reader.InitializeInput(&ok);
  Require(ok == rest.starts_with(std::string_view("\0\1", 2)));
  rest.remove_prefix(std::min<std::size_t>(rest.size(), 2));
  while (ok) {
    ByteScript head(rest);
    const std::size_t length = head.TakeUint32();
    const int type = static_cast<std::uint16_t>(head.TakeInt16());
    const bool is_whole = rest.size() >= kBlockHeadBytes && rest.size() - kBlockHeadBytes >= length;
    const ScopedPtr<common_kesu::Response> response(reader.ReadResponse(&ok));
    if (is_whole && type == kReplyBlock) {
      CheckReply(head.TakeText(length), static_cast<NonMultipartResponse*>(response.get()));
      Require(ok == (response.get() != nullptr));
    } else {
      Require(ok == is_whole && !response);
    }
    if (ok) rest.remove_prefix(kBlockHeadBytes + length);
  }
  return 0;
}
