#include "server/storage/station_key.h"

#include <cstddef>

namespace kesu_server {
namespace {

constexpr int kAreaCodeBits = 24;
constexpr int kMncBits = 15;
constexpr int kCellIdBits = 36;

constexpr bool Fits(std::int64_t number, int bits) {
  return number >= 0 && number < std::int64_t{1} << bits;
}

/// Cuts the lowest bits off `number`.
std::int64_t TakeBits(int bits, std::int64_t* number) {
  const std::int64_t taken = *number & ((std::int64_t{1} << bits) - 1);
  *number >>= bits;
  return taken;
}

std::optional<int> HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return std::nullopt;
}

}  // namespace

std::optional<StationKey> CellKey(const CellIdentity& cell) {
  if (cell.mcc < 1 || cell.mcc > 999 || !Fits(cell.mnc, kMncBits) ||
      !Fits(cell.area_code, kAreaCodeBits) || !Fits(cell.cell_id, kCellIdBits)) {
    return std::nullopt;
  }
  return StationKey{
      (cell.mcc << kMncBits | cell.mnc) << kAreaCodeBits | cell.area_code,
      cell.cell_id << kRadioTypeBits | static_cast<std::int64_t>(cell.radio),
  };
}

CellIdentity CellOf(const StationKey& key) {
  CellIdentity cell;
  cell.radio = RadioTypeOf(key);
  cell.cell_id = key.id >> kRadioTypeBits;
  std::int64_t rest = key.area;
  cell.area_code = TakeBits(kAreaCodeBits, &rest);
  cell.mnc = TakeBits(kMncBits, &rest);
  cell.mcc = rest;
  return cell;
}

RadioType RadioTypeOf(const StationKey& key) {
  if (key.id == kWholeArea) return RadioType::kUnknown;
  std::int64_t rest = key.id;
  return static_cast<RadioType>(TakeBits(kRadioTypeBits, &rest));
}

std::optional<StationKey> AreaKey(const StationKey& cell) {
  if (cell.is_access_point()) return std::nullopt;
  return StationKey{cell.area, kWholeArea};
}

std::optional<StationKey> AccessPointKey(std::string_view mac_address) {
  constexpr int kDigits = 12;
  StationKey key;
  int digits = 0;
  for (const char c : mac_address) {
    if (c == '-' || c == ':' || c == '.') continue;
    const std::optional<int> digit = HexDigit(c);
    if (!digit || ++digits > kDigits) return std::nullopt;
    key.id = key.id << 4 | *digit;
  }
  if (digits != kDigits) return std::nullopt;
  return key;
}

std::string MacAddressOf(const StationKey& access_point) {
  constexpr char kHexDigits[] = "0123456789abcdef";
  std::string text;
  for (int shift = 44; shift >= 0; shift -= 4) {
    text += kHexDigits[static_cast<std::size_t>(access_point.id >> shift & 0xF)];
    if (shift % 8 == 0 && shift > 0) text += ':';
  }
  return text;
}

bool IsPassingMacAddress(const StationKey& access_point) {
  constexpr std::int64_t kMulticastOrLocal = 3;
  return (access_point.id >> 40 & kMulticastOrLocal) != 0;
}

}  // namespace kesu_server
