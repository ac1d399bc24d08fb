/// usage: observe [DEADLINE_MS [SCAN_INTERVAL_MS [CANCEL_AFTER_MS]]]
///
/// Prints what is heard here, a line each. What is cancelled is waited for ten times as long.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "client/main_loop.h"
#include "here/here.h"

namespace {

using kesu::here::Sightings;

template <typename T>
std::string Text(const std::optional<T>& number) {
  return number ? std::to_string(*number) : "none";
}

std::string Seconds(const std::optional<std::chrono::milliseconds>& age) {
  return age ? std::to_string(std::chrono::round<std::chrono::seconds>(*age).count()) : "none";
}

void Print(const Sightings& sightings) {
  for (const kesu::Cell& it : sightings.observation.cells) {
    std::printf("cell %d,%d,%d,%d %s dBm %s s\n", it.mcc, it.mnc, it.area, it.cell,
                Text(it.signal_dbm).c_str(), Seconds(it.age).c_str());
  }
  for (const kesu::AccessPoint& it : sightings.observation.access_points) {
    std::printf("wifi %s %s dBm %s s channel %s \"%s\"\n", it.mac_address.c_str(),
                Text(it.signal_dbm).c_str(), Seconds(it.age).c_str(), Text(it.channel).c_str(),
                it.name.value_or("none").c_str());
  }
  if (const auto& fix = sightings.observation.fix) {
    std::printf("fix %.4f,%.4f %s s\n", fix->latitude, fix->longitude, Seconds(fix->age).c_str());
  }
  for (const kesu::here::Missing& it : sightings.missing) {
    std::printf("missing %s: %s\n", kesu::here::FaultName(it.fault), it.message.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  const auto argument = [=](int i, long otherwise) {
    return std::chrono::milliseconds(argc > i ? std::strtol(argv[i], nullptr, 10) : otherwise);
  };
  kesu::MainLoop loop;
  const kesu::here::Options options{.deadline = argument(1, 60000),
                                    .scan_interval = argument(2, 60000)};
  kesu::here::Call call = kesu::here::Observe(options, [&](const Sightings& sightings) {
    Print(sightings);
    loop.Quit();
  });
  if (argc > 3) {
    loop.Every(argument(3, 0), [&] { call.Cancel(); });
    loop.Every(argument(3, 0) * 10, [&] { loop.Quit(); });
  }
  loop.Run();
  return 0;
}
