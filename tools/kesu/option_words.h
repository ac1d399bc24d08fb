#ifndef KESU_TOOL_OPTION_WORDS_H_
#define KESU_TOOL_OPTION_WORDS_H_

#include <optional>
#include <string>
#include <vector>

namespace kesu_tool {

/// The words that were given with options, not yet looked into.
struct OptionWords {
  std::optional<std::string> server;
  std::optional<std::string> ca_file;
  std::optional<std::string> timeout;
  bool wants_json = false;
  bool wants_trace = false;
  bool wants_help = false;
  bool wants_version = false;
  std::vector<std::string> cells;
  std::vector<std::string> access_points;
  std::vector<std::string> gps_fixes;
};

enum class OptionScope {
  /// The general options, up to the first word that is none.
  kBeforeCommand,
  /// The general options and those of an observation, wherever they stand.
  kObservation,
  /// The general options, wherever they stand. Words may be points.
  kPoints,
  /// The general options, wherever they stand.
  kPlainWords,
};

/// Takes the options out of `words`, where only the other words stay, and adds them to `options`.
/// A single value that is given anew replaces the earlier one. False, with the reason in `error`,
/// for an option that there is not or that lacks its value.
bool TakeOptions(OptionScope scope, std::vector<std::string>* words, OptionWords* options,
                 std::string* error);

/// The text of --help.
std::string HelpText();

}  // namespace kesu_tool

#endif  // KESU_TOOL_OPTION_WORDS_H_
