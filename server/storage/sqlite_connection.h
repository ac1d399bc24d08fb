#ifndef SERVER_STORAGE_SQLITE_CONNECTION_H_
#define SERVER_STORAGE_SQLITE_CONNECTION_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sqlite3.h>

namespace kesu_server {

/// A connection to a database, which may be a file from anybody: its schema is not trusted with
/// functions, it has no triggers and no views, and who writes checks pages first.
class SqliteConnection {
 public:
  enum class Mode {
    kRead,
    /// What is there can be changed.
    kWrite,
    /// As that; a file that is not there is made.
    kCreate,
  };

  SqliteConnection() = default;
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;
  ~SqliteConnection();

  /// To be called once; `path` may be ":memory:". False, and why in error(), when the file cannot
  /// be opened; what is in it shows only when it is read.
  bool Open(const std::string& path, Mode mode);

  /// How long a writer waits for others to be done; a quarter of a second unless it is set.
  void set_patience_ms(int patience_ms);

  /// Runs statements that yield no rows.
  bool Execute(const std::string& sql);
  /// The number that a statement without parameters yields.
  std::optional<std::int64_t> Integer(const std::string& sql);

  /// What is wrong with the last call that failed, of this or of a statement.
  std::string error() const;
  sqlite3* handle() const { return connection_; }

 private:
  bool Configure(Mode mode);

  sqlite3* connection_ = nullptr;
  std::string path_;
};

/// One statement, compiled once and run many times: bind all of its parameters, which count from
/// 1, then Step() as long as that yields rows, then Reset(). The connection must outlive it.
class SqliteStatement {
 public:
  SqliteStatement(const SqliteConnection& connection, const std::string& sql);
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;
  ~SqliteStatement();

  /// Why the SQL could not be compiled; everything fails then. Else empty.
  const std::string& compile_error() const { return compile_error_; }

  void Bind(int parameter, std::int64_t value);
  void Bind(int parameter, double value);
  /// `value` is borrowed until the parameter is bound again.
  void Bind(int parameter, std::string_view value);
  void BindNull(int parameter);

  /// True when there is a row to look at, whose columns count from 0.
  bool Step();
  bool IsNull(int column) const;
  std::int64_t Integer(int column) const;
  double Number(int column) const;
  std::string Text(int column) const;

  /// True unless the run failed.
  bool Reset();
  /// A whole run of a statement without rows.
  bool Run();

 private:
  sqlite3_stmt* statement_ = nullptr;
  std::string compile_error_;
};

/// A transaction that is undone unless it is committed.
class SqliteTransaction {
 public:
  enum class Kind { kRead, kWrite };

  /// One that writes waits for others that do, as long as the connection's time-out.
  SqliteTransaction(SqliteConnection* connection, Kind kind);
  SqliteTransaction(const SqliteTransaction&) = delete;
  SqliteTransaction& operator=(const SqliteTransaction&) = delete;
  ~SqliteTransaction();

  bool has_begun() const { return is_open_; }
  bool Commit();

 private:
  SqliteConnection* connection_;
  bool is_open_;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_SQLITE_CONNECTION_H_
