#ifndef KESU_TOOL_PRINTING_H_
#define KESU_TOOL_PRINTING_H_

#include <string>

namespace kesu_tool {

/// Prints a message of the program's own to standard error.
void PrintError(const std::string& error);

/// Hands what was printed to standard output to the system. False, with a message, when any of it
/// could not be written.
bool FlushResults();

}  // namespace kesu_tool

#endif  // KESU_TOOL_PRINTING_H_
