#ifndef KESU_TOOL_TRACK_COMMAND_H_
#define KESU_TOOL_TRACK_COMMAND_H_

#include "tools/kesu/arguments.h"

namespace kesu_tool {

/// Asks again and again where the device is, and prints its positions as they change, until the
/// time is up or a signal comes. Yields the exit status.
int RunTrack(const Arguments& arguments);

}  // namespace kesu_tool

#endif  // KESU_TOOL_TRACK_COMMAND_H_
