#include "server/storage/postgres_values.h"

#include <bit>
#include <type_traits>
#include <utility>

#include <glib.h>

namespace kesu_server {
namespace {

/// The numbers that PostgreSQL has for its types.
constexpr Oid kInt8 = 20;
constexpr Oid kText = 25;
constexpr Oid kFloat8 = 701;

Oid OidOf(PostgresType type) {
  if (type == PostgresType::kInteger) return kInt8;
  return type == PostgresType::kNumber ? kFloat8 : kText;
}

std::uint64_t ReadNetworkOrder(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

template <typename Number>
void AppendNetworkOrder(Number value, std::string* bytes) {
  const auto bits = static_cast<std::make_unsigned_t<Number>>(value);
  for (int shift = 8 * (static_cast<int>(sizeof bits) - 1); shift >= 0; shift -= 8) {
    bytes->push_back(static_cast<char>(bits >> shift & 0xFF));
  }
}

void AppendLength(std::size_t length, std::string* bytes) {
  AppendNetworkOrder(static_cast<std::uint32_t>(length), bytes);
}

}  // namespace

std::string_view PostgresRow::Bytes(int column) const {
  return {PQgetvalue(result_, row_, column),
          static_cast<std::size_t>(PQgetlength(result_, row_, column))};
}

std::int64_t PostgresRow::Integer(int column) const {
  const std::string_view bytes = Bytes(column);
  const std::uint64_t number = ReadNetworkOrder(bytes);
  if (PQfformat(result_, column) != 1) return 0;
  switch (bytes.size()) {
    case sizeof(std::int16_t):
      return static_cast<std::int16_t>(number);
    case sizeof(std::int32_t):
      return static_cast<std::int32_t>(number);
    case sizeof(std::int64_t):
      return static_cast<std::int64_t>(number);
    default:
      return 0;
  }
}

double PostgresRow::Number(int column) const {
  const std::string_view bytes = Bytes(column);
  if (PQftype(result_, column) != kFloat8) return static_cast<double>(Integer(column));
  return bytes.size() == sizeof(double) ? std::bit_cast<double>(ReadNetworkOrder(bytes)) : 0;
}

std::string PostgresRow::Text(int column) const {
  return std::string(Bytes(column));
}

void PostgresParameters::Add(std::int64_t value) {
  AppendNetworkOrder(static_cast<std::uint64_t>(value), &values_.emplace_back());
}

void PostgresParameters::Add(double value) {
  AppendNetworkOrder(std::bit_cast<std::uint64_t>(value), &values_.emplace_back());
}

PostgresArrays::PostgresArrays(const std::vector<PostgresType>& types) {
  for (const PostgresType type : types) arrays_.emplace_back().type = type;
}

PostgresArrays::Array& PostgresArrays::Next(int column) {
  Array& array = arrays_[static_cast<std::size_t>(column) - 1];
  ++array.elements;
  return array;
}

void PostgresArrays::Bind(int column, std::int64_t value) {
  Array& array = Next(column);
  AppendLength(sizeof value, &array.bytes);
  AppendNetworkOrder(static_cast<std::uint64_t>(value), &array.bytes);
}

void PostgresArrays::Bind(int column, double value) {
  Array& array = Next(column);
  AppendLength(sizeof value, &array.bytes);
  AppendNetworkOrder(std::bit_cast<std::uint64_t>(value), &array.bytes);
}

void PostgresArrays::Bind(int column, std::string_view value) {
  Array& array = Next(column);
  if (g_utf8_validate_len(value.data(), value.size(), nullptr) != FALSE) {
    AppendLength(value.size(), &array.bytes);
    array.bytes.append(value);
    return;
  }
  // PostgreSQL refuses this.
  char* const valid = g_utf8_make_valid(value.data(), static_cast<gssize>(value.size()));
  const std::string_view text(valid);
  AppendLength(text.size(), &array.bytes);
  array.bytes.append(text);
  g_free(valid);
}

void PostgresArrays::BindNull(int column) {
  Array& array = Next(column);
  array.has_null = true;
  AppendLength(static_cast<std::size_t>(-1), &array.bytes);
}

PostgresParameters PostgresArrays::Take() {
  PostgresParameters parameters;
  for (Array& array : arrays_) {
    std::string bytes;
    bytes.reserve(array.bytes.size() + 20);
    AppendNetworkOrder(std::uint32_t{array.elements > 0}, &bytes);
    AppendNetworkOrder(std::uint32_t{array.has_null}, &bytes);
    AppendNetworkOrder(std::uint32_t{OidOf(array.type)}, &bytes);
    if (array.elements > 0) {
      AppendNetworkOrder(array.elements, &bytes);
      AppendNetworkOrder(std::uint32_t{1}, &bytes);
    }
    bytes += array.bytes;
    parameters.AddBytes(std::move(bytes));
    array.bytes.clear();
    array.elements = 0;
    array.has_null = false;
  }
  return parameters;
}

}  // namespace kesu_server
