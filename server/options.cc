#include "server/options.h"

#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <glib.h>

namespace kesu_server {
namespace {

constexpr int kMaxNumber = std::numeric_limits<int>::max();
constexpr int kDaySeconds = 86'400;
constexpr int kHourMs = 3'600'000;
constexpr int kMaxBodyBytes = 1 << 30;

/// An option that takes a number in a range.
struct NumberOption {
  const char* name;
  char short_name;
  int* value;
  int lowest;
  int highest;
  const char* help;
  const char* unit;
};

std::vector<NumberOption> NumberOptions(Options* options) {
  return {
      {"port", 'p', &options->port, 0, std::numeric_limits<unsigned short>::max(),
       "Port to listen on, 0 for any free one (default 8642)", "N"},
      {"workers", '\0', &options->workers, 0, 1024,
       "Processes that serve, 0 for one per core, or one with faults or --inspect (default 0)",
       "N"},
      {"max-connections", '\0', &options->max_connections, 0, kMaxNumber,
       "Connections at a time, 0 for any number (default 10000)", "N"},
      {"max-connections-per-address", '\0', &options->max_connections_per_address, 0, kMaxNumber,
       "Connections at a time of one address, 0 for any number (default 1000)", "N"},
      {"header-timeout", '\0', &options->header_timeout, 1, kDaySeconds,
       "Time for a request's headers (default 10)", "SECONDS"},
      {"body-timeout", '\0', &options->body_timeout, 1, kDaySeconds,
       "Time for a request's body, and for its reply to be taken (default 30)", "SECONDS"},
      {"idle-timeout", '\0', &options->idle_timeout, 1, kDaySeconds,
       "Time without a byte after which a connection is closed (default 60)", "SECONDS"},
      {"grace", '\0', &options->grace, 1, kDaySeconds,
       "Time for what is under way when the server ends (default 10)", "SECONDS"},
      {"max-body", '\0', &options->max_body_bytes, 1, kMaxBodyBytes,
       "Longest body of a request (default 1048576)", "BYTES"},
      {"max-requests", '\0', &options->max_requests, 1, kMaxNumber,
       "Requests in one POST (default 2000)", "N"},
      {"max-cpu", '\0', &options->max_cpu_ms, 0, kHourMs,
       "CPU time of one POST, 0 for any; the rest of its requests gets status 503 (default 1000)",
       "MS"},
      {"database-timeout", '\0', &options->source.timeout_s, 1, kDaySeconds,
       "Time for PostgreSQL to answer (default 3)", "SECONDS"},
      {"database-connections", '\0', &options->source.connections, 1, 100,
       "Connections of a worker to PostgreSQL (default 4)", "N"},
      {"max-waiting", '\0', &options->max_waiting, 1, kMaxNumber,
       "POSTs of a worker that wait for the database; others get status 503 (default 1000)", "N"},
  };
}

/// Moves a string that the option parser made, if it made one.
void TakeString(char* text, std::string* target) {
  if (text != nullptr) *target = text;
  g_free(text);
}

void TakeString(char* text, std::optional<std::string>* target) {
  if (text != nullptr) TakeString(text, &target->emplace());
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

bool AreInRange(const std::vector<NumberOption>& numbers) {
  for (const NumberOption& option : numbers) {
    if (*option.value >= option.lowest && *option.value <= option.highest) continue;
    g_printerr("kesu-server: --%s %d: a number from %d to %d is wanted\n", option.name,
               *option.value, option.lowest, option.highest);
    return false;
  }
  return true;
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options* options) {
  char* address = nullptr;
  char* data = nullptr;
  char* database = nullptr;
  char* access_log = nullptr;
  char* tls_certificate = nullptr;
  char* tls_key = nullptr;
  char** faults = nullptr;
  gboolean is_verbose = FALSE;
  gboolean does_learn = FALSE;
  gboolean does_inspect = FALSE;
  gboolean may_inspect_anywhere = FALSE;
  gboolean may_inspect_learning = FALSE;
  const GOptionEntry texts[] = {
      {"address", 0, 0, G_OPTION_ARG_STRING, &address,
       "IP address to listen on (default 127.0.0.1)", "ADDRESS"},
      {"database", 0, 0, G_OPTION_ARG_FILENAME, &database,
       "Database made by kesu-data, a file or a postgresql:// URL (default: built-in data)",
       "FILE|URL"},
      {"data", 0, 0, G_OPTION_ARG_FILENAME, &data,
       "Directory with places.tsv, cells.tsv and access_points.tsv (default: built-in data)",
       "DIRECTORY"},
      {"learn", 0, 0, G_OPTION_ARG_NONE, &does_learn,
       "Learn where stations are from lookups with the device's own fix, into --database", nullptr},
      {"inspect", 0, 0, G_OPTION_ARG_NONE, &does_inspect,
       "Show the last POSTs at /inspect, to the users of this machine", nullptr},
      {"inspect-anywhere", 0, 0, G_OPTION_ARG_NONE, &may_inspect_anywhere,
       "With --inspect, also where others can come to: they see what clients send", nullptr},
      {"inspect-learning", 0, 0, G_OPTION_ARG_NONE, &may_inspect_learning,
       "With --inspect, also together with --learn", nullptr},
      {"access-log", 0, 0, G_OPTION_ARG_FILENAME, &access_log,
       "Add a line of JSON about each POST, - for standard output", "FILE"},
      {"tls-certificate", 0, 0, G_OPTION_ARG_FILENAME, &tls_certificate,
       "Serve https with this certificate and those above it, in PEM", "FILE"},
      {"tls-key", 0, 0, G_OPTION_ARG_FILENAME, &tls_key, "The key of the certificate, in PEM",
       "FILE"},
      {"fault", 0, 0, G_OPTION_ARG_STRING_ARRAY, &faults,
       "Spoil the replies to the next N POSTs, or to all; can be repeated. KIND is status=CODE, "
       "delay=MS, drop, cut=BYTES, chunked, content-type=TEXT, version=NUMBER, garbage, omit=K, "
       "encoding=TEXT or redirect=URL",
       "KIND[:N]"},
      {"verbose", 'v', 0, G_OPTION_ARG_NONE, &is_verbose,
       "Print a line about each request on standard error", nullptr},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr},
  };
  const std::vector<NumberOption> numbers = NumberOptions(options);
  std::vector<GOptionEntry> entries;
  for (const NumberOption& option : numbers) {
    entries.push_back({option.name, option.short_name, 0, G_OPTION_ARG_INT, option.value,
                       option.help, option.unit});
  }
  entries.insert(entries.end(), std::begin(texts), std::end(texts));
  GOptionContext* const context = g_option_context_new("- serve location requests");
  g_option_context_add_main_entries(context, entries.data(), nullptr);
  GError* error = nullptr;
  g_option_context_parse(context, &argc, &argv, &error);
  g_option_context_free(context);

  TakeString(address, &options->address);
  TakeString(data, &options->source.directory);
  TakeString(database, &options->source.database);
  TakeString(access_log, &options->access_log);
  TakeString(tls_certificate, &options->tls_certificate);
  TakeString(tls_key, &options->tls_key);
  options->is_verbose = is_verbose != FALSE;
  options->does_learn = does_learn != FALSE;
  options->does_inspect = does_inspect != FALSE;
  options->may_inspect_anywhere = may_inspect_anywhere != FALSE;
  const bool are_faults_good = TakeFaults(faults, &options->faults);
  if (error != nullptr) {
    g_printerr("kesu-server: %s\n", error->message);
    g_error_free(error);
    return false;
  }
  if (!are_faults_good || !AreInRange(numbers)) return false;
  if (argc > 1) {
    g_printerr("kesu-server: unexpected argument \"%s\"\n", argv[1]);
    return false;
  }
  if (options->source.database && options->source.directory) {
    g_printerr("kesu-server: --database and --data exclude each other\n");
    return false;
  }
  if (options->does_learn && !options->source.database) {
    g_printerr("kesu-server: --learn needs --database\n");
    return false;
  }
  if (!options->does_inspect && (may_inspect_anywhere != FALSE || may_inspect_learning != FALSE)) {
    g_printerr("kesu-server: --inspect-anywhere and --inspect-learning need --inspect\n");
    return false;
  }
  if (options->does_inspect && options->does_learn && may_inspect_learning == FALSE) {
    g_printerr(
        "kesu-server: --inspect shows where people are; together with --learn it needs "
        "--inspect-learning\n");
    return false;
  }
  if (options->does_inspect && options->workers > 1) {
    g_printerr("kesu-server: --inspect needs one worker, which sees all POSTs\n");
    return false;
  }
  if (options->tls_certificate.has_value() != options->tls_key.has_value()) {
    g_printerr("kesu-server: --tls-certificate and --tls-key belong together\n");
    return false;
  }
  return true;
}

}  // namespace kesu_server
