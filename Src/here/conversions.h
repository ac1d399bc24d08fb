#ifndef HERE_CONVERSIONS_H_
#define HERE_CONVERSIONS_H_

#include <chrono>
#include <optional>
#include <string_view>

#include "client/observation.h"

/// What the daemons say, as an observation has it. They tell what devices, and so networks, say.
namespace kesu::here::detail {

/// The signal strength that NetworkManager's quality of an access point, 0 to 100, stands for: the
/// weakest that its formula turns into that. It puts everything below -100 dBm at 0, and
/// everything from -40 dBm on at 100.
int DbmOfWifiQuality(int percent);

/// The same for ModemManager's quality of a modem: -113 dBm at 0, -51 dBm at 100.
int DbmOfModemQuality(int percent);

/// Of "MCC,MNC,LAC,CI" or "MCC,MNC,LAC,CI,TAC", the last three in hexadecimal, as ModemManager has
/// them. The area is the tracking area where there is one. None where a part that names the cell
/// is absent, reserved (3GPP TS 23.003) or known to stand for "unknown", and where the identity
/// does not fit, as those of most 5G cells.
std::optional<Cell> CellOf(std::string_view location);

/// Of a time of day, "hhmmss" or "hhmmss.sss", at `utc`, which is since 1970. A minute in the
/// future is a clock that is wrong; none where it is more, which is half a day ago.
std::optional<std::chrono::milliseconds> AgeOf(std::string_view time_of_day,
                                               std::chrono::milliseconds utc);

}  // namespace kesu::here::detail

#endif  // HERE_CONVERSIONS_H_
