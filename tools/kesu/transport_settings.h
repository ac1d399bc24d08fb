#ifndef KESU_TOOL_TRANSPORT_SETTINGS_H_
#define KESU_TOOL_TRANSPORT_SETTINGS_H_

#include "tools/kesu/arguments.h"

namespace kesu_tool {

inline constexpr char kLongServerName[] = "the name of the server is too long";

/// For commands that use the transport by itself. An exchange that takes longer than
/// `total_timeout_ms` fails; 0 is without a limit. False when the name of the server is too long.
bool ApplyTransportSettings(const Arguments& arguments, int total_timeout_ms);

}  // namespace kesu_tool

#endif  // KESU_TOOL_TRANSPORT_SETTINGS_H_
