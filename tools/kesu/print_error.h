#ifndef KESU_TOOL_PRINT_ERROR_H_
#define KESU_TOOL_PRINT_ERROR_H_

#include <string>

namespace kesu_tool {

/// Prints a message of the program's own to standard error.
void PrintError(const std::string& error);

}  // namespace kesu_tool

#endif  // KESU_TOOL_PRINT_ERROR_H_
