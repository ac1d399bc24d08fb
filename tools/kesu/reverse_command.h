#ifndef KESU_TOOL_REVERSE_COMMAND_H_
#define KESU_TOOL_REVERSE_COMMAND_H_

#include "tools/kesu/arguments.h"

namespace kesu_tool {

/// Asks what is at the points. Yields the exit status.
int RunReverse(const Arguments& arguments);

}  // namespace kesu_tool

#endif  // KESU_TOOL_REVERSE_COMMAND_H_
