#include "tools/kesu/arguments.h"

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
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

std::ostream& operator<<(std::ostream& out, const Point& point) {
  return out << point.latitude << "," << point.longitude;
}

void Describe(const Observation& observation, std::ostream& out) {
  for (const auto& cell : observation.cells) {
    out << " cell " << cell.mcc << "-" << cell.mnc << "-" << cell.area_code << "-" << cell.cell_id;
    if (cell.signal_strength_dbm) out << " at " << *cell.signal_strength_dbm;
  }
  for (const auto& access_point : observation.access_points) {
    out << " wifi " << access_point.mac_address;
    if (access_point.signal_strength_dbm) out << " at " << *access_point.signal_strength_dbm;
  }
  if (observation.gps_fix) out << " gps " << *observation.gps_fix;
  out << ";";
}

/// All that differs from the defaults.
std::string Describe(const Arguments& arguments) {
  const char* const names[] = {"help", "version", "locate", "reverse", "decode", "httptest"};
  std::ostringstream out;
  out << names[static_cast<int>(arguments.command)];
  for (const Observation& observation : arguments.observations) Describe(observation, out);
  for (const Point& point : arguments.points) out << " " << point << ";";
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
    const char* line;
    const char* description;
  } cases[] = {
      {"locate --cell 001,01,65534,268435455,-113", "locate cell 1-1-65534-268435455 at -113;"},
      {"locate --cell=999,0,0,0,0 --cell 1,999,16777215,2",
       "locate cell 999-0-0-0 at 0 cell 1-999-16777215-2;"},
      {"locate --wifi 00:00:5e:00:53:aF", "locate wifi 00-00-5E-00-53-AF;"},
      {"locate --wifi 00-00-5E-00-53-01,-60 --wifi ff-ff-ff-ff-ff-ff",
       "locate wifi 00-00-5E-00-53-01 at -60 wifi FF-FF-FF-FF-FF-FF;"},
      {"locate --gps -33.9,18.4", "locate gps -33.9,18.4;"},
      {"locate --gps 90,180 --next --gps -90,-180 --cell 1,2,3,4",
       "locate gps 90,180; cell 1-2-3-4 gps -90,-180;"},
      {"reverse 1,2 -33.9,18.4 -.5,-0.25", "reverse 1,2; -33.9,18.4; -0.5,-0.25;"},
      {"reverse -- -33.9,18.4 1,2", "reverse -33.9,18.4; 1,2;"},
      {"reverse -1,2 --json 3,4 --timeout 1.5", "reverse -1,2; 3,4; ms=1500 json"},
      {"locate --gps 1,2 --json --next --gps 3,4", "locate gps 1,2; gps 3,4; json"},
      {"--timeout 0.0001 reverse 1,2", "reverse 1,2; ms=1"},
      {"--timeout 86400 reverse 1,2", "reverse 1,2; ms=86400000"},
      {"--server http://127.0.0.1:8642/ reverse 1,2", "reverse 1,2; server=http://127.0.0.1:8642"},
      {"--server https://[::1]:8443 reverse 1,2", "reverse 1,2; server=https://[::1]:8443"},
      {"decode - --ca-file ca.pem --trace", "decode file=- ca=ca.pem trace"},
      {"decode -- --json", "decode file=--json"},
      {"httptest --timeout 2 --server http://localhost:1",
       "httptest server=http://localhost:1 ms=2000"},
      {"--help", "help"},
      {"decode -h", "help"},
      {"httptest --version", "version"},
      {"-h locate", "help"},
  };
  Arguments arguments;
  std::string error;
  for (const auto& row : cases) {
    CAPTURE(row.line);
    arguments = {};
    CHECK(ParseArguments(SplitAtSpaces(row.line), &arguments, &error));
    CHECK(Describe(arguments) == row.description);
  }
  CHECK(ParseArguments({"decode", " a"}, &arguments, &error));
  CHECK(arguments.file == " a");
}

