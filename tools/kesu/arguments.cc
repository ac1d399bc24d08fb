#include "tools/kesu/arguments.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tools/kesu/argument_values.h"
#include "tools/kesu/option_words.h"

namespace kesu_tool {
namespace {

using Words = std::vector<std::string>;

constexpr char kNextLookup[] = "--next";
constexpr char kStandardInput[] = "-";
constexpr char kHere[] = "--here";

/// Whether it is the only word.
bool IsInputAlone(const Words& words, std::string* error) {
  if (words == Words{kStandardInput}) return true;
  *error = "what is asked is either all on the command line or, with -, on standard input";
  return false;
}

/// Parses each of `words` and appends its value to `values`.
template <typename Value, typename Parse>
bool ParseEach(const Words& words, Parse parse, std::vector<Value>* values, std::string* error) {
  for (const std::string& word : words) {
    const std::optional<Value> value = parse(word, error);
    if (!value) return false;
    values->push_back(*value);
  }
  return true;
}

/// Takes the value of an option, the last that was given, into `value`.
template <typename Value, typename Parse>
bool ParseLast(const OptionWords& options, const char* name, Parse parse, Value* value,
               std::string* error) {
  const std::optional<std::string> word = options.Last(name);
  if (!word) return true;
  const auto parsed = parse(*word, error);
  if (parsed) *value = *parsed;
  return parsed.has_value();
}

bool ParseObservation(const OptionWords& options, kesu::Observation* observation,
                      std::string* error) {
  std::vector<kesu::Fix> fixes;
  if (!ParseEach(options.All("--cell"), ParseCell, &observation->cells, error) ||
      !ParseEach(options.All("--wifi"), ParseAccessPoint, &observation->access_points, error) ||
      !ParseEach(options.All("--gps"), ParseFix, &fixes, error)) {
    return false;
  }
  if (fixes.size() > 1) {
    *error = "a lookup has one --gps at most";
    return false;
  }
  if (!fixes.empty()) observation->fix = fixes.front();
  if (observation->fix || !observation->cells.empty() || !observation->access_points.empty()) {
    return true;
  }
  *error = "a lookup needs at least one of --cell, --wifi and --gps, or --here";
  return false;
}

/// One lookup: the words between two --next. Its general options count for the whole run.
bool ParseLookup(Words words, OptionWords* general, kesu::Observation* observation,
                 std::string* error) {
  general->ForgetObservation();
  if (!TakeOptions(OptionScope::kObservation, &words, general, error)) return false;
  if (general->AskAboutKesu()) return true;
  if (!words.empty()) {
    *error = "locate takes no argument \"" + words.front() + "\"";
    return false;
  }
  return ParseObservation(*general, observation, error);
}

bool ParseHere(Words words, OptionWords* general, Arguments* arguments, std::string* error) {
  arguments->hears = true;
  const bool is_alone = std::find(words.begin(), words.end(), kNextLookup) == words.end();
  if (is_alone && !TakeOptions(OptionScope::kObservation, &words, general, error)) return false;
  if (general->AskAboutKesu()) return true;
  if (is_alone && words.empty() && !general->Has("--cell") && !general->Has("--wifi") &&
      !general->Has("--gps")) {
    return true;
  }
  *error = "with --here, what the device hears is asked about and nothing else";
  return false;
}

bool ParseLocate(Words words, OptionWords* general, Arguments* arguments, std::string* error) {
  if (std::find(words.begin(), words.end(), kHere) != words.end()) {
    return ParseHere(std::move(words), general, arguments, error);
  }
  if (std::find(words.begin(), words.end(), kStandardInput) != words.end()) {
    arguments->reads_input = true;
    return TakeOptions(OptionScope::kPlainWords, &words, general, error) &&
           (general->AskAboutKesu() || IsInputAlone(words, error));
  }
  auto begin = words.begin();
  while (true) {
    const auto end = std::find(begin, words.end(), kNextLookup);
    kesu::Observation& observation = arguments->observations.emplace_back();
    if (!ParseLookup(Words(begin, end), general, &observation, error)) return false;
    if (end == words.end()) return true;
    begin = end + 1;
  }
}

/// Services and radios are not asked more often.
std::optional<int> ParseInterval(std::string_view word, std::string* error) {
  constexpr int kShortestMs = 1000;
  const std::optional<int> interval_ms = ParseTimeout(word, error);
  if (!interval_ms || *interval_ms >= kShortestMs) return interval_ms;
  *error = "the interval is at least a second";
  return std::nullopt;
}

bool ParseTrack(Words words, OptionWords* general, Arguments* arguments, std::string* error) {
  arguments->hears = true;
  if (!TakeOptions(OptionScope::kTracking, &words, general, error)) return false;
  if (general->AskAboutKesu()) return true;
  if (!words.empty()) {
    *error = "track takes no argument \"" + words.front() + "\"";
    return false;
  }
  return ParseLast(*general, "--interval", ParseInterval, &arguments->interval_ms, error);
}

bool ParseReverse(Words words, OptionWords* general, Arguments* arguments, std::string* error) {
  if (!TakeOptions(OptionScope::kPoints, &words, general, error)) return false;
  if (general->AskAboutKesu()) return true;
  if (words.empty()) {
    *error = "reverse needs at least one point, as LAT,LON";
    return false;
  }
  if (std::find(words.begin(), words.end(), kStandardInput) != words.end()) {
    arguments->reads_input = true;
    return IsInputAlone(words, error);
  }
  return ParseEach(words, ParsePoint, &arguments->points, error);
}

/// Of decode and replay.
bool ParseFile(Words words, OptionWords* general, Arguments* arguments, std::string* error) {
  if (!TakeOptions(OptionScope::kPlainWords, &words, general, error)) return false;
  if (general->AskAboutKesu()) return true;
  if (words.size() != 1 || words.front().empty()) {
    const bool is_decode = arguments->command == Command::kDecode;
    *error =
        std::string(is_decode ? "decode" : "replay") + " needs one file, or - for standard input";
    return false;
  }
  arguments->file = words.front();
  return true;
}

bool ParseHttpTest(Words words, OptionWords* general, Arguments*, std::string* error) {
  if (!TakeOptions(OptionScope::kPlainWords, &words, general, error)) return false;
  if (general->AskAboutKesu() || words.empty()) return true;
  *error = "httptest takes no argument \"" + words.front() + "\"";
  return false;
}

struct CommandParser {
  const char* name;
  Command command;
  bool (*parse)(Words, OptionWords*, Arguments*, std::string*);
};

constexpr CommandParser kCommands[] = {
    {"locate", Command::kLocate, ParseLocate},    {"track", Command::kTrack, ParseTrack},
    {"reverse", Command::kReverse, ParseReverse}, {"decode", Command::kDecode, ParseFile},
    {"replay", Command::kReplay, ParseFile},      {"httptest", Command::kHttpTest, ParseHttpTest},
};

bool ParseCommand(Words words, OptionWords* general, Arguments* arguments, std::string* error) {
  if (words.empty()) {
    *error = "a command is missing: locate, track, reverse, decode, replay or httptest";
    return false;
  }
  const std::string name = words.front();
  words.erase(words.begin());
  for (const CommandParser& entry : kCommands) {
    if (name != entry.name) continue;
    arguments->command = entry.command;
    return entry.parse(words, general, arguments, error);
  }
  *error = "there is no command \"" + name +
           "\", only locate, track, reverse, decode, replay and httptest";
  return false;
}

bool IsGeographic(Command command) {
  return command == Command::kLocate || command == Command::kTrack || command == Command::kReverse;
}

bool ParseMapFile(const OptionWords& general, Arguments* arguments, std::string* error) {
  if (!general.Has("--map")) return true;
  arguments->map_file = general.Last("--map").value_or("");
  if (arguments->command != Command::kLocate && arguments->command != Command::kReverse) {
    *error = "--map is for locate and reverse";
    return false;
  }
  if (!arguments->map_file.empty()) return true;
  *error = "--map needs the name of a file";
  return false;
}

bool ParseGeneralOptions(const OptionWords& general, Arguments* arguments, std::string* error) {
  if (general.Has("--json")) arguments->format = Format::kJson;
  if (general.Has("--geojson")) {
    if (!IsGeographic(arguments->command) || general.Has("--json")) {
      *error = "--geojson is for locate, track and reverse, and in place of --json";
      return false;
    }
    arguments->format = Format::kGeoJson;
  }
  if (!ParseMapFile(general, arguments, error)) return false;
  arguments->wants_trace = general.Has("--trace");
  arguments->wants_progress = general.Has("--progress");
  arguments->wants_stats = general.Has("--stats");
  arguments->ca_file = general.Last("--ca-file").value_or("");
  arguments->platform_key = general.Last("--platform-key").value_or("");
  return ParseLast(general, "--timeout", ParseTimeout, &arguments->timeout_ms, error) &&
         ParseLast(general, "--deadline", ParseTimeout, &arguments->deadline_ms, error) &&
         ParseLast(general, "--proxy", ParseProxy, &arguments->proxy, error) &&
         ParseLast(general, "--server", ParseServer, &arguments->server, error);
}

}  // namespace

bool ParseArguments(Words words, Arguments* arguments, std::string* error) {
  OptionWords general;
  if (!TakeOptions(OptionScope::kBeforeCommand, &words, &general, error)) return false;
  if (!general.AskAboutKesu() && !ParseCommand(words, &general, arguments, error)) return false;
  // They may stand behind the command too.
  if (general.AskAboutKesu()) {
    arguments->command = general.Has("--help") ? Command::kHelp : Command::kVersion;
    return true;
  }
  return ParseGeneralOptions(general, arguments, error);
}

}  // namespace kesu_tool
