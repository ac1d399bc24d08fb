#include "server/http/fault.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <system_error>
#include <utility>

#include <glib.h>

namespace kesu_server {
namespace {

enum class ValueKind { kNone, kNumber, kText, kUrl };

/// A kind of fault and what it takes for a value.
struct KindRow {
  std::string_view name;
  FaultKind kind;
  ValueKind value_kind;
  int lowest;
  int highest;
};

constexpr int kMaxNumber = std::numeric_limits<int>::max();
constexpr int kMillisecondsPerHour = 3'600'000;
/// A text has to fit the 16-bit length that it may be sent with.
constexpr std::size_t kMaxTextBytes = 65535;

constexpr KindRow kKinds[] = {
    {"status", FaultKind::kStatus, ValueKind::kNumber, 200, 599},
    {"delay", FaultKind::kDelay, ValueKind::kNumber, 0, kMillisecondsPerHour},
    {"drop", FaultKind::kDrop, ValueKind::kNone, 0, 0},
    {"cut", FaultKind::kCut, ValueKind::kNumber, 0, kMaxNumber},
    {"chunked", FaultKind::kChunked, ValueKind::kNone, 0, 0},
    {"content-type", FaultKind::kContentType, ValueKind::kText, 0, 0},
    {"version", FaultKind::kVersion, ValueKind::kNumber, 0, 65535},
    {"garbage", FaultKind::kGarbage, ValueKind::kNone, 0, 0},
    {"omit", FaultKind::kOmit, ValueKind::kNumber, 1, kMaxNumber},
    {"encoding", FaultKind::kEncoding, ValueKind::kText, 0, 0},
    {"redirect", FaultKind::kRedirect, ValueKind::kUrl, 0, 0},
};

/// What follows the name of a kind, in its pieces.
struct Pieces {
  std::optional<std::string_view> value;
  std::optional<std::string_view> count;
};

bool IsNumeric(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return g_ascii_isdigit(c) != FALSE; });
}

/// The count is what stands behind the last colon. In a value that may have colons of its own it
/// is, unless it is a number, part of the value.
Pieces Divide(std::string_view rest, ValueKind value_kind) {
  Pieces pieces;
  const bool may_have_colons = value_kind == ValueKind::kText || value_kind == ValueKind::kUrl;
  const std::size_t colon = rest.rfind(':');
  if (colon != std::string_view::npos && (!may_have_colons || IsNumeric(rest.substr(colon + 1)))) {
    pieces.count = rest.substr(colon + 1);
    rest = rest.substr(0, colon);
  }
  if (!rest.empty()) pieces.value = rest.substr(1);
  return pieces;
}

std::optional<int> ParseNumber(std::string_view text, int lowest, int highest) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stopped != end || number < lowest || number > highest) {
    return std::nullopt;
  }
  return number;
}

/// Whether a text can stand in a header: bytes that are not printable could end it.
bool IsText(std::string_view text) {
  return !text.empty() && text.size() <= kMaxTextBytes &&
         std::all_of(text.begin(), text.end(), [](char c) { return g_ascii_isprint(c) != FALSE; });
}

bool IsUrl(const std::string& text) {
  if (!IsText(text) || text.find(' ') != std::string::npos) return false;
  GUri* const uri = g_uri_parse(text.c_str(), G_URI_FLAGS_NONE, nullptr);
  if (uri == nullptr) return false;
  const std::string_view scheme = g_uri_get_scheme(uri);
  const char* const host = g_uri_get_host(uri);
  const bool has_host = host != nullptr && *host != '\0';
  // Without a path a port could not be told from a count.
  const bool has_path = *g_uri_get_path(uri) != '\0';
  const bool is_url = (scheme == "http" || scheme == "https") && has_host && has_path;
  g_uri_unref(uri);
  return is_url;
}

std::string ValueProblem(const KindRow& row) {
  std::string problem(row.name);
  switch (row.value_kind) {
    case ValueKind::kNone:
      return problem.append(" takes no value");
    case ValueKind::kNumber:
      problem.append(" takes a number from ").append(std::to_string(row.lowest));
      return problem.append(" to ").append(std::to_string(row.highest));
    case ValueKind::kText:
      return problem.append(" takes a text of printable ASCII");
    case ValueKind::kUrl:
      return problem.append(" takes a URL, http or https, with a path");
  }
  return problem;
}

bool ReadValue(const KindRow& row, const std::optional<std::string_view>& value, Fault* fault) {
  if (!value.has_value()) return row.value_kind == ValueKind::kNone;
  if (row.value_kind == ValueKind::kNone) return false;
  if (row.value_kind == ValueKind::kNumber) {
    const std::optional<int> number = ParseNumber(*value, row.lowest, row.highest);
    fault->number = number.value_or(0);
    return number.has_value();
  }
  fault->text = *value;
  return row.value_kind == ValueKind::kUrl ? IsUrl(fault->text) : IsText(fault->text);
}

}  // namespace

std::optional<Fault> ParseFault(std::string_view words, std::string* error) {
  const std::string_view name = words.substr(0, words.find_first_of("=:"));
  const auto* const row =
      std::find_if(std::begin(kKinds), std::end(kKinds),
                   [&](const KindRow& candidate) { return candidate.name == name; });
  if (row == std::end(kKinds)) {
    error->assign("no such kind of fault");
    return std::nullopt;
  }
  const Pieces pieces = Divide(words.substr(name.size()), row->value_kind);
  Fault fault;
  fault.kind = row->kind;
  fault.words = words;
  if (pieces.count) {
    fault.count = ParseNumber(*pieces.count, 1, kMaxNumber);
    if (!fault.count) {
      error->assign("the count behind the colon must be a number from 1");
      return std::nullopt;
    }
  }
  if (!ReadValue(*row, pieces.value, &fault)) {
    *error = ValueProblem(*row);
    return std::nullopt;
  }
  return fault;
}

void FaultPlan::Add(Fault fault) {
  entries_.push_back({std::move(fault)});
}

const Fault* FaultPlan::Next() {
  for (const Entry& entry : entries_) {
    if (!entry.fault.count) return &entry.fault;
    std::atomic<int>& uses = entry.uses.items().front();
    int used = uses;
    while (used < *entry.fault.count) {
      if (uses.compare_exchange_weak(used, used + 1)) return &entry.fault;
    }
  }
  return nullptr;
}

}  // namespace kesu_server
