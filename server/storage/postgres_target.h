#ifndef SERVER_STORAGE_POSTGRES_TARGET_H_
#define SERVER_STORAGE_POSTGRES_TARGET_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kesu_server {

/// Whether the name of a database is a URL of PostgreSQL's, and no file.
bool IsPostgresUrl(std::string_view database);

/// Where a database of PostgreSQL is: a URL as libpq takes it, which may name several hosts and
/// what is wanted of them. Its hosts are tried one by one, since libpq alone would wait for the
/// first that does not answer as long as the system does.
class PostgresTarget {
 public:
  enum class Purpose {
    /// Any host will do, unless the URL says otherwise; if it wants a standby rather than the
    /// primary, all hosts are tried for one first.
    kRead,
    /// The one that takes changes.
    kWrite,
  };

  /// None, and why in `error`, without the password, when libpq does not understand the URL.
  static std::optional<PostgresTarget> Parse(const std::string& url, Purpose purpose,
                                             std::string* error);

  /// One way to get a connection, with which libpq's functions are called. The last of a keyword
  /// counts.
  struct Attempt {
    std::vector<const char*> keywords;
    std::vector<const char*> values;
  };
  /// There is at least one. Valid as long as this object is neither moved nor changed.
  std::size_t attempts() const { return overrides_.size(); }
  Attempt attempt(std::size_t number) const;

  /// For each attempt.
  int connect_timeout_s() const { return connect_timeout_s_; }

 private:
  using Settings = std::vector<std::pair<std::string, std::string>>;

  std::string url_;
  /// What an attempt says that the URL does not.
  std::vector<Settings> overrides_;
  int connect_timeout_s_ = 3;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_POSTGRES_TARGET_H_
