#ifndef SERVER_STORAGE_STATION_KEY_H_
#define SERVER_STORAGE_STATION_KEY_H_

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kesu_server {

/// The radio technology of a cell. The numbers stand in databases.
enum class RadioType : std::uint8_t { kUnknown, kGsm, kUmts, kLte, kNr, kCdma };

/// The name of a station among all, in two integers that databases can take, never negative but
/// for an area's id.
///
///                   area                                      id
///     access point  0                                         MAC address, its first byte highest
///     cell          MCC (10 bits), MNC (15), area code (24)   cell identity (36), radio type (3)
///     area of cells the same                                  -1
///
/// The fields stand from the highest bits to the lowest, so the cells of an area lie side by side,
/// and those that differ in nothing but their radio type. An MCC is never 0, so neither is the area
/// of a cell.
struct StationKey {
  std::int64_t area = 0;
  std::int64_t id = 0;

  bool is_access_point() const { return area == 0; }
  auto operator<=>(const StationKey&) const = default;
};

inline constexpr std::int64_t kWholeArea = -1;
inline constexpr int kRadioTypeBits = 3;

/// What names a cell in its network: an MCC from 1 to 999, an MNC from 0 to 999 (for CDMA the SID,
/// up to 32767), the location or tracking area code (for CDMA the NID) of at most 24 bits, and the
/// cell identity (for CDMA the BID) of at most 36.
struct CellIdentity {
  std::int64_t mcc = 0;
  std::int64_t mnc = 0;
  std::int64_t area_code = 0;
  std::int64_t cell_id = 0;
  RadioType radio = RadioType::kUnknown;
};

/// None when a number is out of bounds. Where the radio type is not known, the key stands for the
/// cell of these numbers of whatever type.
std::optional<StationKey> CellKey(const CellIdentity& cell);
/// The inverse of CellKey(), for keys of cells.
CellIdentity CellOf(const StationKey& key);
RadioType RadioTypeOf(const StationKey& key);

/// The key of the area that the cell is in; none of an access point.
std::optional<StationKey> AreaKey(const StationKey& cell);

/// None when this is no MAC address. Any common way of writing one will do: twelve hexadecimal
/// digits, in either case, with or without "-", ":" or "." between them.
std::optional<StationKey> AccessPointKey(std::string_view mac_address);
/// "00:00:5e:00:53:01"
std::string MacAddressOf(const StationKey& access_point);

/// Whether the address says that it belongs to no maker (locally administered, as phones make them
/// up) or to no single device (multicast): neither stays where it is.
bool IsPassingMacAddress(const StationKey& access_point);

}  // namespace kesu_server

#endif  // SERVER_STORAGE_STATION_KEY_H_
