// Values of command lines, and lines of standard input: each is taken or refused with a reason. The
// first byte chooses what it is.
#include <cmath>
#include <optional>
#include <string>

#include "fuzz/byte_script.h"
#include "server/http/fault.h"
#include "tools/kesu/argument_values.h"
#include "tools/kesu/input_line.h"

namespace {

using namespace kesu_fuzz;

void RequireOnEarth(double latitude, double longitude) {
  Require(std::abs(latitude) <= 90 && std::abs(longitude) <= 180);
}

void RequireSense(const kesu::Cell& cell) {
  Require(cell.mcc >= 0 && cell.mcc <= 999 && cell.mnc >= 0 && cell.mnc <= 999);
  Require(cell.area >= 0 && cell.cell >= 0 && cell.signal_dbm.value_or(0) <= 0);
  Require(!cell.age || cell.age->count() >= 0);
}

void RequireSense(const kesu::AccessPoint& access_point) {
  constexpr std::size_t kWithHyphens = 17;
  Require(kesu_tool::ParseMac(access_point.mac_address).value_or("").size() == kWithHyphens);
  Require(access_point.signal_dbm.value_or(0) <= 0);
}

void RequireSense(const kesu::Point& point) {
  RequireOnEarth(point.latitude, point.longitude);
}

void RequireSense(const kesu::Fix& fix) {
  RequireOnEarth(fix.latitude, fix.longitude);
  Require(fix.accuracy_m.value_or(0) >= 0);
}

void RequireSense(const kesu::Observation& seen) {
  Require(!seen.cells.empty() || !seen.access_points.empty() || seen.fix);
  for (const kesu::Cell& cell : seen.cells) RequireSense(cell);
  for (const kesu::AccessPoint& access_point : seen.access_points) RequireSense(access_point);
  if (seen.fix) RequireSense(*seen.fix);
}

void RequireSense(int timeout_ms) {
  Require(timeout_ms >= 1);
}

void RequireSense(const std::string& url) {
  Require(url.find("://") != std::string::npos);
}

void RequireSense(const kesu_server::Fault& fault) {
  Require(fault.count.value_or(1) >= 1);
}

template <typename Value>
void RequireSenseOrReason(const std::optional<Value>& value, const std::string& error) {
  if (value) RequireSense(*value);
  Require(value.has_value() == error.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  const int kind = script.Pick(9);
  const std::string word(script.TakeRest());
  std::string error;
  const auto check = [&](const auto& value) { RequireSenseOrReason(value, error); };
  switch (kind) {
    case 0:
      check(kesu_tool::ParseCell(word, &error));
      break;
    case 1:
      check(kesu_tool::ParseAccessPoint(word, &error));
      break;
    case 2:
      check(kesu_tool::ParsePointLine(word, &error));
      break;
    case 3:
      check(kesu_tool::ParseObservationLine(word, &error));
      break;
    case 4:
      check(kesu_tool::ParseFix(word, &error));
      break;
    case 5:
      check(kesu_tool::ParseTimeout(word, &error));
      break;
    case 6:
      check(kesu_tool::ParseProxy(word, &error));
      break;
    case 7:
      check(kesu_tool::ParseServer(word, &error));
      break;
    default:
      check(kesu_server::ParseFault(word, &error));
  }
  return 0;
}
