#ifndef SERVER_STORAGE_SQLITE_DATABASE_H_
#define SERVER_STORAGE_SQLITE_DATABASE_H_

#include <string>

#include <sqlite3.h>

namespace kesu_server {

/// A private database in memory; it lasts as long as this object.
class SqliteDatabase {
 public:
  SqliteDatabase();
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;
  ~SqliteDatabase();

  /// Runs statements that yield no rows.
  bool Execute(const char* sql);
  std::string error() const { return sqlite3_errmsg(connection_); }

 private:
  friend class SqliteStatement;

  sqlite3* connection_ = nullptr;
};

/// One statement, compiled once and run many times: bind all of its parameters, which count from
/// 1, then Step() as long as that yields rows, then Reset(). The database must outlive it.
class SqliteStatement {
 public:
  SqliteStatement(const SqliteDatabase& database, const char* sql);
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;
  ~SqliteStatement();

  void Bind(int parameter, int value);
  void Bind(int parameter, double value);
  void Bind(int parameter, const std::string& value);

  /// True when there is a row to look at, whose columns count from 0.
  bool Step();
  double Number(int column);
  std::string Text(int column);

  /// True unless the run failed.
  bool Reset();
  /// A whole run of a statement without rows.
  bool Run();

 private:
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_SQLITE_DATABASE_H_
