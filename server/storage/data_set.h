#ifndef SERVER_STORAGE_DATA_SET_H_
#define SERVER_STORAGE_DATA_SET_H_

#include <optional>
#include <string>

namespace kesu_server {

/// A table of tab-separated values; the name is for messages.
struct DataFile {
  std::string name;
  std::string text;
};

/// What the server knows about the world. data/README.md describes the columns.
struct DataSet {
  DataFile places;
  DataFile cells;
  DataFile access_points;
};

/// The tables that were in data/ when the program was built.
DataSet BuiltInData();

/// The files places.tsv, cells.tsv and access_points.tsv of a directory; none, and what went wrong
/// in `error`, when one of them cannot be read.
std::optional<DataSet> ReadDataDirectory(const std::string& directory, std::string* error);

}  // namespace kesu_server

#endif  // SERVER_STORAGE_DATA_SET_H_
