#include "server/import/data_options.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <glib.h>

#include "server/import/synthesize.h"

namespace kesu_server {
namespace {

constexpr char kSummary[] =
    "Fills the database that kesu-server serves.\n"
    "\n"
    "Commands:\n"
    "  import KIND FILE...  take in files, compressed with gzip or zstd or not; - is standard "
    "input\n"
    "  export KIND          write what is there to standard output\n"
    "  stats                say how much there is of each kind\n"
    "  check                look for damage\n"
    "  synthesize           invent stations around the places that are there\n"
    "\n"
    "KIND is cells, wifi, reports, places or addresses";

/// Reports are not kept, so they cannot be exported.
constexpr std::array<std::string_view, 5> kKinds = {"cells", "wifi", "places", "addresses",
                                                    "reports"};

bool Refuse(const std::string& error) {
  g_printerr("kesu-data: %s\nTry \"kesu-data --help\".\n", error.c_str());
  return false;
}

void TakeString(char* text, std::string* target) {
  if (text != nullptr) *target = text;
  g_free(text);
}

bool TakeWords(const std::vector<std::string>& words, DataOptions* options) {
  if (words.empty()) return Refuse("no command");
  options->command = words[0];
  const bool has_kind = options->command == "import" || options->command == "export";
  const bool is_known = has_kind || options->command == "stats" || options->command == "check" ||
                        options->command == "synthesize";
  if (!is_known) return Refuse("unknown command \"" + options->command + "\"");
  std::size_t next = 1;
  if (has_kind) {
    options->kind = words.size() > 1 ? words[1] : "";
    const auto* const end = kKinds.end() - (options->command == "export" ? 1 : 0);
    if (std::find(kKinds.begin(), end, options->kind) == end)
      return Refuse("unknown kind \"" + options->kind + "\"");
    next = 2;
  }
  if (options->command == "import") {
    options->files.assign(words.begin() + 2, words.end());
    if (options->files.empty()) return Refuse("no file");
    return true;
  }
  return next == words.size() || Refuse("unexpected argument \"" + words[next] + "\"");
}

}  // namespace

bool ParseDataOptions(int argc, char** argv, DataOptions* options) {
  char* database = nullptr;
  char* regions = nullptr;
  char* countries = nullptr;
  char* classes = nullptr;
  char* country = nullptr;
  gint64 stations = 0;
  gint64 seed = 1;
  const GOptionEntry entries[] = {
      {"database", 'd', 0, G_OPTION_ARG_FILENAME, &database,
       "The database, which import and synthesize make if it is not there: a file, or the URL of "
       "one "
       "of PostgreSQL",
       "FILE|URL"},
      {"regions", 0, 0, G_OPTION_ARG_FILENAME, &regions,
       "Names of regions for places (default: admin1CodesASCII.txt beside the first file)", "FILE"},
      {"countries", 0, 0, G_OPTION_ARG_FILENAME, &countries,
       "Names of countries for places (default: countryInfo.txt beside the first file)", "FILE"},
      {"classes", 0, 0, G_OPTION_ARG_STRING, &classes,
       "Feature classes of places to take in (default P)", "LETTERS"},
      {"country", 0, 0, G_OPTION_ARG_STRING, &country, "The country of all addresses", "NAME"},
      {"stations", 0, 0, G_OPTION_ARG_INT64, &stations, "How many stations to invent", "N"},
      {"seed", 0, 0, G_OPTION_ARG_INT64, &seed, "Which ones to invent (default 1)", "S"},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr},
  };
  GOptionContext* const context = g_option_context_new("COMMAND");
  g_option_context_set_summary(context, kSummary);
  g_option_context_add_main_entries(context, entries, nullptr);
  GError* failure = nullptr;
  g_option_context_parse(context, &argc, &argv, &failure);
  g_option_context_free(context);
  TakeString(database, &options->database);
  TakeString(regions, &options->regions);
  TakeString(countries, &options->countries);
  TakeString(classes, &options->classes);
  TakeString(country, &options->country);
  options->stations = stations;
  options->seed = static_cast<std::uint64_t>(seed);
  if (failure != nullptr) {
    const std::string error = failure->message;
    g_error_free(failure);
    return Refuse(error);
  }
  // GLib leaves it where it was.
  std::vector<std::string> words(argv + 1, argv + argc);
  words.erase(std::remove(words.begin(), words.end(), "--"), words.end());
  if (!TakeWords(words, options)) return false;
  if (options->database.empty()) return Refuse("--database is missing");
  if (options->command == "synthesize" &&
      (stations < 1 || stations > gint64{kMostInventedStations})) {
    return Refuse("--stations must be from 1 to " + std::to_string(kMostInventedStations));
  }
  return true;
}

}  // namespace kesu_server
