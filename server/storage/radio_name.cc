#include "server/storage/radio_name.h"

#include <utility>

#include <glib.h>

namespace kesu_server {
namespace {

/// Of several names of a type the first is the one that is given.
constexpr std::pair<RadioType, std::string_view> kNames[] = {
    {RadioType::kGsm, "GSM"},   {RadioType::kUmts, "UMTS"}, {RadioType::kUmts, "WCDMA"},
    {RadioType::kLte, "LTE"},   {RadioType::kNr, "NR"},     {RadioType::kNr, "NRRADIO"},
    {RadioType::kCdma, "CDMA"},
};

}  // namespace

std::optional<RadioType> RadioTypeNamed(std::string_view name) {
  for (const auto& [radio, known] : kNames) {
    if (name.size() == known.size() &&
        g_ascii_strncasecmp(name.data(), known.data(), known.size()) == 0) {
      return radio;
    }
  }
  return std::nullopt;
}

std::string_view NameOf(RadioType radio) {
  for (const auto& [known, name] : kNames) {
    if (known == radio) return name;
  }
  return {};
}

}  // namespace kesu_server
