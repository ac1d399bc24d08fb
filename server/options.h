#ifndef SERVER_OPTIONS_H_
#define SERVER_OPTIONS_H_

#include <string>

#include "server/http/fault.h"
#include "server/storage/open_storage.h"

namespace kesu_server {

/// What the command line says.
struct Options {
  int port = 8642;
  std::string address = "127.0.0.1";
  DataSource source;
  bool is_verbose = false;
  FaultPlan faults;
};

/// False, with a message on standard error, when the words are wrong usage. Prints a summary and
/// ends the program for --help.
bool ParseOptions(int argc, char** argv, Options* options);

}  // namespace kesu_server

#endif  // SERVER_OPTIONS_H_
