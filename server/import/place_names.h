#ifndef SERVER_IMPORT_PLACE_NAMES_H_
#define SERVER_IMPORT_PLACE_NAMES_H_

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace kesu_server {

/// The names of regions and countries, which the lines of a gazetteer have codes for.
class PlaceNames {
 public:
  /// A line of admin1CodesASCII.txt: "PT.14", name, name in ASCII, number. Others are passed over.
  void ReadRegion(std::string_view line);
  /// A line of countryInfo.txt: ISO code in the first column, name in the fifth. Others, and
  /// comments, are passed over.
  void ReadCountry(std::string_view line);

  /// Empty when the code is not known.
  std::string Region(std::string_view country_code, std::string_view region_code) const;
  /// The code itself when it is not known.
  std::string Country(std::string_view country_code) const;

 private:
  std::map<std::string, std::string, std::less<>> regions_;
  std::map<std::string, std::string, std::less<>> countries_;
};

}  // namespace kesu_server

#endif  // SERVER_IMPORT_PLACE_NAMES_H_
