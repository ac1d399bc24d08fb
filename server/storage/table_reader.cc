#include "server/storage/table_reader.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

namespace kesu_server {
namespace {

/// Cuts the text up to the next `separator` off the front of `rest`.
std::string_view CutPiece(std::string_view* rest, char separator) {
  const std::size_t length = std::min(rest->find(separator), rest->size());
  const std::string_view piece = rest->substr(0, length);
  rest->remove_prefix(std::min(length + 1, rest->size()));
  return piece;
}

template <typename Value>
bool Parse(std::string_view text, Value* value) {
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc() && stopped == end;
}

}  // namespace

std::string Quoted(std::string_view text) {
  return std::string(1, '"').append(text).append(1, '"');
}

TableRow::TableRow(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  const auto separators = std::count(line.begin(), line.end(), '\t');
  for (auto left = separators + 1; left > 0; --left) columns_.push_back(CutPiece(&line, '\t'));
}

double TableRow::Number(std::size_t column, double lowest, double highest) {
  double value = 0;
  // Written so that "nan", which is a number to the parser, is refused too.
  if (Parse(columns_[column], &value) && value >= lowest && value <= highest) return value;
  Fail(Quoted(columns_[column]) + " in column " + std::to_string(column + 1) +
       " is no number from " + std::to_string(lowest) + " to " + std::to_string(highest));
  return 0;
}

int TableRow::Integer(std::size_t column) {
  int value = 0;
  if (Parse(columns_[column], &value)) return value;
  Fail(Quoted(columns_[column]) + " in column " + std::to_string(column + 1) +
       " is no whole number");
  return 0;
}

LatLng TableRow::Position(std::size_t column) {
  return {Number(column, -90, 90), Number(column + 1, -180, 180)};
}

void TableRow::Fail(std::string error) {
  if (error_.empty()) error_ = std::move(error);
}

bool ReadTable(const DataFile& file, std::size_t columns,
               const std::function<void(TableRow& row)>& visit, std::string* error) {
  std::string_view rest = file.text;
  for (int number = 1; !rest.empty(); ++number) {
    const std::string_view line = CutPiece(&rest, '\n');
    if (line.empty() || line == "\r" || line.starts_with('#')) continue;
    TableRow row(line);
    if (row.size() == columns) {
      visit(row);
    } else {
      row.Fail(std::to_string(row.size()) + " columns instead of " + std::to_string(columns));
    }
    if (!row.error().empty()) {
      *error = file.name + ":" + std::to_string(number) + ": " + row.error();
      return false;
    }
  }
  return true;
}

}  // namespace kesu_server
