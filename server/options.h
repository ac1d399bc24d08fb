#ifndef SERVER_OPTIONS_H_
#define SERVER_OPTIONS_H_

#include <optional>
#include <string>

#include "server/http/fault.h"
#include "server/storage/open_storage.h"

namespace kesu_server {

/// What the command line says. Times are in seconds where the name does not say otherwise.
struct Options {
  int port = 8642;
  std::string address = "127.0.0.1";
  DataSource source;
  bool is_verbose = false;
  /// In the database of `source`.
  bool does_learn = false;
  FaultPlan faults;
  /// Shows the last POSTs; where others than this machine's users can come only if that was said.
  bool does_inspect = false;
  bool may_inspect_anywhere = false;

  /// 0 for one per core, or one where there are faults or an inspector.
  int workers = 0;
  int max_connections = 10'000;
  int max_connections_per_address = 1000;
  int header_timeout = 10;
  int body_timeout = 30;
  int idle_timeout = 60;
  int grace = 10;
  int max_body_bytes = 1 << 20;
  int max_requests = 2000;
  int max_cpu_ms = 1000;
  int max_waiting = 1000;
  /// "-" for standard output.
  std::optional<std::string> access_log;
  /// Both or none.
  std::optional<std::string> tls_certificate;
  std::optional<std::string> tls_key;
};

/// False, with a message on standard error, when the words are wrong usage. Prints a summary and
/// ends the program for --help.
bool ParseOptions(int argc, char** argv, Options* options);

}  // namespace kesu_server

#endif  // SERVER_OPTIONS_H_
