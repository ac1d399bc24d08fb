#ifndef SERVER_IMPORT_IMPORT_MARK_H_
#define SERVER_IMPORT_IMPORT_MARK_H_

#include <cstdint>
#include <string>

#include "server/import/data_store.h"

namespace kesu_server {

/// How many reports of certain files have been learned, as the database keeps it until it has all
/// of them. To be moved in the transaction that learns them.
class ImportMark {
 public:
  /// `identity` tells the files from others; where it is empty, nothing is kept.
  ImportMark(const std::string& identity, const DataStore& store);

  std::int64_t reports() const { return reports_; }

  /// False when somebody else has moved it meanwhile, or the database fails.
  bool Move(std::int64_t reports);
  /// The files are done: from now on they are others, and the data have a new version.
  bool Remove();

 private:
  /// Whether one row was changed.
  bool Change(const std::string& sql);

  DataStore store_;
  /// In SQL.
  std::string name_;
  std::int64_t reports_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_IMPORT_IMPORT_MARK_H_
