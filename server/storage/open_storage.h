#ifndef SERVER_STORAGE_OPEN_STORAGE_H_
#define SERVER_STORAGE_OPEN_STORAGE_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "server/storage/lookup.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// Where the server's data are: in a database, or else in the tables of a directory, or else built
/// in.
struct DataSource {
  std::optional<std::string> database;
  std::optional<std::string> directory;
  /// A database can be learned in, and is made where there is none; the other two can be in any
  /// case, for as long as they are open.
  bool may_learn = false;
  /// Of a database that is elsewhere: the time for an answer, and the connections to it.
  int timeout_s = 3;
  int connections = 4;
};

/// The same database, to be learned in.
DataSource ToLearnIn(const DataSource& source);

/// Null, and why in `error`, when the data cannot be read. Each process opens its own.
std::unique_ptr<Storage> OpenStorage(const DataSource& source, std::string* error);

/// Looks up in `storage`, which is that of the source, for whoever has others to serve meanwhile.
/// `report` gets a line about each thing that happens to a database elsewhere.
std::unique_ptr<Lookup> NewLookup(const DataSource& source, std::unique_ptr<Storage> storage,
                                  std::function<void(const std::string& line)> report);

/// The line that is to be printed as the server starts when some of the data were made up; else
/// empty.
std::string CautionAbout(const DataSource& source, Storage* storage);

}  // namespace kesu_server

#endif  // SERVER_STORAGE_OPEN_STORAGE_H_
