#ifndef KESU_TOOL_HTTP_TEST_COMMAND_H_
#define KESU_TOOL_HTTP_TEST_COMMAND_H_

#include "tools/kesu/arguments.h"

namespace kesu_tool {

/// Tests the transport itself. Yields the exit status.
int RunHttpTest(const Arguments& arguments);

}  // namespace kesu_tool

#endif  // KESU_TOOL_HTTP_TEST_COMMAND_H_
