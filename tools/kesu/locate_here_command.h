#ifndef KESU_TOOL_LOCATE_HERE_COMMAND_H_
#define KESU_TOOL_LOCATE_HERE_COMMAND_H_

#include "tools/kesu/arguments.h"

namespace kesu_tool {

/// Asks where the device is, by what it hears, and prints the answer. Yields the exit status.
int RunLocateHere(const Arguments& arguments);

}  // namespace kesu_tool

#endif  // KESU_TOOL_LOCATE_HERE_COMMAND_H_
