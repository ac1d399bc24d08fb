#ifndef SERVER_IMPORT_CSV_ROW_H_
#define SERVER_IMPORT_CSV_ROW_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kesu_server {

/// The fields of a line of comma-separated values, quoted as RFC 4180 says; a quoted field must end
/// on its line. The object is used for one line after another.
class CsvRow {
 public:
  /// False when a quotation mark is not closed or text follows a closing one.
  bool Parse(std::string_view line);

  std::size_t size() const { return fields_.size(); }
  /// Empty when there is no such field.
  std::string_view operator[](std::size_t index) const {
    return index < fields_.size() ? fields_[index] : std::string_view();
  }

  /// Where the field is that has that name, in whatever case; -1 as an unsigned number when none
  /// has.
  std::size_t IndexOf(std::string_view name) const;

 private:
  /// Cuts a field in quotation marks, and the comma behind it, off the front of `rest`.
  bool TakeQuoted(std::string_view* rest, bool* is_last);

  std::vector<std::string_view> fields_;
  /// Fields that lost their doubled quotation marks; as long as the line, so that it never moves.
  std::string unquoted_;
};

/// Cuts a line at its tabs.
void SplitAtTabs(std::string_view line, std::vector<std::string_view>* fields);

/// A number that is all of the text, and finite; else false.
bool ParseNumber(std::string_view text, double* value);
bool ParseNumber(std::string_view text, long long* value);

/// The text without what is no UTF-8, control characters and white space at its ends, and not much
/// longer than `max_bytes`.
std::string CleanText(std::string_view text, std::size_t max_bytes = 200);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_CSV_ROW_H_
