// The answer to an HttpRequest out of any payload, against a second reading of the layout.
#include "kesu/mux/http_response.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kesu/common/base/logging.h"
#include "kesu/common/base/scoped_ptr.h"

#include "fuzz/byte_script.h"

using common_kesu::HttpResponse;
using common_kesu::NonMultipartResponse;
using namespace common_base;
using namespace kesu_fuzz;

namespace {

/// Id 7, status -2, no encodings, the value 0.
constexpr std::string_view kBlockHead("\0\7\xFF\xFE\0\0\0\0\0\0", 10);

struct Answer {
  std::vector<std::pair<GString, GString>> headers;
  std::string_view body;
};

std::optional<GString> TakeString(std::string_view* rest) {
  if (rest->size() < 2) return std::nullopt;
  const auto high = static_cast<unsigned char>((*rest)[0]);
  const std::size_t length = std::size_t{high} << 8 | static_cast<unsigned char>((*rest)[1]);
  if (rest->size() - 2 < length) return std::nullopt;
  const GString string(ViewOf(rest->substr(2, length)));
  rest->remove_prefix(2 + length);
  // Lengths are reckoned in characters, so that longer ones leave the body short of bytes.
  if (static_cast<std::size_t>(string->Length()) != length) return std::nullopt;
  return string;
}

std::optional<Answer> ReadAnswer(std::string_view payload) {
  if (payload.empty()) return std::nullopt;
  Answer answer;
  answer.body = payload.substr(1);
  for (int left = static_cast<unsigned char>(payload[0]); left > 0; --left) {
    const std::optional<GString> name = TakeString(&answer.body);
    const std::optional<GString> value = name ? TakeString(&answer.body) : std::nullopt;
    if (!value) return std::nullopt;
    answer.headers.emplace_back(*name, *value);
  }
  return answer;
}

void CheckHeaders(const HttpResponse& response, const Answer& answer) {
  Require(response.header_names().length() == static_cast<int>(answer.headers.size()));
  const ScopedPtr<HeaderFieldIteratorInterface> iterator(response.NewHeaderFieldIterator());
  std::map<std::string, GString> first_values;
  for (const auto& [name, value] : answer.headers) {
    const GString& first = first_values.emplace(TextOf(name), value).first->second;
    Require(response.ValueOfHeader(name) == first);
    Require(response.HasHeader(name) == !first->IsEmpty());
    Require(!iterator->AtEnd());
    Require(GString(iterator->FieldName()) == name && GString(iterator->FieldValue()) == value);
    iterator->Next();
  }
  Require(iterator->AtEnd());
  if (first_values.count("Via") == 0) Require(response.ValueOfHeader("Via")->IsEmpty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  SetLogCallback([](const GString&, void*) {}, nullptr);
  SetLogLevel(script.Pick(2) == 1 ? kLogDebug : kLogNothing);
  const std::string_view payload = script.TakeRest();
  const std::string block = std::string(kBlockHead).append(payload);
  const ByteView block_view = ViewOf(block);
  DataInputStream block_stream(&block_view);
  NonMultipartResponse source;
  bool ok = false;
  source.Initialize(&block_stream, block_view.length(), &ok);
  Require(ok && source.ComputePayloadLength() == static_cast<int>(payload.size()));

  const ScopedPtr<HttpResponse> response(HttpResponse::NewHttpResponseFrom(&source));
  const std::optional<Answer> answer = ReadAnswer(payload);
  Require(answer.has_value() == (response.get() != nullptr));
  if (!answer) return 0;
  CheckHeaders(*response, *answer);
  Require(response->id() == 7 && response->status_code() == -2);
  Require(response->ComputePayloadLength() == static_cast<int>(answer->body.size()));
  const ScopedPtr<DataInputStream> stream(response->GetInputStream());
  Require(stream->ReadFully().BitwiseEquals(ViewOf(answer->body)));
  return 0;
}
