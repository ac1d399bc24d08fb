#include "server/storage/sqlite_connection.h"

#include <cstddef>
#include <utility>

namespace kesu_server {
namespace {

constexpr int kPatienceMs = 250;
constexpr int kMaxTextBytes = 1 << 20;

int OpenFlags(SqliteConnection::Mode mode) {
  constexpr int kAlways = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_READWRITE;
  return mode == SqliteConnection::Mode::kCreate ? kAlways | SQLITE_OPEN_CREATE : kAlways;
}

}  // namespace

SqliteConnection::~SqliteConnection() {
  sqlite3_close(connection_);
}

bool SqliteConnection::Open(const std::string& path, Mode mode) {
  path_ = path;
  return sqlite3_open_v2(path.c_str(), &connection_, OpenFlags(mode), nullptr) == SQLITE_OK &&
         Configure(mode);
}

bool SqliteConnection::Configure(Mode mode) {
  for (const auto& [option, value] :
       {std::pair(SQLITE_DBCONFIG_DEFENSIVE, 1), std::pair(SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0),
        std::pair(SQLITE_DBCONFIG_ENABLE_TRIGGER, 0), std::pair(SQLITE_DBCONFIG_ENABLE_VIEW, 0)}) {
    sqlite3_db_config(connection_, option, value, nullptr);
  }
  sqlite3_limit(connection_, SQLITE_LIMIT_LENGTH, kMaxTextBytes);
  sqlite3_limit(connection_, SQLITE_LIMIT_ATTACHED, 0);
  set_patience_ms(kPatienceMs);
  // A terabyte at most; what is beyond is read without a map. Each look at a page would check all
  // of it again, five sixths of what a lookup takes: only who writes does that, lest errors spread.
  return Execute("PRAGMA mmap_size = 1099511627776;") &&
         Execute(mode == Mode::kRead ? "PRAGMA query_only = ON" : "PRAGMA cell_size_check = ON");
}

void SqliteConnection::set_patience_ms(int patience_ms) {
  sqlite3_busy_timeout(connection_, patience_ms);
}

bool SqliteConnection::Execute(const std::string& sql) {
  return sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::optional<std::int64_t> SqliteConnection::Integer(const std::string& sql) {
  SqliteStatement query(*this, sql);
  if (!query.Step()) return std::nullopt;
  return query.Integer(0);
}

std::string SqliteConnection::error() const {
  return path_ + ": " + sqlite3_errmsg(connection_);
}

SqliteStatement::SqliteStatement(const SqliteConnection& connection, const std::string& sql) {
  if (sqlite3_prepare_v3(connection.handle(), sql.data(), static_cast<int>(sql.size()),
                         SQLITE_PREPARE_PERSISTENT, &statement_, nullptr) != SQLITE_OK) {
    compile_error_ = connection.error();
  }
}

SqliteStatement::~SqliteStatement() {
  sqlite3_finalize(statement_);
}

void SqliteStatement::Bind(int parameter, std::int64_t value) {
  sqlite3_bind_int64(statement_, parameter, value);
}

void SqliteStatement::Bind(int parameter, double value) {
  sqlite3_bind_double(statement_, parameter, value);
}

void SqliteStatement::Bind(int parameter, std::string_view value) {
  // A null pointer would be NULL.
  sqlite3_bind_text64(statement_, parameter, value.empty() ? "" : value.data(), value.size(),
                      SQLITE_STATIC, SQLITE_UTF8);
}

void SqliteStatement::BindNull(int parameter) {
  sqlite3_bind_null(statement_, parameter);
}

bool SqliteStatement::Step() {
  return sqlite3_step(statement_) == SQLITE_ROW;
}

bool SqliteStatement::IsNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t SqliteStatement::Integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}

double SqliteStatement::Number(int column) const {
  return sqlite3_column_double(statement_, column);
}

std::string SqliteStatement::Text(int column) const {
  const unsigned char* const text = sqlite3_column_text(statement_, column);
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

SqliteTransaction::SqliteTransaction(SqliteConnection* connection, Kind kind)
    : connection_(connection),
      is_open_(connection->Execute(kind == Kind::kWrite ? "BEGIN IMMEDIATE" : "BEGIN")) {}

SqliteTransaction::~SqliteTransaction() {
  if (is_open_) connection_->Execute("ROLLBACK");
}

bool SqliteTransaction::Commit() {
  is_open_ = is_open_ && !connection_->Execute("COMMIT");
  return !is_open_;
}

}  // namespace kesu_server
