#include "server/import/rejections.h"

#include <cstddef>

#include <nlohmann/json.hpp>

namespace kesu_server {
namespace {

constexpr std::size_t kShown = 10;

}  // namespace

void Rejections::Add(std::string_view reason, const std::string& file, std::int64_t line,
                     std::int64_t count) {
  count_ += count;
  auto found = tallies_.find(reason);
  if (found == tallies_.end()) found = tallies_.emplace(reason, Tally()).first;
  Tally& tally = found->second;
  tally.count += count;
  if (tally.first.size() < kShown) tally.first.push_back(file + ":" + std::to_string(line));
}

std::string Rejections::Describe() const {
  std::string text;
  for (const auto& [reason, tally] : tallies_) {
    text += "  " + std::to_string(tally.count) + (tally.count == 1 ? " line: " : " lines: ") +
            reason + " (";
    for (const std::string& where : tally.first) {
      if (&where != &tally.first.front()) text += ", ";
      text += where;
    }
    text += tally.count > static_cast<std::int64_t>(tally.first.size()) ? ", ...)\n" : ")\n";
  }
  return text;
}

std::string Rejections::Save() const {
  nlohmann::json json = nlohmann::json::object();
  for (const auto& [reason, tally] : tallies_) json[reason] = {tally.count, tally.first};
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

bool Rejections::Restore(const std::string& text) {
  tallies_.clear();
  count_ = 0;
  const nlohmann::json json = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!json.is_object()) return false;
  for (const auto& [reason, entry] : json.items()) {
    if (!entry.is_array() || entry.size() != 2 || !entry[0].is_number_integer() ||
        !entry[1].is_array()) {
      return false;
    }
    Tally& tally = tallies_[reason];
    tally.count = entry[0].get<std::int64_t>();
    count_ += tally.count;
    for (const nlohmann::json& where : entry[1]) {
      if (where.is_string()) tally.first.push_back(where.get<std::string>());
    }
  }
  return true;
}

}  // namespace kesu_server
