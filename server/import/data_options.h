#ifndef SERVER_IMPORT_DATA_OPTIONS_H_
#define SERVER_IMPORT_DATA_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

namespace kesu_server {

/// What the command line of kesu-data says.
struct DataOptions {
  std::string command;
  /// Of import and export.
  std::string kind;
  std::vector<std::string> files;
  std::string database;
  std::string regions;
  std::string countries;
  std::string classes = "P";
  std::string country;
  std::int64_t stations = 0;
  std::uint64_t seed = 1;
};

/// False, with a message on standard error, when the words are wrong usage. Prints a summary and
/// ends the program for --help.
bool ParseDataOptions(int argc, char** argv, DataOptions* options);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_DATA_OPTIONS_H_
