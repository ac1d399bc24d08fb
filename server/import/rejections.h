#ifndef SERVER_IMPORT_REJECTIONS_H_
#define SERVER_IMPORT_REJECTIONS_H_

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kesu_server {

/// Why lines were not taken: how many for each reason, and where the first ten are.
class Rejections {
 public:
  void Add(std::string_view reason, const std::string& file, std::int64_t line,
           std::int64_t count = 1);
  std::int64_t count() const { return count_; }

  /// "  12 lines: no MAC address (a.csv:3, a.csv:7, ...)", a line for each reason.
  std::string Describe() const;

  /// As a text, to go on from later; false when it is none of these.
  std::string Save() const;
  bool Restore(const std::string& text);

 private:
  struct Tally {
    std::int64_t count = 0;
    std::vector<std::string> first;
  };

  std::map<std::string, Tally, std::less<>> tallies_;
  std::int64_t count_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_IMPORT_REJECTIONS_H_
