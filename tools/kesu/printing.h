#ifndef KESU_TOOL_PRINTING_H_
#define KESU_TOOL_PRINTING_H_

#include <string>
#include <string_view>

namespace kesu_tool {

/// Prints a message of the program's own to standard error.
void PrintError(const std::string& error);

/// The same for a command line that makes no sense. Yields the exit status.
int FailUsage(const std::string& error);

/// Prints a line to standard output.
void PrintLine(const std::string& line);

/// Hands what was printed to standard output to the system. False, with a message, when any of it
/// could not be written.
bool FlushResults();

/// To standard error: a piece of the transport's trace, with its newlines, and a line of the log.
void PrintTrace(std::string_view text);
void PrintLogLine(std::string_view line);

}  // namespace kesu_tool

#endif  // KESU_TOOL_PRINTING_H_
