#ifndef KESU_TOOL_OPTION_WORDS_H_
#define KESU_TOOL_OPTION_WORDS_H_

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kesu_tool {

/// The options that were given, by their names, and the words that were given with them, not yet
/// looked into.
class OptionWords {
 public:
  void Add(const std::string& name, std::string word) { words_[name].push_back(std::move(word)); }
  /// Takes those away that tell of one observation.
  void ForgetObservation();

  bool Has(std::string_view name) const { return words_.contains(name); }
  std::optional<std::string> Last(std::string_view name) const;
  std::vector<std::string> All(std::string_view name) const;

  /// Whether they ask for the help text or the version.
  bool AskAboutKesu() const { return Has("--help") || Has("--version"); }

 private:
  std::map<std::string, std::vector<std::string>, std::less<>> words_;
};

enum class OptionScope {
  /// The general options, up to the first word that is none.
  kBeforeCommand,
  /// The general options and those of an observation, wherever they stand.
  kObservation,
  /// The general options and those of track, wherever they stand.
  kTracking,
  /// The general options, wherever they stand. Words may be points.
  kPoints,
  /// The general options, wherever they stand.
  kPlainWords,
};

/// Takes the options out of `words`, where only the other words stay, and adds them to `options`.
/// False, with the reason in `error`, for an option that there is not or that lacks its value.
bool TakeOptions(OptionScope scope, std::vector<std::string>* words, OptionWords* options,
                 std::string* error);

/// The text of --help.
std::string HelpText();

}  // namespace kesu_tool

#endif  // KESU_TOOL_OPTION_WORDS_H_
