#include "server/import/csv_row.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

#include <glib.h>

namespace kesu_server {
namespace {

template <typename Value>
bool ParseWhole(std::string_view text, Value* value) {
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc() && stopped == end;
}

}  // namespace

bool CsvRow::TakeQuoted(std::string_view* rest, bool* is_last) {
  rest->remove_prefix(1);
  const std::size_t begin = unquoted_.size();
  while (true) {
    const std::size_t quote = rest->find('"');
    if (quote == std::string_view::npos) return false;
    unquoted_.append(rest->substr(0, quote));
    rest->remove_prefix(quote + 1);
    if (!rest->starts_with('"')) break;
    unquoted_ += '"';
    rest->remove_prefix(1);
  }
  fields_.push_back(std::string_view(unquoted_).substr(begin));
  *is_last = rest->empty();
  if (*is_last) return true;
  if (!rest->starts_with(',')) return false;
  rest->remove_prefix(1);
  return true;
}

bool CsvRow::Parse(std::string_view line) {
  fields_.clear();
  unquoted_.clear();
  unquoted_.reserve(line.size());
  for (bool is_last = false; !is_last;) {
    if (line.starts_with('"')) {
      if (!TakeQuoted(&line, &is_last)) return false;
      continue;
    }
    const std::size_t comma = line.find(',');
    fields_.push_back(line.substr(0, comma));
    is_last = comma == std::string_view::npos;
    if (!is_last) line.remove_prefix(comma + 1);
  }
  return true;
}

std::size_t CsvRow::IndexOf(std::string_view name) const {
  const auto is_name = [&](std::string_view field) {
    return field.size() == name.size() &&
           g_ascii_strncasecmp(field.data(), name.data(), name.size()) == 0;
  };
  const auto found = std::find_if(fields_.begin(), fields_.end(), is_name);
  return found == fields_.end() ? std::string_view::npos
                                : static_cast<std::size_t>(found - fields_.begin());
}

void SplitAtTabs(std::string_view line, std::vector<std::string_view>* fields) {
  fields->clear();
  while (true) {
    const std::size_t tab = line.find('\t');
    fields->push_back(line.substr(0, tab));
    if (tab == std::string_view::npos) return;
    line.remove_prefix(tab + 1);
  }
}

bool ParseNumber(std::string_view text, double* value) {
  return ParseWhole(text, value) && std::isfinite(*value);
}

bool ParseNumber(std::string_view text, long long* value) {
  return ParseWhole(text, value);
}

std::string CleanText(std::string_view text, std::size_t max_bytes) {
  if (text.empty()) return {};
  char* const valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
  std::string clean;
  for (const char* at = valid; *at != '\0' && clean.size() < max_bytes;) {
    const gunichar c = g_utf8_get_char(at);
    const char* const next = g_utf8_next_char(at);
    const bool is_left_out = g_unichar_iscntrl(c) || (clean.empty() && g_unichar_isspace(c));
    if (!is_left_out) clean.append(at, static_cast<std::size_t>(next - at));
    at = next;
  }
  g_free(valid);
  while (!clean.empty() && clean.back() == ' ') clean.pop_back();
  return clean;
}

}  // namespace kesu_server
