#ifndef KESU_TOOL_ARGUMENTS_H_
#define KESU_TOOL_ARGUMENTS_H_

#include <optional>
#include <string>
#include <vector>

#include "client/observation.h"
#include "client/place.h"

namespace kesu_tool {

enum class Command { kHelp, kVersion, kLocate, kTrack, kReverse, kDecode, kReplay, kHttpTest };

enum class Format { kText, kJson, kGeoJson };

inline constexpr int kDefaultTimeoutMs = 30'000;
inline constexpr int kDefaultIntervalMs = 30'000;

/// What the command line asks for.
struct Arguments {
  Command command = Command::kHelp;
  /// Empty: the one that the library was built with.
  std::string server;
  /// Empty: none.
  std::string ca_file;
  std::string proxy;
  std::string platform_key;
  /// For the whole run, and for each lookup.
  std::optional<int> timeout_ms;
  std::optional<int> deadline_ms;
  Format format = Format::kText;
  /// Of locate and reverse: a path. Empty: none.
  std::string map_file;
  bool wants_trace = false;
  bool wants_progress = false;
  bool wants_stats = false;
  /// Of locate and reverse: the lines of standard input are what is asked, and nothing else.
  bool reads_input = false;
  /// Of locate: what this device hears is asked about, and nothing else. Always so of track.
  bool hears = false;
  /// Of track: from the beginning of one lookup to that of the next.
  int interval_ms = kDefaultIntervalMs;
  /// Of locate: none empty.
  std::vector<kesu::Observation> observations;
  std::vector<kesu::Point> points;
  /// Of decode and replay: a path, or "-" for standard input.
  std::string file;
};

/// Reads the words of a command line, the program's name not among them. False, with the reason in
/// `error`, when they make no sense.
bool ParseArguments(std::vector<std::string> words, Arguments* arguments, std::string* error);

}  // namespace kesu_tool

#endif  // KESU_TOOL_ARGUMENTS_H_
