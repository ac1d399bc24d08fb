#include "tools/kesu/option_words.h"

#include <algorithm>

#include <glib.h>

namespace kesu_tool {
namespace {

constexpr char kSummary[] = R"(Commands:
  locate OPTION... [--next OPTION...]...
                    Where is a device that observes this? What is behind --next
                    is another lookup of the same run
  locate -          The same for the observations on standard input, a JSON
                    object a line
  locate --here     Where is this device, by what it hears itself?
  track             The same again and again: its position as it changes
  reverse LAT,LON...
                    What is at these points?
  reverse -         The same for the points on standard input, LAT,LON or a
                    JSON object a line
  decode FILE|-     What is in this body of a POST or of a reply, or in this
                    capture of packets or of HTTP? The leftmost number of a
                    line is the offset of its bytes
  replay FILE|-     Send this body of a POST again: what is in the reply?
  httptest          Does the transport send headers and get answers?)";

constexpr char kDescription[] = R"(Exit status:
  0  found, decoded, replayed, passed
  1  nothing found
  2  wrong usage, a file that cannot be read, a line that asks nothing sensible
  3  network or server failure, or the results could not be written
  4  time-out
  5  malformed reply, or body to decode; its sound part is printed all the same
Of several lookups the worst counts: the first of 3, 4, 5, 2, 1, 0 that any has.

kesu(1) describes what --json and --geojson print, and what lines of standard
input look like.

Examples:
  kesu locate --cell 1,1,1,1001,-71 --wifi 00-00-5E-00-53-01,-60
  kesu --json reverse 38.71,-9.14 -34.6,-58.45
  kesu --geojson reverse - < points.csv > places.geojsonl
  kesu decode reply.bin
  kesu --server http://127.0.0.1:8642 replay request.bin)";

/// Hands an option to the OptionWords at `data`.
gboolean TakeOption(const char* name, const char* word, void* data, GError**);

GOptionEntry Entry(const char* name, const char* description, const char* word, int flags = 0,
                   char letter = 0) {
  // Without a word it is a switch.
  return {name,
          letter,
          word == nullptr ? flags | G_OPTION_FLAG_NO_ARG : flags,
          G_OPTION_ARG_CALLBACK,
          reinterpret_cast<void*>(TakeOption),
          description,
          word};
}

const GOptionEntry kGeneralOptions[] = {
    Entry("server", "The service to ask", "http://HOST:PORT"),
    Entry("ca-file", "PEM file of the authorities to trust", "FILE", G_OPTION_FLAG_FILENAME),
    Entry("proxy", "A proxy to ask through", "http://HOST:PORT"),
    Entry("platform-key", "Sent along, as issued earlier", "KEY"),
    Entry("deadline", "For each lookup, 30 if not given", "SECONDS"),
    Entry("timeout", "For the whole run", "SECONDS"),
    Entry("json", "Print JSON, an object a line", nullptr),
    Entry("geojson", "Print GeoJSON", nullptr),
    Entry("map", "Write a page with a map too", "FILE", G_OPTION_FLAG_FILENAME),
    Entry("progress", "Show how far a long run is", nullptr),
    Entry("stats", "Print counters at the end", nullptr),
    Entry("trace", "Print what happens inside", nullptr),
    Entry("help", "Print this text", nullptr, 0, 'h'),
    Entry("version", "Print the version", nullptr),
    {},
};

const GOptionEntry kObservationOptions[] = {
    Entry("cell", "A cell, the serving one first", "MCC,MNC,AREA,CELL[,DBM]"),
    Entry("wifi", "A wifi access point", "MAC[,DBM]"),
    Entry("gps", "A fix of the device's own", "LAT,LON[,METRES]"),
    Entry("here", "What this device hears, instead", nullptr),
    {},
};

const GOptionEntry kTrackingOptions[] = {
    Entry("interval", "From lookup to lookup, 30 if not given", "SECONDS"),
    {},
};

struct Group {
  OptionScope scope;
  const char* name;
  const char* title;
  const GOptionEntry* options;
};

constexpr Group kGroups[] = {
    {OptionScope::kObservation, "locate", "Options of locate:", kObservationOptions},
    {OptionScope::kTracking, "track", "Options of track:", kTrackingOptions},
};

/// With the options of `scope`, or with all.
GOptionContext* NewContext(std::optional<OptionScope> scope, OptionWords* options) {
  GOptionContext* const context = g_option_context_new("COMMAND");
  g_option_context_set_help_enabled(context, FALSE);
  GOptionGroup* const general = g_option_group_new("kesu", "", "", options, nullptr);
  g_option_group_add_entries(general, kGeneralOptions);
  g_option_context_set_main_group(context, general);
  for (const Group& it : kGroups) {
    if (scope && *scope != it.scope) continue;
    GOptionGroup* const group = g_option_group_new(it.name, it.title, "", options, nullptr);
    g_option_group_add_entries(group, it.options);
    g_option_context_add_group(context, group);
  }
  return context;
}

/// A word that the option parser is not to take for an option: "-33.9,18.4" is a point. The space
/// in front of it is taken away again by FromParser(), so one that was there gets another.
std::string ForParser(OptionScope scope, const std::string& word) {
  const bool is_negative =
      word.size() > 1 && word[0] == '-' && (g_ascii_isdigit(word[1]) || word[1] == '.');
  const bool needs_space = scope == OptionScope::kPoints && is_negative;
  return needs_space || word.starts_with(' ') ? " " + word : word;
}

std::string FromParser(const char* word) {
  return *word == ' ' ? word + 1 : word;
}

gboolean TakeOption(const char* name, const char* word, void* data, GError**) {
  // It is given as it was written, "-h" too.
  const std::string full = name[1] == '-' ? name : std::string(name) == "-h" ? "--help" : name;
  static_cast<OptionWords*>(data)->Add(full, word == nullptr ? "" : FromParser(word));
  return TRUE;
}

/// The words as GLib's parser wants them: behind the name of the program.
char** NewParserWords(OptionScope scope, const std::vector<std::string>& words) {
  GStrvBuilder* const builder = g_strv_builder_new();
  g_strv_builder_add(builder, "kesu");
  for (const std::string& word : words) {
    g_strv_builder_add(builder, ForParser(scope, word).c_str());
  }
  char** const result = g_strv_builder_end(builder);
  g_strv_builder_unref(builder);
  return result;
}

/// Takes away the "--" that ends the options, which the parser leaves before a word with a dash.
void DropSeparator(std::vector<std::string>* words) {
  const auto separator = std::find(words->begin(), words->end(), "--");
  if (separator != words->end()) words->erase(separator);
}

}  // namespace

