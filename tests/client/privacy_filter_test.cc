#include "client/privacy_filter.h"

#include <doctest/doctest.h>

namespace kesu::detail {
namespace {

TEST_CASE("what may be told of an access point") {
  const std::string kMac = "00-00-5E-00-53-01";
  const struct {
    AccessPoint access_point;
    Disclosure disclosure;
  } kRows[] = {
      {{.mac_address = kMac}, Disclosure::kAllowed},
      {{.mac_address = "00:00:5e:00:53:01", .name = "Cafe"}, Disclosure::kAllowed},
      {{.mac_address = "00005E005301", .name = "nomap"}, Disclosure::kAllowed},
      {{.mac_address = kMac, .name = "x_nomap_"}, Disclosure::kAllowed},
      {{.mac_address = kMac, .name = "Cafe_nomap"}, Disclosure::kOptedOut},
      {{.mac_address = kMac, .name = "_NoMap"}, Disclosure::kOptedOut},
      {{.mac_address = kMac, .name = ""}, Disclosure::kHiddenName},
      {{.mac_address = kMac, .name = std::string(5, '\0')}, Disclosure::kHiddenName},
      {{.mac_address = "02-00-5E-00-53-01"}, Disclosure::kLocallyAdministered},
      {{.mac_address = "01-00-5E-00-53-01"}, Disclosure::kMulticast},
      {{.mac_address = "ff-ff-ff-ff-ff-ff"}, Disclosure::kMulticast},
      {{.mac_address = "00-00-00-00-00-00"}, Disclosure::kMulticast},
      {{.mac_address = ""}, Disclosure::kNoMacAddress},
      {{.mac_address = "00-00-5E-00-53-0G"}, Disclosure::kNoMacAddress},
      {{.mac_address = "00-00:5E-00-53-01"}, Disclosure::kNoMacAddress},
      {{.mac_address = "00 00 5E 00 53 01"}, Disclosure::kNoMacAddress},
      {{.mac_address = "00005E00530"}, Disclosure::kNoMacAddress},
  };
  for (const auto& row : kRows) {
    INFO(row.access_point.mac_address, " ", row.access_point.name.value_or("-"));
    CHECK(static_cast<int>(DisclosureOf(row.access_point)) == static_cast<int>(row.disclosure));
  }
  CHECK(NormalMacAddress("00:00:5e:00:53:aF") == "00-00-5E-00-53-AF");
}

TEST_CASE("what may be told of an observation") {
  const std::vector<Cell> cell = {{.mcc = 1, .mnc = 1, .area = 1, .cell = 1001}};
  const AccessPoint one = {.mac_address = "00-00-5E-00-53-01"};
  const AccessPoint again = {.mac_address = "00:00:5E:00:53:01"};
  const AccessPoint other = {.mac_address = "00-00-5E-00-53-02"};
  const AccessPoint hidden = {.mac_address = "00-00-5E-00-53-03", .name = ""};
  const Fix fix = {.latitude = 38.7, .longitude = -9.1};
  const struct {
    const char* what;
    Observation observation;
    ErrorKind kind;
    /// "" or the access points told, by their last digit, and "f" for a fix.
    const char* told;
  } kRows[] = {
      {"nothing", {}, ErrorKind::kMisuse, ""},
      {"a cell and one", {cell, {one}}, ErrorKind::kNone, "1"},
      {"two", {{}, {one, other}}, ErrorKind::kNone, "12"},
      {"one", {{}, {one}}, ErrorKind::kWithheld, ""},
      {"one, twice", {{}, {one, again}}, ErrorKind::kWithheld, ""},
      {"one that is not hidden", {{}, {hidden, one}}, ErrorKind::kWithheld, ""},
      {"all hidden", {{}, {hidden, hidden}}, ErrorKind::kWithheld, ""},
      {"one and a fix", {{}, {one}, fix}, ErrorKind::kNone, "f"},
      {"a cell, all hidden", {cell, {hidden}}, ErrorKind::kNone, ""},
      {"no address", {cell, {{.mac_address = "x"}}}, ErrorKind::kMisuse, ""},
      {"no country", {{{.mcc = 1000}}}, ErrorKind::kMisuse, ""},
      {"no cell", {{{.cell = -1}}}, ErrorKind::kMisuse, ""},
      {"off the earth", {cell, {}, Fix{.latitude = 90.1}}, ErrorKind::kMisuse, ""},
      {"no number", {cell, {}, Fix{.longitude = 0.0 / 0.0}}, ErrorKind::kMisuse, ""},
      {"no accuracy", {cell, {}, Fix{.accuracy_m = -1}}, ErrorKind::kMisuse, ""},
  };
  for (const auto& row : kRows) {
    INFO(row.what);
    const Result<Observation> result = WhatMayBeTold(row.observation, false);
    CHECK(static_cast<int>(result.error().kind) == static_cast<int>(row.kind));
    CHECK(result.error().message.empty() == static_cast<bool>(result));
    if (!result) continue;
    std::string told;
    for (const AccessPoint& access_point : result->access_points) {
      told += access_point.mac_address.back();
    }
    if (result->fix) told += 'f';
    CHECK(told == row.told);
    CHECK(result->cells.size() == row.observation.cells.size());
  }
  CHECK(WhatMayBeTold({{}, {one}}, true)->access_points.size() == 1);
}

}  // namespace
}  // namespace kesu::detail
