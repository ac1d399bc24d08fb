#include "server/storage/postgres_statements.h"

#include <algorithm>

#include "server/storage/record_columns.h"

namespace kesu_server {
namespace {

std::string Nearest(const std::string& table, const char* texts) {
  return "SELECT q.n, p.latitude, p.longitude, " + std::string(texts) +
         " FROM unnest($1::float8[], $2::float8[]) WITH ORDINALITY q(latitude, longitude, n)"
         " CROSS JOIN LATERAL kesu.nearest_" +
         table + "(q.latitude, q.longitude, $3::float8, $4::bigint) p";
}

}  // namespace

const PostgresStatement& FindAccessPoints() {
  static const PostgresStatement kStatement = {
      "find_access_points", std::string("SELECT k.n, ") + kStationColumns +
                                " FROM unnest($1::bigint[]) WITH ORDINALITY k(mac, n)"
                                " JOIN kesu.access_point s ON s.mac = k.mac"};
  return kStatement;
}

const PostgresStatement& FindCells() {
  static const PostgresStatement kStatement = {
      "find_cells", std::string("SELECT k.n, s.id, ") + kStationColumns +
                        " FROM unnest($1::bigint[], $2::bigint[], $3::bigint[])"
                        " WITH ORDINALITY k(area, first, last, n) JOIN kesu.cell s"
                        " ON s.area = k.area AND s.id BETWEEN k.first AND k.last"};
  return kStatement;
}

const PostgresStatement& FindLearned() {
  static const PostgresStatement kStatement = {
      "find_learned", std::string("SELECT s.*, k.n FROM"
                                  " unnest($1::bigint[], $2::bigint[], $3::bigint[]) k(area, id, n)"
                                  " JOIN kesu.learned s ON s.area = k.area AND s.id = k.id")};
  return kStatement;
}

const PostgresStatement& NearestPlaces() {
  static const PostgresStatement kStatement = {"nearest_places",
                                               Nearest("place", "name, region, country")};
  return kStatement;
}

const PostgresStatement& NearestAddresses() {
  static const PostgresStatement kStatement = {
      "nearest_addresses",
      Nearest("address", "number, street, unit, city, district, region, postcode, country")};
  return kStatement;
}

const PostgresStatement& StoreLearned() {
  static const PostgresStatement kStatement = {
      "store_learned", std::string("INSERT INTO kesu.learned(") + kLearnedColumns +
                           ") SELECT * FROM unnest($1::bigint[], $2::bigint[], $3::float8[],"
                           " $4::float8[], $5::float8[], $6::float8[], $7::float8[],"
                           " $8::float8[], $9::float8[], $10::float8[], $11::bigint[],"
                           " $12::bigint[], $13::bigint[], $14::bigint[]) ORDER BY 1, 2"
                           " ON CONFLICT (area, id) DO UPDATE SET " +
                           TakeExcluded(kLearnedColumns)};
  return kStatement;
}

const PostgresStatement& MakeLearned() {
  static const PostgresStatement kStatement = {
      "make_learned",
      "INSERT INTO kesu.learned SELECT area, id, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0"
      " FROM unnest($1::bigint[], $2::bigint[]) k(area, id) ORDER BY 1, 2 ON CONFLICT DO NOTHING"};
  return kStatement;
}

const PostgresStatement& LockLearned() {
  static const PostgresStatement kStatement = {
      "lock_learned",
      "SELECT s.* FROM unnest($1::bigint[], $2::bigint[]) k(area, id)"
      " JOIN kesu.learned s ON s.area = k.area AND s.id = k.id"
      " ORDER BY s.area, s.id FOR UPDATE OF s"};
  return kStatement;
}

std::string TakeExcluded(const std::string& columns) {
  std::string text;
  for (std::size_t begin = 0; begin < columns.size();) {
    const std::size_t end = std::min(columns.find(", ", begin), columns.size());
    const std::string column = columns.substr(begin, end - begin);
    text.append(text.empty() ? "" : ", ").append(column).append(" = excluded.").append(column);
    begin = end + 2;
  }
  return text;
}

std::vector<std::string> LookupSettings() {
  return {"SET search_path = ''",
          // A plan for any number of keys is one that looks each of them up.
          "SET plan_cache_mode = force_generic_plan", "SET enable_hashjoin = off",
          "SET enable_mergejoin = off", "SET jit = off", "SET default_transaction_read_only = on"};
}

}  // namespace kesu_server
