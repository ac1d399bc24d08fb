#ifndef SERVER_OPTIONS_H_
#define SERVER_OPTIONS_H_

#include <optional>
#include <string>

#include "server/http/fault.h"

namespace kesu_server {

/// What the command line says.
struct Options {
  int port = 8642;
  std::string address = "127.0.0.1";
  std::optional<std::string> data_directory;
  bool is_verbose = false;
  FaultPlan faults;
};

/// False, with a message on standard error, when the words are wrong usage. Prints a summary and
/// ends the program for --help.
bool ParseOptions(int argc, char** argv, Options* options);

}  // namespace kesu_server

#endif  // SERVER_OPTIONS_H_
