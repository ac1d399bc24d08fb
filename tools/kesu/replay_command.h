#ifndef KESU_TOOL_REPLAY_COMMAND_H_
#define KESU_TOOL_REPLAY_COMMAND_H_

#include "tools/kesu/arguments.h"

namespace kesu_tool {

/// Sends the body of a POST, from a file, and shows the reply. Yields the exit status.
int RunReplay(const Arguments& arguments);

}  // namespace kesu_tool

#endif  // KESU_TOOL_REPLAY_COMMAND_H_
