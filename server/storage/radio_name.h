#ifndef SERVER_STORAGE_RADIO_NAME_H_
#define SERVER_STORAGE_RADIO_NAME_H_

#include <optional>
#include <string_view>

#include "server/storage/station_key.h"

namespace kesu_server {

/// "GSM", "UMTS" or "WCDMA", "LTE", "NR", "CDMA", in whatever case; none for another text.
std::optional<RadioType> RadioTypeNamed(std::string_view name);
/// In capitals; empty where it is not known.
std::string_view NameOf(RadioType radio);

}  // namespace kesu_server

#endif  // SERVER_STORAGE_RADIO_NAME_H_
