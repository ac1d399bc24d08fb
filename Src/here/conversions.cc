#include "here/conversions.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <system_error>
#include <vector>

namespace kesu::here::detail {
namespace {

constexpr int kMaxPercent = 100;

/// None unless the whole text is a number.
std::optional<std::int64_t> NumberOf(std::string_view text, int base) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
  return number;
}

/// Of `fewest` to `most` decimal digits.
std::optional<int> DecimalOf(std::string_view text, std::size_t fewest, std::size_t most) {
  if (text.size() < fewest || text.size() > most) return std::nullopt;
  const std::optional<std::int64_t> number = NumberOf(text, 10);
  return number ? std::optional(static_cast<int>(*number)) : std::nullopt;
}

std::vector<std::string_view> PartsOf(std::string_view text) {
  std::vector<std::string_view> parts;
  for (std::size_t comma = text.find(','); comma != std::string_view::npos;
       comma = text.find(',')) {
    parts.push_back(text.substr(0, comma));
    text.remove_prefix(comma + 1);
  }
  parts.push_back(text);
  return parts;
}

/// A location area, of two bytes, or a tracking area, of two or, in 5G, of three.
std::optional<int> AreaOf(std::string_view text) {
  constexpr std::int64_t kMax = 0xFFFFFF;
  constexpr std::int64_t kNone[] = {0, 0xFFFE, 0xFFFF, 0xFFFFFE, kMax};
  const std::optional<std::int64_t> area = NumberOf(text, 16);
  if (!area || *area > kMax || std::count(std::begin(kNone), std::end(kNone), *area) != 0) {
    return std::nullopt;
  }
  return static_cast<int>(*area);
}

/// Of two bytes in GSM, of 28 bits in UMTS and LTE. A modem that does not know it says all ones.
std::optional<int> CellIdentityOf(std::string_view text) {
  constexpr std::int64_t kNone[] = {0, 0xFFFF, 0xFFFFFFF};
  const std::optional<std::int64_t> cell = NumberOf(text, 16);
  if (!cell || *cell > kNone[2] || std::count(std::begin(kNone), std::end(kNone), *cell) != 0) {
    return std::nullopt;
  }
  return static_cast<int>(*cell);
}

}  // namespace

int DbmOfWifiQuality(int percent) {
  // percent = 100 - (-40 - dBm) * 100 / 60, the division rounded down.
  constexpr int kBest = -40;
  constexpr int kSpan = 60;
  const int lost = kMaxPercent - std::clamp(percent, 0, kMaxPercent);
  return kBest - (lost * kSpan + kMaxPercent - 1) / kMaxPercent;
}

int DbmOfModemQuality(int percent) {
  // percent = (dBm + 113) * 100 / 62, the division rounded down.
  constexpr int kWorst = -113;
  constexpr int kSpan = 62;
  return kWorst + (std::clamp(percent, 0, kMaxPercent) * kSpan + kMaxPercent - 1) / kMaxPercent;
}

std::optional<Cell> CellOf(std::string_view location) {
  const std::vector<std::string_view> parts = PartsOf(location);
  if (parts.size() < 4 || parts.size() > 5) return std::nullopt;
  const std::optional<int> mcc = DecimalOf(parts[0], 3, 3);
  const std::optional<int> mnc = DecimalOf(parts[1], 2, 3);
  std::optional<int> area = parts.size() == 5 ? AreaOf(parts[4]) : std::nullopt;
  if (!area) area = AreaOf(parts[2]);
  const std::optional<int> cell = CellIdentityOf(parts[3]);
  if (!mcc || *mcc == 0 || !mnc || !area || !cell) return std::nullopt;
  return Cell{.mcc = *mcc, .mnc = *mnc, .area = *area, .cell = *cell};
}

std::optional<std::chrono::milliseconds> AgeOf(std::string_view time_of_day,
                                               std::chrono::milliseconds utc) {
  using std::chrono::milliseconds;
  constexpr milliseconds kDay = std::chrono::hours(24);
  constexpr std::size_t kDigits = 6;
  const std::string_view fraction = time_of_day.substr(std::min(kDigits, time_of_day.size()));
  if (!fraction.empty() && (fraction[0] != '.' || !DecimalOf(fraction.substr(1), 1, 3))) {
    return std::nullopt;
  }
  if (!DecimalOf(time_of_day.substr(0, kDigits), kDigits, kDigits)) return std::nullopt;
  const auto part = [&](std::size_t place) {
    return *DecimalOf(time_of_day.substr(place, 2), 2, 2);
  };
  // A minute may have a leap second.
  if (part(0) > 23 || part(2) > 59 || part(4) > 60) return std::nullopt;
  milliseconds time =
      std::chrono::hours(part(0)) + std::chrono::minutes(part(2)) + std::chrono::seconds(part(4));
  if (fraction.size() > 1) {
    std::string thousandths(fraction.substr(1));
    thousandths.resize(3, '0');
    time += milliseconds(*DecimalOf(thousandths, 3, 3));
  }
  const milliseconds age = ((utc - time) % kDay + kDay) % kDay;
  if (age < kDay / 2) return age;
  return kDay - age <= std::chrono::minutes(1) ? std::optional(milliseconds(0)) : std::nullopt;
}

}  // namespace kesu::here::detail
