#include "server/options.h"

#include <limits>
#include <optional>
#include <string>
#include <utility>

#include <glib.h>

namespace kesu_server {
namespace {

/// Moves a string that the option parser made, if it made one.
void TakeString(char* text, std::string* target) {
  if (text != nullptr) *target = text;
  g_free(text);
}

/// Frees `words`, a null-terminated list or null. False, with a message, when one of them is wrong.
bool TakeFaults(char** words, FaultPlan* faults) {
  bool are_good = true;
  for (char** word = words; are_good && word != nullptr && *word != nullptr; ++word) {
    std::string error;
    std::optional<Fault> fault = ParseFault(*word, &error);
    are_good = fault.has_value();
    if (are_good) {
      faults->Add(*std::move(fault));
    } else {
      g_printerr("kesu-server: --fault %s: %s\n", *word, error.c_str());
    }
  }
  g_strfreev(words);
  return are_good;
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options* options) {
  char* address = nullptr;
  char* data = nullptr;
  char* database = nullptr;
  char** faults = nullptr;
  gboolean is_verbose = FALSE;
  const GOptionEntry entries[] = {
      {"port", 'p', 0, G_OPTION_ARG_INT, &options->port,
       "Port to listen on, 0 for any free one (default 8642)", "N"},
      {"address", 0, 0, G_OPTION_ARG_STRING, &address,
       "IP address to listen on (default 127.0.0.1)", "ADDRESS"},
      {"database", 0, 0, G_OPTION_ARG_FILENAME, &database,
       "Database made by kesu-data (default: built-in data)", "FILE"},
      {"data", 0, 0, G_OPTION_ARG_FILENAME, &data,
       "Directory with places.tsv, cells.tsv and access_points.tsv (default: built-in data)",
       "DIRECTORY"},
      {"fault", 0, 0, G_OPTION_ARG_STRING_ARRAY, &faults,
       "Spoil the replies to the next N POSTs, or to all; can be repeated. KIND is status=CODE, "
       "delay=MS, drop, cut=BYTES, chunked, content-type=TEXT, version=NUMBER, garbage, omit=K, "
       "encoding=TEXT or redirect=URL",
       "KIND[:N]"},
      {"verbose", 'v', 0, G_OPTION_ARG_NONE, &is_verbose,
       "Print a line about each request on standard error", nullptr},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr},
  };
  GOptionContext* const context = g_option_context_new("- serve location requests");
  g_option_context_add_main_entries(context, entries, nullptr);
  GError* error = nullptr;
  g_option_context_parse(context, &argc, &argv, &error);
  g_option_context_free(context);

  TakeString(address, &options->address);
  if (data != nullptr) TakeString(data, &options->source.directory.emplace());
  if (database != nullptr) TakeString(database, &options->source.database.emplace());
  options->is_verbose = is_verbose != FALSE;
  const bool are_faults_good = TakeFaults(faults, &options->faults);
  if (error != nullptr) {
    g_printerr("kesu-server: %s\n", error->message);
    g_error_free(error);
    return false;
  }
  if (!are_faults_good) return false;
  if (argc > 1) {
    g_printerr("kesu-server: unexpected argument \"%s\"\n", argv[1]);
    return false;
  }
  if (options->source.database && options->source.directory) {
    g_printerr("kesu-server: --database and --data exclude each other\n");
    return false;
  }
  if (options->port < 0 || options->port > std::numeric_limits<unsigned short>::max()) {
    g_printerr("kesu-server: %d is no port number\n", options->port);
    return false;
  }
  return true;
}

}  // namespace kesu_server
