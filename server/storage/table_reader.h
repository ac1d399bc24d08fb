#ifndef SERVER_STORAGE_TABLE_READER_H_
#define SERVER_STORAGE_TABLE_READER_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "server/geo/geodesy.h"
#include "server/storage/data_set.h"

namespace kesu_server {

/// A text as it is shown in a message: in quotation marks.
std::string Quoted(std::string_view text);

/// One row of a table. What cannot be read leaves a sticky error and a zero.
class TableRow {
 public:
  explicit TableRow(std::string_view line);

  std::size_t size() const { return columns_.size(); }
  std::string Text(std::size_t column) const { return std::string(columns_[column]); }
  double Number(std::size_t column, double lowest, double highest);
  /// Refused when it is no whole number or does not fit.
  int Integer(std::size_t column);
  /// A latitude in `column` and a longitude in the next one.
  LatLng Position(std::size_t column);

  void Fail(std::string error);
  const std::string& error() const { return error_; }

 private:
  std::vector<std::string_view> columns_;
  std::string error_;
};

/// Hands each row to `visit`; empty lines and those that start with "#" are passed over. Stops at
/// the first row that has another number of columns or an error afterwards: the result is false,
/// and `error` says which file and line and why.
bool ReadTable(const DataFile& file, std::size_t columns,
               const std::function<void(TableRow& row)>& visit, std::string* error);

}  // namespace kesu_server

#endif  // SERVER_STORAGE_TABLE_READER_H_