TEST_CASE("command lines that are refused, and what the message names") {
  const struct {
    const char* line;
    const char* named;
  } cases[] = {
      {"", "command is missing"},
      {"find", "\"find\""},
      {"--nonsense locate", "--nonsense"},
      {"locate", "at least one of --cell, --wifi and --gps"},
      {"locate --gps 1,2 --next", "at least one of"},
      {"locate --gps 1,2 --gps 1,2", "one --gps at most"},
      {"locate --gps 1,2 3,4", "\"3,4\""},
      {"locate --cell", "--cell"},
      {"locate --cell 1,1,1,1,1,1", "\"1,1,1,1,1,1\""},
      {"locate --cell 0,1,1,1", "MCC"},
      {"locate --cell 1000,1,1,1", "MCC"},
      {"locate --cell 1,-1,1,1", "MNC"},
      {"locate --cell 1,1000,1,1", "MNC"},
      {"locate --cell 1,1,16777216,1", "AREA"},
      {"locate --cell 1,1,1x,1", "AREA"},
      {"locate --cell 1,1,1,268435456", "CELL"},
      {"locate --cell 1,1,1,99999999999999999999", "CELL"},
      {"locate --cell 1,1,1,1,-201", "DBM"},
      {"locate --cell 1,1,1,1,21", "DBM"},
      {"locate --cell 1,1,1,1,", "DBM"},
      {"locate --wifi 00-00-5E-00-53-0", "MAC"},
      {"locate --wifi 00-00-5E-00-53-01-02", "MAC"},
      {"locate --wifi 00-00:5E-00-53-01", "MAC"},
      {"locate --wifi 00-00-5E-00-53-0G", "MAC"},
      {"locate --wifi 00-00-5E-00-53-01,-60,1", "MAC"},
      {"locate --wifi 00-00-5E-00-53-01,loud", "DBM"},
      {"locate --gps 90.1,0", "LAT"},
      {"locate --gps 0,180.1", "LON"},
      {"locate --gps 0,inf", "LON"},
      {"locate --gps 0", "LAT,LON"},
      {"reverse", "at least one point"},
      {"reverse 1,2,3", "\"1,2,3\""},
      {"reverse -91,0", "\"-91\""},
      {"reverse 1,2 --next 3,4", "--next"},
      {"reverse 1,2 -x", "-x"},
      {"decode", "one file"},
      {"decode --cell 1,1,1,1 a", "--cell"},
      {"httptest now", "\"now\""},
      {"--timeout 0 reverse 1,2", "SECONDS"},
      {"reverse 1,2 --timeout -5", "SECONDS"},
      {"--timeout 86401 reverse 1,2", "SECONDS"},
      {"--server localhost:8642 reverse 1,2", "http://HOST:PORT"},
      {"--server http:// reverse 1,2", "http://HOST:PORT"},
      {"--server http://localhost:99999 reverse 1,2", "http://HOST:PORT"},
      {"--server http://localhost/path reverse 1,2", "http://HOST:PORT"},
      {"--server http://me@localhost reverse 1,2", "http://HOST:PORT"},
  };
  Arguments arguments;
  std::string error;
  for (const auto& row : cases) {
    CAPTURE(row.line);
    CHECK_FALSE(ParseArguments(SplitAtSpaces(row.line), &arguments, &error));
    CAPTURE(error);
    CHECK(error.find(row.named) != std::string::npos);
  }
  CHECK_FALSE(ParseArguments({"reverse", ""}, &arguments, &error));
  CHECK_FALSE(ParseArguments({"locate", "--wifi", ""}, &arguments, &error));
  CHECK_FALSE(ParseArguments({"decode", ""}, &arguments, &error));
  CHECK_FALSE(ParseArguments({""}, &arguments, &error));
}

TEST_CASE("the help names every command and option") {
  const std::string help = kesu_tool::HelpText();
  for (const char* word :
       {"locate", "reverse", "decode", "httptest", "--next", "--cell", "--wifi", "--gps",
        "--server", "--ca-file", "--timeout", "--json", "--trace", "--help", "--version"}) {
    CAPTURE(word);
    CHECK(help.find(word) != std::string::npos);
  }
}

}  // namespace
