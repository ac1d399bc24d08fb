#ifndef KESU_TOOL_DECODE_COMMAND_H_
#define KESU_TOOL_DECODE_COMMAND_H_

#include "tools/kesu/arguments.h"

namespace kesu_tool {

/// Shows the body in the file that `arguments` names on standard output. Yields the exit status.
int RunDecode(const Arguments& arguments);

}  // namespace kesu_tool

#endif  // KESU_TOOL_DECODE_COMMAND_H_
