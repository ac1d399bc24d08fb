#include "tools/kesu/argument_values.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <initializer_list>
#include <span>
#include <vector>

#include <glib.h>

#include "tools/kesu/value_ranges.h"

namespace kesu_tool {
namespace {

struct IntegerField {
  const char* name;
  IntegerRange range;
};

constexpr IntegerField kCellFields[] = {
    {"MCC", kMccRange}, {"MNC", kMncRange}, {"AREA", kAreaRange}, {"CELL", kCellRange}};
constexpr IntegerField kSignalStrength = {"DBM", kSignalDbmRange};

constexpr double kLongestTimeoutSeconds = 24 * 60 * 60;
constexpr int kMillisecondsPerSecond = 1000;

constexpr std::size_t kMacPairs = 6;
/// Two digits and a separator for each pair but the last.
constexpr std::size_t kMacLength = kMacPairs * 3 - 1;

/// The beginning, of a very long one.
std::string Quoted(std::string_view word) {
  constexpr std::size_t kMostBytes = 200;
  std::string quoted(1, '"');
  quoted += word.substr(0, kMostBytes);
  return quoted += word.size() > kMostBytes ? "\"..." : "\"";
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
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
  if (number && *number >= field.range.smallest && *number <= field.range.largest) {
    *value = *number;
    return true;
  }
  *error = std::string(field.name) + " must be a whole number from " +
           std::to_string(field.range.smallest) + " to " + std::to_string(field.range.largest) +
           ", not " + Quoted(text);
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

/// Whether there is a host, without spaces and control characters, which a URL may escape.
bool IsPlain(const char* host) {
  const std::string_view name = host == nullptr ? "" : host;
  return !name.empty() && std::none_of(name.begin(), name.end(),
                                       [](char c) { return c == ' ' || g_ascii_iscntrl(c); });
}

std::string WithoutSlash(std::string_view url) {
  return std::string(url.substr(0, url.size() - (url.ends_with('/') ? 1 : 0)));
}

/// Whether a URL has one of these schemes, a host, perhaps a port, and nothing else but a user.
bool IsHostAlone(const std::string& url, std::initializer_list<std::string_view> schemes,
                 bool may_name_user) {
  GUri* const uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
  if (uri == nullptr) return false;
  const auto* const scheme = std::find(schemes.begin(), schemes.end(), g_uri_get_scheme(uri));
  const bool is_host_alone = scheme != schemes.end() && IsPlain(g_uri_get_host(uri)) &&
                             *g_uri_get_path(uri) == 0 && g_uri_get_query(uri) == nullptr &&
                             g_uri_get_fragment(uri) == nullptr &&
                             (may_name_user || g_uri_get_userinfo(uri) == nullptr);
  g_uri_unref(uri);
  return is_host_alone;
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

std::optional<std::string> ParseMac(std::string_view text) {
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

std::optional<kesu::AccessPoint> ParseAccessPoint(std::string_view word, std::string* error) {
  const std::vector<std::string_view> parts = SplitAtCommas(word);
  const std::optional<std::string> mac = ParseMac(parts.front());
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
  if (!ParseDegrees("LAT", kLargestLatitude, Trimmed(parts[0]), &point.latitude, error) ||
      !ParseDegrees("LON", kLargestLongitude, Trimmed(parts[1]), &point.longitude, error)) {
    return std::nullopt;
  }
  return point;
}

std::optional<kesu::Fix> ParseFix(std::string_view word, std::string* error) {
  const std::vector<std::string_view> parts = SplitAtCommas(word);
  std::optional<double> accuracy_m;
  if (parts.size() == 3) {
    accuracy_m = ParseNumber<double>(parts[2]);
    if (!accuracy_m || !(*accuracy_m >= 0) || *accuracy_m > kLargestAccuracyM) {
      *error = "METRES must be a number from 0 to " +
               std::to_string(static_cast<int>(kLargestAccuracyM)) + ", not " + Quoted(parts[2]);
      return std::nullopt;
    }
  }
  const auto point = ParsePoint(accuracy_m ? word.substr(0, word.rfind(',')) : word, error);
  if (!point) return std::nullopt;
  return kesu::Fix{point->latitude, point->longitude, accuracy_m};
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

std::optional<std::string> ParseProxy(const std::string& word, std::string* error) {
  const std::string proxy = WithoutSlash(word);
  if (IsHostAlone(proxy, {"http", "https", "socks4", "socks4a", "socks5", "socks5h"}, true)) {
    return proxy;
  }
  *error = "the proxy is http://HOST:PORT, or https, socks4, socks4a, socks5 or socks5h, not " +
           Quoted(word);
  return std::nullopt;
}

std::optional<std::string> ParseServer(const std::string& word, std::string* error) {
  const std::string server = WithoutSlash(word);
  if (IsHostAlone(server, {"http", "https"}, false)) return server;
  *error = "the server is http://HOST:PORT or https://HOST:PORT, not " + Quoted(word);
  return std::nullopt;
}

}  // namespace kesu_tool
