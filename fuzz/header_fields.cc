// Header text: both iterators against a plain model.
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
    const std::string_view line = text.substr(0, std::min(text.find("\r\n"), text.size()) + 2);
    text.remove_prefix(line.size());
    const std::size_t colon = std::min(line.find(':'), line.size());
    std::string_view value = line.substr(std::min(colon + 1, line.size()));
    value.remove_prefix(std::min(value.find_first_not_of(" \t\r\n"), value.size()));
    fields.emplace_back(line == "\r\n" ? "" : line.substr(0, colon),
                        value.substr(0, value.find("\r\n")));
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view input = ByteScript(bytes, size).TakeRest();
  const Fields raw_fields = FieldsOf(input);
  HeaderFieldIterator raw(ViewOf(input));
  RequireFields(&raw, raw_fields.begin(), raw_fields.end());
  raw.Reset();
  RequireFields(&raw, raw_fields.begin(), raw_fields.end());

  GVector<GString> names, values;
  Fields fields;
  for (const auto& [name, value] : raw_fields) {
    names.Append(GString(ViewOf(name)));
    values.Append(GString(ViewOf(value)));
    fields.emplace_back(TextOf(names.end()[-1]), TextOf(values.end()[-1]));
  }
  GStringHeaderFieldIterator iterator(names, values);
  RequireFields(&iterator, fields.begin(), fields.end());
  if (!fields.empty()) {
    iterator.Reset();
    // The field last read stays until Next().
    Require(TextOf(iterator.FieldName()) == fields.back().first);
    iterator.Next();
    RequireFields(&iterator, fields.begin() + 1, fields.end());
  }
  const std::string domain = TextOf(HttpUtils::GetDomainForUrl(GString(ViewOf(input))));
  Require(domain.find_first_of("/#?") == std::string::npos);
  return 0;
}
