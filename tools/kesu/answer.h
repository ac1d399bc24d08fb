#ifndef KESU_TOOL_ANSWER_H_
#define KESU_TOOL_ANSWER_H_

#include <cstddef>
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
  /// What --map shows of it, see map_json.h; empty where nothing is asked for.
  std::string map = {};
};

/// Tells one lookup of several from the others.
struct Label {
  /// "lookup 2", say; empty where there is no need.
  std::string words = {};
  /// Of standard input, from 1; 0 where the question was not read from there.
  std::size_t line = 0;
  /// When it was made, as RFC 3339 has it; empty where that is plain.
  std::string time = {};
};

Answer LocationAnswer(Format format, const Label& label, const kesu::LocateResult& result,
                      const std::string& platform_key);
Answer PlaceAnswer(Format format, const Label& label, const kesu::Point& point,
                   const kesu::ReverseResult& result);
/// To a question of which no more is known than its label.
Answer FailureAnswer(Format format, const Label& label, const kesu::Error& error);

/// With spaces for control characters and for what is no UTF-8.
std::string Printable(const std::string& text);

}  // namespace kesu_tool

#endif  // KESU_TOOL_ANSWER_H_
