#ifndef KESU_TOOL_ANSWER_H_
#define KESU_TOOL_ANSWER_H_

#include <string>

#include "client/client.h"

#include "tools/kesu/arguments.h"
#include "tools/kesu/exit_status.h"

/// What is printed of lookups. Whatever the server sent, it is valid UTF-8 and stays on its line;
/// as text it cannot control the terminal.
namespace kesu_tool {

/// What has become of one lookup.
struct Answer {
  ExitStatus exit_status = kFoundExitStatus;
  /// Without a newline at the end: for standard output, or, where `is_complaint`, for standard
  /// error.
  std::string text;
  bool is_complaint = false;
};

/// Tells one lookup of several from the others: "lookup 2". Empty where there is no need.
using Label = std::string;

Answer LocationAnswer(Format format, const Label& label, const kesu::LocateResult& result,
                      const std::string& platform_key);
Answer PlaceAnswer(Format format, const kesu::Point& point, const kesu::ReverseResult& result);

/// For people, why a lookup failed.
std::string DescribeFailure(const kesu::Error& error);

}  // namespace kesu_tool

#endif  // KESU_TOOL_ANSWER_H_
