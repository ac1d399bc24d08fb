#include "server/storage/postgres_target.h"

#include <algorithm>
#include <charconv>
#include <memory>

#include <libpq-fe.h>

namespace kesu_server {
namespace {

/// What the URL may say otherwise. A host that is gone without a word is noticed.
constexpr std::pair<const char*, const char*> kDefaults[] = {
    {"fallback_application_name", "kesu"}, {"keepalives_idle", "10"},
    {"keepalives_interval", "5"},          {"keepalives_count", "3"},
    {"tcp_user_timeout", "15000"},
};

using Options = std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)>;

std::string ValueOf(const Options& options, std::string_view keyword) {
  for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
    if (option->keyword == keyword) return option->val == nullptr ? "" : option->val;
  }
  return {};
}

std::vector<std::string> Split(const std::string& list) {
  std::vector<std::string> items;
  std::size_t begin = 0;
  for (std::size_t comma = 0; comma != std::string::npos; begin = comma + 1) {
    comma = list.find(',', begin);
    items.push_back(list.substr(begin, comma - begin));
  }
  return items;
}

/// Lists of one item go with all hosts.
const std::string& ItemOf(const std::vector<std::string>& items, std::size_t number) {
  return items[std::min(number, items.size() - 1)];
}

/// What is wanted of the hosts, one pass over all of them after the other.
std::vector<std::string> Passes(PostgresTarget::Purpose purpose, const std::string& wanted) {
  if (purpose == PostgresTarget::Purpose::kWrite) return {"read-write"};
  if (wanted == "prefer-standby") return {"standby", "any"};
  // Those who want the primary want it for what they learn.
  if (wanted.empty() || wanted == "read-write" || wanted == "primary") return {"any"};
  return {wanted};
}

}  // namespace

bool IsPostgresUrl(std::string_view database) {
  return database.starts_with("postgresql://") || database.starts_with("postgres://");
}

std::optional<PostgresTarget> PostgresTarget::Parse(const std::string& url, Purpose purpose,
                                                    std::string* error) {
  char* reason = nullptr;
  const Options options(PQconninfoParse(url.c_str(), &reason), PQconninfoFree);
  if (!options) {
    // libpq's reason would show the URL, and the password with it.
    PQfreemem(reason);
    *error = "the URL of the database is no good";
    return std::nullopt;
  }
  PostgresTarget target;
  target.url_ = url;
  const std::string timeout = ValueOf(options, "connect_timeout");
  int seconds = 0;
  std::from_chars(timeout.data(), timeout.data() + timeout.size(), seconds);
  if (seconds > 0) target.connect_timeout_s_ = std::clamp(seconds, 2, 3600);

  const std::vector<std::string> hosts = Split(ValueOf(options, "host"));
  const std::vector<std::string> addresses = Split(ValueOf(options, "hostaddr"));
  const std::vector<std::string> ports = Split(ValueOf(options, "port"));
  const std::size_t count = std::max(hosts.size(), addresses.size());
  for (const std::string& pass : Passes(purpose, ValueOf(options, "target_session_attrs"))) {
    for (std::size_t i = 0; i < count; ++i) {
      target.overrides_.push_back({{"host", ItemOf(hosts, i)},
                                   {"hostaddr", ItemOf(addresses, i)},
                                   {"port", ItemOf(ports, i)},
                                   {"target_session_attrs", pass},
                                   {"client_encoding", "UTF8"},
                                   {"connect_timeout", std::to_string(target.connect_timeout_s_)}});
    }
  }
  return target;
}

PostgresTarget::Attempt PostgresTarget::attempt(std::size_t number) const {
  Attempt attempt;
  const auto add = [&](const char* keyword, const char* value) {
    attempt.keywords.push_back(keyword);
    attempt.values.push_back(value);
  };
  for (const auto& [keyword, value] : kDefaults) add(keyword, value);
  add("dbname", url_.c_str());
  for (const auto& [keyword, value] : overrides_[number]) {
    if (!value.empty()) add(keyword.c_str(), value.c_str());
  }
  add(nullptr, nullptr);
  return attempt;
}

}  // namespace kesu_server
