#ifndef SERVER_STORAGE_POSTGRES_VALUES_H_
#define SERVER_STORAGE_POSTGRES_VALUES_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <libpq-fe.h>

/// What goes to PostgreSQL and comes from it, in its binary formats.
namespace kesu_server {

struct ClearPostgresResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
using PostgresResult = std::unique_ptr<PGresult, ClearPostgresResult>;

/// A row of a result, which must outlive it. Columns count from 0. A column of another type than is
/// asked for, or null, reads as 0 or empty.
class PostgresRow {
 public:
  PostgresRow(const PGresult* result, int row) : result_(result), row_(row) {}

  bool IsNull(int column) const { return PQgetisnull(result_, row_, column) != 0; }
  std::int64_t Integer(int column) const;
  /// Of whole numbers, too.
  double Number(int column) const;
  std::string Text(int column) const;

 private:
  std::string_view Bytes(int column) const;

  const PGresult* result_;
  int row_;
};

/// The parameters of a statement.
class PostgresParameters {
 public:
  void Add(std::int64_t value);
  void Add(double value);
  void AddBytes(std::string bytes) { values_.push_back(std::move(bytes)); }

  const std::vector<std::string>& values() const { return values_; }

 private:
  std::vector<std::string> values_;
};

enum class PostgresType { kInteger, kNumber, kText };

/// One array for each of several columns, filled row by row. Columns count from 1.
class PostgresArrays {
 public:
  explicit PostgresArrays(const std::vector<PostgresType>& types);

  void Bind(int column, std::int64_t value);
  void Bind(int column, double value);
  void Bind(int column, std::string_view value);
  void BindNull(int column);

  bool is_empty() const { return arrays_.front().elements == 0; }
  /// As parameters, in their order; they are empty again afterwards.
  PostgresParameters Take();

 private:
  struct Array {
    PostgresType type = PostgresType::kInteger;
    std::string bytes;
    std::uint32_t elements = 0;
    bool has_null = false;
  };

  Array& Next(int column);

  std::vector<Array> arrays_;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_POSTGRES_VALUES_H_
