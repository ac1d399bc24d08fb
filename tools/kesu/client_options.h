#ifndef KESU_TOOL_CLIENT_OPTIONS_H_
#define KESU_TOOL_CLIENT_OPTIONS_H_

#include "client/options.h"

#include "tools/kesu/arguments.h"

namespace kesu_tool {

/// How the command line wants the client to work. What it tells of its work goes to standard error.
kesu::Options ClientOptions(const Arguments& arguments);

}  // namespace kesu_tool

#endif  // KESU_TOOL_CLIENT_OPTIONS_H_
