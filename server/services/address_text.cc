#include "server/services/address_text.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace kesu_server {
namespace {

/// Where the number comes before the street. Elsewhere it comes behind.
constexpr std::string_view kNumberFirst[] = {
    "Australia",   "Canada",       "France",         "India",         "Ireland",
    "New Zealand", "South Africa", "United Kingdom", "United States",
};
/// Where the postcode comes behind the town and the region. Elsewhere it comes before the town.
constexpr std::string_view kPostcodeLast[] = {
    "Australia", "Canada", "India", "Ireland", "New Zealand", "United Kingdom", "United States",
};

template <typename Names>
bool Lists(const Names& names, const std::string& country) {
  return std::find(std::begin(names), std::end(names), country) != std::end(names);
}

}  // namespace

std::string Join(const std::vector<std::string>& texts, const char* separator) {
  std::string joined;
  for (const std::string& text : texts) {
    if (!joined.empty() && !text.empty()) joined += separator;
    joined += text;
  }
  return joined;
}

std::vector<std::string> AddressLines(const Address& address) {
  const std::string& number = address.number;
  const std::string& street = address.street;
  const std::string door = Lists(kNumberFirst, address.country) ? Join({number, street}, " ")
                                                                : Join({street, number}, " ");
  std::vector<std::string> lines = {Join({door, address.unit}, ", ")};
  if (Lists(kPostcodeLast, address.country)) {
    lines.push_back(Join({Join({address.city, address.region}, ", "), address.postcode}, " "));
  } else {
    lines.push_back(Join({address.postcode, address.city}, " "));
    if (address.region != address.city) lines.push_back(address.region);
  }
  lines.push_back(address.country);
  lines.erase(std::remove(lines.begin(), lines.end(), std::string()), lines.end());
  return lines;
}

}  // namespace kesu_server
