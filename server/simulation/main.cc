#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "server/simulation/fleet.h"

/// kesu-fleet SERVER teach|locate LOOKUPS: a fleet of devices in an invented town asks a server.
/// The town is the same in each run.
int main(int argc, char** argv) {
  using namespace kesu_server;
  const long lookups = argc == 4 ? std::strtol(argv[3], nullptr, 10) : 0;
  const std::string_view work = argc == 4 ? argv[2] : "";
  if (lookups <= 0 || (work != "teach" && work != "locate")) {
    std::fputs("usage: kesu-fleet SERVER teach|locate LOOKUPS\n", stderr);
    return 2;
  }
  const Town town({.shared_shadowing = 0.25});
  Fleet fleet(&town, argv[1]);
  Random random(work == "teach" ? 21 : 22);
  if (work == "teach") return fleet.Teach(static_cast<int>(lookups), &random) ? 0 : 1;
  const Figures figures = fleet.Locate(static_cast<int>(lookups), &random);
  std::printf(
      "%zu located: median error %.1f m, 95th of 100 %.1f m, %.1f %% within the accuracy, "
      "whose median is %.0f m\n",
      figures.count(), figures.ErrorM(0.5), figures.ErrorM(0.95), figures.Coverage(),
      figures.MedianAccuracyM());
  return 0;
}
