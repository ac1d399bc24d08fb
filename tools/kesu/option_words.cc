#include "tools/kesu/option_words.h"

#include <algorithm>

#include <glib.h>

namespace kesu_tool {
namespace {

constexpr char kSummary[] =
    "Commands:\n"
    "  locate [--cell MCC,MNC,AREA,CELL[,DBM]]… [--wifi MAC[,DBM]]… [--gps LAT,LON]\n"
    "                              Where is a device that observes this? For several\n"
    "                              lookups in one run, repeat the options after --next\n"
    "  reverse LAT,LON …           What is at these points?\n"
    "  decode FILE|-               What is in this body of a POST or of a reply?\n"
    "                              The leftmost number of a line is the offset of its bytes\n"
    "  httptest                    Does the transport send headers and get answers?";

constexpr char kDescription[] =
    "Exit status:\n"
    "  0  found, decoded, passed\n"
    "  1  nothing found\n"
    "  2  wrong usage, or a file that cannot be read\n"
    "  3  network or server failure, or the results could not be written\n"
    "  4  time-out\n"
    "  5  malformed reply, or body to decode; its sound part is printed all the same\n"
    "Of several lookups or points the worst counts: the first of 3, 4, 5, 2, 1, 0 that any of "
    "them\n"
    "has.\n\n"
    "With --json there is one object per lookup or point, in their order: latitude, longitude,\n"
    "accuracy_m and platform_key for locate; latitude, longitude, address and features for\n"
    "reverse; null where something is not known; error with kind, status, message and reason "
    "where\n"
    "it failed. For decode there is one object for the body, with error where it is malformed:\n"
    "offset and message. For httptest nothing changes.\n\n"
    "Examples:\n"
    "  kesu locate --cell 1,1,1,1001,-71 --wifi 00-00-5E-00-53-01,-60\n"
    "  kesu --json reverse 38.71,-9.14 -34.6,-58.45\n"
    "  kesu decode reply.bin";

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
    Entry("ca-file", "PEM file of the authorities to trust with https", "FILE",
          G_OPTION_FLAG_FILENAME),
    Entry("timeout", "For the whole run, 30 if not given", "SECONDS"),
    Entry("json", "Print JSON, one object per line", nullptr),
    Entry("trace", "Print on standard error what happens inside", nullptr),
    Entry("help", "Print this text", nullptr, 0, 'h'),
    Entry("version", "Print the version", nullptr),
    {},
};

const GOptionEntry kObservationOptions[] = {
    Entry("cell", "A cell; the first is the serving one", "MCC,MNC,AREA,CELL[,DBM]"),
    Entry("wifi", "A wifi access point", "MAC[,DBM]"),
    Entry("gps", "A fix of the device's own", "LAT,LON"),
    {},
};

GOptionContext* NewContext(bool with_observation, OptionWords* options) {
  GOptionContext* const context = g_option_context_new("COMMAND");
  g_option_context_set_help_enabled(context, FALSE);
  GOptionGroup* const general = g_option_group_new("kesu", "", "", options, nullptr);
  g_option_group_add_entries(general, kGeneralOptions);
  g_option_context_set_main_group(context, general);
  if (with_observation) {
    GOptionGroup* const group =
        g_option_group_new("locate", "Options of locate:", "", options, nullptr);
    g_option_group_add_entries(group, kObservationOptions);
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
  GOptionContext* const context = NewContext(scope == OptionScope::kObservation, options);
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
  GOptionContext* const context = NewContext(true, nullptr);
  g_option_context_set_summary(context, kSummary);
  g_option_context_set_description(context, kDescription);
  char* const text = g_option_context_get_help(context, FALSE, nullptr);
  std::string help = text;
  g_free(text);
  g_option_context_free(context);
  return help;
}

}  // namespace kesu_tool
