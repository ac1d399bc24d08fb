#include "server/storage/sqlite_database.h"

namespace kesu_server {

SqliteDatabase::SqliteDatabase() {
  sqlite3_open(":memory:", &connection_);
}

SqliteDatabase::~SqliteDatabase() {
  sqlite3_close(connection_);
}

bool SqliteDatabase::Execute(const char* sql) {
  return sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

SqliteStatement::SqliteStatement(const SqliteDatabase& database, const char* sql) {
  sqlite3_prepare_v2(database.connection_, sql, -1, &statement_, nullptr);
}

SqliteStatement::~SqliteStatement() {
  sqlite3_finalize(statement_);
}

void SqliteStatement::Bind(int parameter, int value) {
  sqlite3_bind_int(statement_, parameter, value);
}

void SqliteStatement::Bind(int parameter, double value) {
  sqlite3_bind_double(statement_, parameter, value);
}

void SqliteStatement::Bind(int parameter, const std::string& value) {
  sqlite3_bind_text(statement_, parameter, value.data(), static_cast<int>(value.size()),
                    SQLITE_TRANSIENT);
}

bool SqliteStatement::Step() {
  return sqlite3_step(statement_) == SQLITE_ROW;
}

double SqliteStatement::Number(int column) {
  return sqlite3_column_double(statement_, column);
}

std::string SqliteStatement::Text(int column) {
  const unsigned char* text = sqlite3_column_text(statement_, column);
  if (text == nullptr) return {};
  return {reinterpret_cast<const char*>(text),
          static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

bool SqliteStatement::Reset() {
  return statement_ != nullptr && sqlite3_reset(statement_) == SQLITE_OK;
}

bool SqliteStatement::Run() {
  Step();
  return Reset();
}

}  // namespace kesu_server
