#ifndef KESU_TOOL_LOCATE_COMMAND_H_
#define KESU_TOOL_LOCATE_COMMAND_H_

#include "tools/kesu/arguments.h"

namespace kesu_tool {

/// Asks where the observations were made, and prints the answers. Yields the exit status.
int RunLocate(const Arguments& arguments);

}  // namespace kesu_tool

#endif  // KESU_TOOL_LOCATE_COMMAND_H_
