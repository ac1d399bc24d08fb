#ifndef KESU_TOOL_OUTPUT_H_
#define KESU_TOOL_OUTPUT_H_

#include <string>

#include "tools/kesu/arguments.h"
#include "tools/kesu/result.h"

/// The forms of a result. None ends with a newline.
namespace kesu_tool {

/// One JSON object on one line, valid UTF-8 whatever the server sent.
std::string FormatJson(Command command, const Result& result);

/// Why it failed. Not for an outcome that is no failure.
std::string FormatFailure(const Result& result);

/// For people, the reason of a failure included. More than one line where a point has several
/// features. What the server sent cannot control the terminal.
std::string FormatText(Command command, const Result& result);

}  // namespace kesu_tool

#endif  // KESU_TOOL_OUTPUT_H_
