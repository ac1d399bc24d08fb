#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

#include "server/import/csv_row.h"
#include "server/import/formats.h"
#include "server/storage/position_units.h"

namespace kesu_server {
namespace {

struct TextColumn {
  const char* name;
  std::string Address::*text;
};
constexpr TextColumn kTextColumns[] = {
    {"NUMBER", &Address::number},     {"STREET", &Address::street},
    {"UNIT", &Address::unit},         {"CITY", &Address::city},
    {"DISTRICT", &Address::district}, {"REGION", &Address::region},
    {"POSTCODE", &Address::postcode},
};

/// The same for the same address whenever it is imported (FNV-1a), so that it is there once.
std::int64_t IdOf(const Address& address) {
  std::uint64_t hash = 0xcbf29ce484222325;
  const auto add = [&](std::string_view text) {
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    hash = (hash ^ 0xFF) * 0x100000001b3;
  };
  add(std::to_string(ToUnits(address.position.latitude)));
  add(std::to_string(ToUnits(address.position.longitude)));
  for (const std::string* text :
       {&address.number, &address.street, &address.unit, &address.city, &address.postcode}) {
    add(*text);
  }
  return static_cast<std::int64_t>(hash >> 1);
}

class AddressFormat final : public LineFormat {
 public:
  explicit AddressFormat(std::string country) : country_(std::move(country)) {}

  LineResult ReadLine(std::string_view line, RecordSink* sink) override {
    if (!row_.Parse(line)) return Rejected("wrong quotation marks");
    if (is_first_) return ReadHeader();
    if (longitude_ == std::string_view::npos) return Rejected("the header lacks a column");
    return ReadAddress(sink);
  }

  LineResult ReadEnd(RecordSink*) override {
    is_first_ = true;
    return {};
  }

 private:
  LineResult ReadHeader() {
    is_first_ = false;
    longitude_ = row_.IndexOf("LON");
    latitude_ = row_.IndexOf("LAT");
    for (std::size_t i = 0; i < texts_.size(); ++i) texts_[i] = row_.IndexOf(kTextColumns[i].name);
    if (latitude_ == std::string_view::npos) longitude_ = latitude_;
    if (longitude_ != std::string_view::npos) return {};
    return Rejected("the header lacks a column");
  }

  LineResult ReadAddress(RecordSink* sink) const {
    Address address;
    if (!ParseNumber(row_[latitude_], &address.position.latitude) ||
        !ParseNumber(row_[longitude_], &address.position.longitude)) {
      return Rejected("a number is missing or no number");
    }
    if (!IsOnEarth(address.position)) return Rejected("the position is not on earth");
    for (std::size_t i = 0; i < texts_.size(); ++i) {
      address.*kTextColumns[i].text = CleanText(row_[texts_[i]]);
    }
    if (address.street.empty()) return Rejected("no street");
    address.country = country_;
    sink->TakeAddress(IdOf(address), address);
    return {};
  }

  std::string country_;
  CsvRow row_;
  bool is_first_ = true;
  std::size_t longitude_ = std::string_view::npos;
  std::size_t latitude_ = std::string_view::npos;
  std::array<std::size_t, std::size(kTextColumns)> texts_ = {};
};

}  // namespace

std::unique_ptr<LineFormat> NewAddressFormat(const std::string& country) {
  return std::make_unique<AddressFormat>(country);
}

}  // namespace kesu_server
