#include "tools/kesu/arguments.h"

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "tools/kesu/option_words.h"

namespace {

using kesu_tool::Arguments;
using kesu_tool::Observation;
using kesu_tool::Point;

std::vector<std::string> SplitAtSpaces(const std::string& line) {
  std::istringstream words(line);
  return {std::istream_iterator<std::string>(words), {}};
}

std::ostream& operator<<(std::ostream& out, const std::optional<int>& dbm) {
  return dbm ? out << " at " << *dbm : out;
}

std::ostream& operator<<(std::ostream& out, const Point& point) {
  return out << " " << point.latitude << "," << point.longitude;
}

std::ostream& operator<<(std::ostream& out, const Observation& observation) {
  for (const auto& cell : observation.cells) {
    out << " cell " << cell.mcc << "-" << cell.mnc << "-" << cell.area_code << "-" << cell.cell_id
        << cell.signal_strength_dbm;
  }
  for (const auto& device : observation.access_points) {
    out << " wifi " << device.mac_address << device.signal_strength_dbm;
  }
  if (observation.gps_fix) out << " gps" << *observation.gps_fix;
  return out;
}

/// All that differs from the defaults.
std::string Describe(const Arguments& arguments) {
  const char* const names[] = {"help", "version", "locate", "reverse", "decode", "httptest"};
  std::ostringstream out;
  out << names[static_cast<int>(arguments.command)];
  for (const Observation& observation : arguments.observations) out << observation << ";";
  for (const Point& point : arguments.points) out << point << ";";
  if (!arguments.file.empty()) out << " file=" << arguments.file;
  if (!arguments.server.empty()) out << " server=" << arguments.server;
  if (!arguments.ca_file.empty()) out << " ca=" << arguments.ca_file;
  if (arguments.timeout_ms != 30000) out << " ms=" << arguments.timeout_ms;
  if (arguments.wants_json) out << " json";
  if (arguments.wants_trace) out << " trace";
  return out.str();
}

TEST_CASE("command lines that are accepted") {
  const struct {
    std::string line;
    std::string description;
  } cases[] = {
      {"locate --cell=999,0,0,0,20 --cell 1,999,16777215,268435455,-200 --cell 1,2,3,4",
       "locate cell 999-0-0-0 at 20 cell 1-999-16777215-268435455 at -200 cell 1-2-3-4;"},
      {"locate --wifi 00:00:5e:00:53:aF --wifi 00-00-5E-00-53-01,-60",
       "locate wifi 00-00-5E-00-53-AF wifi 00-00-5E-00-53-01 at -60;"},
      {"locate --gps 90,180 --json --next --gps -90,-180 --cell 1,2,3,4",
       "locate gps 90,180; cell 1-2-3-4 gps -90,-180; json"},
      {"reverse -1,2 --json 3,4 --timeout 1.5 -.5,-0.25",
       "reverse -1,2; 3,4; -0.5,-0.25; ms=1500 json"},
      {"reverse -- -33.9,18.4 1,2", "reverse -33.9,18.4; 1,2;"},
      {"--timeout 0.0001 reverse 1,2", "reverse 1,2; ms=1"},
      {"--timeout 86400 reverse 1,2", "reverse 1,2; ms=86400000"},
      {"--server http://127.0.0.1:8642/ httptest", "httptest server=http://127.0.0.1:8642"},
      {"httptest --server https://[::1]:8443", "httptest server=https://[::1]:8443"},
      {"decode - --ca-file ca.pem --trace", "decode file=- ca=ca.pem trace"},
      {"decode -- --json", "decode file=--json"},
      {"httptest --version", "version"},
  };
  for (const auto& row : cases) {
    CAPTURE(row.line);
    Arguments arguments;
    std::string error;
    CHECK(ParseArguments(SplitAtSpaces(row.line), &arguments, &error));
    CHECK(Describe(arguments) == row.description);
  }
  CHECK(kesu_tool::HelpText().find("--cell=MCC,MNC,AREA,CELL[,DBM]") != std::string::npos);
}

TEST_CASE("command lines that are refused, and what the message names") {
  const struct {
    std::string line;
    const char* named;
  } cases[] = {
      {"", "command is missing"},
      {"--nonsense locate", "--nonsense"},
      {"locate", "at least one of --cell, --wifi and --gps"},
      {"locate --gps 1,2 --gps 1,2", "one --gps at most"},
      {"locate --gps 1,2 3,4", "\"3,4\""},
      {"locate --cell 1,1,1,1,1,1", "MCC,MNC,AREA,CELL"},
      {"locate --cell 0,1,1,1", "MCC"},
      {"locate --cell 1000,1,1,1", "MCC"},
      {"locate --cell 1,1000,1,1", "MNC"},
      {"locate --cell 1,1,16777216,1", "AREA"},
      {"locate --cell 1,1,1x,1", "AREA"},
      {"locate --cell 1,1,1,268435456", "CELL"},
      {"locate --cell 1,1,1,99999999999999999999", "CELL"},
      {"locate --cell 1,1,1,1,-201", "DBM"},
      {"locate --cell 1,1,1,1,21", "DBM"},
      {"locate --wifi 00-00:5E-00-53-01", "MAC"},
      {"locate --wifi 00-00-5E-00-53-0G", "MAC"},
      {"locate --wifi 00-00-5E-00-53-01,-60,1", "MAC"},
      {"locate --wifi 00-00-5E-00-53-01,loud", "DBM"},
      {"locate --gps 90.1,0", "LAT"},
      {"locate --gps 0,-180.1", "LON"},
      {"locate --gps 0,nan", "LON"},
      {"locate --gps 0", "LAT,LON"},
      {"reverse", "at least one point"},
      {"reverse 1,2 --next 3,4", "--next"},
      {"find", "\"find\""},
      {"decode", "one file"},
      {"httptest now", "\"now\""},
      {"--timeout 0 reverse 1,2", "SECONDS"},
      {"--timeout 86400.1 reverse 1,2", "SECONDS"},
      {"--server localhost:8642 reverse 1,2", "http://HOST:PORT"},
      {"--server http://localhost:99999 reverse 1,2", "http://HOST:PORT"},
      {"--server http://me@localhost reverse 1,2", "http://HOST:PORT"},
  };
  for (const auto& row : cases) {
    CAPTURE(row.line);
    Arguments arguments;
    std::string error;
    CHECK_FALSE(ParseArguments(SplitAtSpaces(row.line), &arguments, &error));
    CHECK_MESSAGE(error.find(row.named) != std::string::npos, error);
  }
}

}  // namespace