void OptionWords::ForgetObservation() {
  for (const GOptionEntry* entry = kObservationOptions; entry->long_name != nullptr; ++entry) {
    words_.erase(std::string("--") + entry->long_name);
  }
}

std::optional<std::string> OptionWords::Last(std::string_view name) const {
  const auto found = words_.find(name);
  if (found == words_.end()) return std::nullopt;
  return found->second.back();
}

std::vector<std::string> OptionWords::All(std::string_view name) const {
  const auto found = words_.find(name);
  return found == words_.end() ? std::vector<std::string>() : found->second;
}

bool TakeOptions(OptionScope scope, std::vector<std::string>* words, OptionWords* options,
                 std::string* error) {
  GOptionContext* const context = NewContext(scope, options);
  g_option_context_set_strict_posix(context, scope == OptionScope::kBeforeCommand);
  char** parser_words = NewParserWords(scope, *words);
  GError* failure = nullptr;
  const bool ok = g_option_context_parse_strv(context, &parser_words, &failure) != FALSE;
  if (ok) {
    words->clear();
    for (char** word = parser_words + 1; *word != nullptr; ++word) {
      words->push_back(FromParser(*word));
    }
  } else {
    *error = failure->message;
    g_error_free(failure);
  }
  g_strfreev(parser_words);
  g_option_context_free(context);
  if (scope != OptionScope::kBeforeCommand) DropSeparator(words);
  return ok;
}

std::string HelpText() {
  GOptionContext* const context = NewContext(std::nullopt, nullptr);
  g_option_context_set_summary(context, kSummary);
  g_option_context_set_description(context, kDescription);
  char* const text = g_option_context_get_help(context, FALSE, nullptr);
  std::string help = text;
  g_free(text);
  g_option_context_free(context);
  return help;
}

}  // namespace kesu_tool
