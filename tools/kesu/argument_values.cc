#include "tools/kesu/argument_values.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <span>
#include <vector>

#include <glib.h>

namespace kesu_tool {
namespace {

struct IntegerField {
  const char* name;
  int smallest;
  int largest;
};

constexpr IntegerField kCellFields[] = {
    {"MCC", 1, 999},
    {"MNC", 0, 999},
    // A tracking area code has up to 24 bits, a cell identity up to 28.
    {"AREA", 0, (1 << 24) - 1},
    {"CELL", 0, (1 << 28) - 1},
};
constexpr IntegerField kSignalStrength = {"DBM", -200, 20};

constexpr double kLargestLatitude = 90;
constexpr double kLargestLongitude = 180;

constexpr double kLongestTimeoutSeconds = 24 * 60 * 60;
constexpr int kMillisecondsPerSecond = 1000;

constexpr std::size_t kMacPairs = 6;
/// Two digits and a separator for each pair but the last.
constexpr std::size_t kMacLength = kMacPairs * 3 - 1;

std::string Quoted(std::string_view word) {
  std::string quoted(1, '"');
  quoted += word;
  return quoted += '"';
}

std::vector<std::string_view> SplitAtCommas(std::string_view word) {
  std::vector<std::string_view> parts;
  while (true) {
    const std::size_t comma = word.find(',');
    parts.push_back(word.substr(0, comma));
    if (comma == std::string_view::npos) return parts;
    word.remove_prefix(comma + 1);
  }
}

/// The number that is the whole of `text`.
template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, number);
  if (failure != std::errc() || stop != end) return std::nullopt;
  return number;
}

bool ParseInteger(const IntegerField& field, std::string_view text, int* value,
                  std::string* error) {
  const std::optional<int> number = ParseNumber<int>(text);
  if (number && *number >= field.smallest && *number <= field.largest) {
    *value = *number;
    return true;
  }
  *error = std::string(field.name) + " must be a whole number from " +
           std::to_string(field.smallest) + " to " + std::to_string(field.largest) + ", not " +
           Quoted(text);
  return false;
}

/// The optional last part of a word.
bool ParseSignalStrength(std::span<const std::string_view> parts, std::optional<int>* dbm,
                         std::string* error) {
  if (parts.empty()) return true;
  return ParseInteger(kSignalStrength, parts.front(), &dbm->emplace(), error);
}

bool ParseDegrees(const char* name, double largest, std::string_view text, double* value,
                  std::string* error) {
  const std::optional<double> number = ParseNumber<double>(text);
  if (number && *number >= -largest && *number <= largest) {
    *value = *number;
    return true;
  }
  const std::string limit = std::to_string(static_cast<int>(largest));
  *error = std::string(name) + " must be a number from -" + limit + " to " + limit + ", not " +
           Quoted(text);
  return false;
}

std::optional<std::string> CanonicalMac(std::string_view text) {
  if (text.size() != kMacLength) return std::nullopt;
  const char separator = text[2];
  if (separator != ':' && separator != '-') return std::nullopt;
  std::string mac;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool is_separator = i % 3 == 2;
    if (is_separator ? text[i] != separator : !g_ascii_isxdigit(text[i])) return std::nullopt;
    mac += is_separator ? '-' : g_ascii_toupper(text[i]);
  }
  return mac;
}

/// Whether there is a host, without spaces and control characters, which a URL may escape.
bool IsPlain(const char* host) {
  const std::string_view name = host == nullptr ? "" : host;
  return !name.empty() && std::none_of(name.begin(), name.end(),
                                       [](char c) { return c == ' ' || g_ascii_iscntrl(c); });
}

}  // namespace

std::optional<kesu::Cell> ParseCell(std::string_view word, std::string* error) {
  const std::vector<std::string_view> parts = SplitAtCommas(word);
  constexpr std::size_t kFields = std::size(kCellFields);
  if (parts.size() != kFields && parts.size() != kFields + 1) {
    *error = "a cell is MCC,MNC,AREA,CELL or MCC,MNC,AREA,CELL,DBM, not " + Quoted(word);
    return std::nullopt;
  }
  kesu::Cell cell;
  int* const values[kFields] = {&cell.mcc, &cell.mnc, &cell.area, &cell.cell};
  for (std::size_t i = 0; i < kFields; ++i) {
    if (!ParseInteger(kCellFields[i], parts[i], values[i], error)) return std::nullopt;
  }
  if (!ParseSignalStrength(std::span(parts).subspan(kFields), &cell.signal_dbm, error)) {
    return std::nullopt;
  }
  return cell;
}

std::optional<kesu::AccessPoint> ParseAccessPoint(std::string_view word, std::string* error) {
  const std::vector<std::string_view> parts = SplitAtCommas(word);
  const std::optional<std::string> mac = CanonicalMac(parts.front());
  if (!mac || parts.size() > 2) {
    *error =
        "an access point is MAC or MAC,DBM with a MAC like 00-00-5E-00-53-01, not " + Quoted(word);
    return std::nullopt;
  }
  kesu::AccessPoint access_point;
  access_point.mac_address = *mac;
  if (!ParseSignalStrength(std::span(parts).subspan(1), &access_point.signal_dbm, error)) {
    return std::nullopt;
  }
  return access_point;
}

std::optional<kesu::Point> ParsePoint(std::string_view word, std::string* error) {
  const std::vector<std::string_view> parts = SplitAtCommas(word);
  if (parts.size() != 2) {
    *error = "a point is LAT,LON, not " + Quoted(word);
    return std::nullopt;
  }
  kesu::Point point;
  if (!ParseDegrees("LAT", kLargestLatitude, parts[0], &point.latitude, error) ||
      !ParseDegrees("LON", kLargestLongitude, parts[1], &point.longitude, error)) {
    return std::nullopt;
  }
  return point;
}

std::optional<int> ParseTimeout(std::string_view word, std::string* error) {
  const std::optional<double> seconds = ParseNumber<double>(word);
  if (seconds && *seconds > 0 && *seconds <= kLongestTimeoutSeconds) {
    return std::max(1, static_cast<int>(*seconds * kMillisecondsPerSecond));
  }
  *error = "SECONDS must be a number above 0 and up to " +
           std::to_string(static_cast<int>(kLongestTimeoutSeconds)) + ", not " + Quoted(word);
  return std::nullopt;
}

std::optional<std::string> ParseServer(const std::string& word, std::string* error) {
  const std::string_view text = word;
  const std::string server(text.substr(0, text.size() - (text.ends_with('/') ? 1 : 0)));
  GUri* const uri = g_uri_parse(server.c_str(), G_URI_FLAGS_NONE, nullptr);
  bool is_host_alone = false;
  if (uri != nullptr) {
    const std::string_view scheme = g_uri_get_scheme(uri);
    const char* const host = g_uri_get_host(uri);
    is_host_alone = (scheme == "http" || scheme == "https") && IsPlain(host) &&
                    *g_uri_get_path(uri) == 0 && g_uri_get_query(uri) == nullptr &&
                    g_uri_get_fragment(uri) == nullptr && g_uri_get_userinfo(uri) == nullptr;
    g_uri_unref(uri);
  }
  if (is_host_alone) return server;
  *error = "the server is http://HOST:PORT or https://HOST:PORT, not " + Quoted(word);
  return std::nullopt;
}

}  // namespace kesu_tool
