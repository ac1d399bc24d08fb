// Header text and URLs: the iterators and the domain against plain models.
#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kesu/mux/gstring_header_field_iterator.h"
#include "kesu/mux/header_field_iterator.h"
#include "kesu/mux/http_utils.h"

#include "fuzz/byte_script.h"

using namespace common_base;
using namespace kesu_fuzz;
using Fields = std::vector<std::pair<std::string, std::string>>;

namespace {

Fields FieldsOf(std::string_view text) {
  Fields fields;
  while (!text.empty()) {
    const std::size_t line_end = std::min(text.find("\r\n"), text.size());
    const std::string_view line = text.substr(0, line_end + 2);
    text.remove_prefix(line.size());
    const std::size_t colon = std::min(line.find(':'), line.size());
    const std::string_view name = line == "\r\n" ? "" : line.substr(0, colon);
    std::string_view value = line.substr(std::min(colon + 1, line.size()));
    value.remove_prefix(std::min(value.find_first_not_of(" \t\r\n"), value.size()));
    fields.emplace_back(name, value.substr(0, value.find("\r\n")));
  }
  return fields;
}

/// The iterator stands before `begin` and yields those fields and no more.
void RequireFields(HeaderFieldIteratorInterface* iterator, Fields::const_iterator begin,
                   Fields::const_iterator end) {
  for (; begin != end; ++begin) {
    Require(!iterator->AtEnd());
    Require(TextOf(iterator->FieldName()) == begin->first);
    Require(TextOf(iterator->FieldValue()) == begin->second);
    iterator->Next();
  }
  Require(iterator->AtEnd());
  iterator->Next();
  Require(iterator->AtEnd());
}

void CheckStringIterator(const Fields& raw_fields) {
  GVector<GString> names;
  GVector<GString> values;
  Fields fields;
  for (const auto& [name, value] : raw_fields) {
    names.Append(GString(ViewOf(name)));
    values.Append(GString(ViewOf(value)));
    fields.emplace_back(TextOf(names.end()[-1]), TextOf(values.end()[-1]));
  }
  GStringHeaderFieldIterator iterator(names, values);
  RequireFields(&iterator, fields.begin(), fields.end());
  if (fields.empty()) return;
  iterator.Reset();
  // The field last read stays until Next().
  Require(TextOf(iterator.FieldName()) == fields.back().first);
  Require(TextOf(iterator.FieldValue()) == fields.back().second);
  iterator.Next();
  RequireFields(&iterator, fields.begin() + 1, fields.end());
}

void CheckDomain(const GString& url) {
  const std::string domain = TextOf(HttpUtils::GetDomainForUrl(url));
  Require(domain.find_first_of("/#?") == std::string::npos);
  const std::string text = TextOf(url);
  // A text with supplementary characters is cut short where a part of it is taken.
  const auto is_supplementary = [](char byte) { return static_cast<unsigned char>(byte) >= 0xF0; };
  if (std::any_of(text.begin(), text.end(), is_supplementary)) return;
  std::string scheme = text.substr(0, 7);
  for (char& c : scheme) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 'a' - 'A');
  }
  const std::string rest = text.substr(scheme == "http://" ? scheme.size() : 0);
  Require(domain == rest.substr(0, rest.find_first_of("/#?")));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view input = ByteScript(bytes, size).TakeRest();
  const Fields fields = FieldsOf(input);
  HeaderFieldIterator iterator(ViewOf(input));
  for (int pass = 0; pass < 2; ++pass) {
    RequireFields(&iterator, fields.begin(), fields.end());
    iterator.Reset();
  }
  CheckStringIterator(fields);
  CheckDomain(GString(ViewOf(input)));
  return 0;
}
