#ifndef SERVER_STORAGE_POSTGRES_INQUIRY_H_
#define SERVER_STORAGE_POSTGRES_INQUIRY_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "server/storage/inquiry.h"
#include "server/storage/postgres_statements.h"
#include "server/storage/postgres_values.h"

namespace kesu_server {

/// An inquiry as PostgreSQL is asked it: a few statements that need not wait for each other.
class PostgresInquiry {
 public:
  explicit PostgresInquiry(Inquiry inquiry);

  struct Query {
    const PostgresStatement* statement = nullptr;
    PostgresParameters parameters;
  };
  /// In a fixed order.
  const std::vector<Query>& queries() const { return queries_; }

  /// Forgets what has been taken.
  void Restart();
  /// The rows of a query, in any order.
  void Take(std::size_t query, const PGresult* result);
  /// When those of all have been taken. `time` is now, in seconds since 1970.
  Findings Finish(std::int64_t time);

 private:
  void TakeRow(const PostgresStatement* statement, const PostgresRow& row);
  void TakeAccessPoint(const PostgresRow& row);
  void TakeCell(const PostgresRow& row);
  void TakeLearned(const PostgresRow& row);

  Inquiry inquiry_;
  std::vector<Query> queries_;
  /// Which keys those of the two statements are.
  std::vector<std::size_t> access_points_;
  std::vector<std::size_t> cells_;

  std::vector<std::optional<ImportedStation>> imported_;
  std::vector<std::optional<LearnedStation>> learned_;
  std::vector<Surroundings> surroundings_;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_POSTGRES_INQUIRY_H_
