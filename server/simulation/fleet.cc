#include "server/simulation/fleet.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <utility>

namespace kesu_server {
namespace {

constexpr int kAtATime = 50;
/// A radius within which 95 of 100 fixes are, in standard deviations.
constexpr double kRadius95 = 2.448;

/// A universally administered address that is no device's: the maker's part is that of a registry.
std::string MacAddress(std::size_t number) {
  std::array<char, 18> text;
  std::snprintf(text.data(), text.size(), "00-00-5E-%02X-%02X-%02X",
                static_cast<unsigned>(number >> 16 & 0xFF),
                static_cast<unsigned>(number >> 8 & 0xFF), static_cast<unsigned>(number & 0xFF));
  return text.data();
}

}  // namespace

Fleet::Fleet(const Town* town, const std::string& server)
    : town_(town), client_({.server = server, .batch_wait = std::chrono::milliseconds(0)}) {}

kesu::Observation Fleet::Observe(const PlanePoint& point, Random* random) const {
  kesu::Observation observation;
  for (const Reception& reception : town_->Observe(point, random)) {
    const Transmitter& it = town_->transmitters()[reception.transmitter];
    const std::chrono::milliseconds age(static_cast<int>(random->Uniform(0, 3000)));
    if (it.is_cell) {
      observation.cells.push_back({.mcc = 1,
                                   .mnc = 1,
                                   .area = 9,
                                   .cell = static_cast<int>(reception.transmitter) + 1,
                                   .signal_dbm = reception.dbm,
                                   .age = age});
    } else {
      observation.access_points.push_back({.mac_address = MacAddress(reception.transmitter),
                                           .signal_dbm = reception.dbm,
                                           .age = age});
    }
  }
  return observation;
}

void Fleet::AskAll(int count, const std::function<Question()>& next) {
  for (int begin = 0; begin < count; begin += kAtATime) {
    int missing = std::min(kAtATime, count - begin);
    for (int i = missing; i > 0; --i) {
      Question question = next();
      const auto answered = [this, &missing,
                             tell = std::move(question.answered)](const kesu::LocateResult& where) {
        tell(where);
        if (--missing == 0) loop_.Quit();
      };
      client_.Locate(question.observation, answered).Detach();
    }
    loop_.Run();
  }
}

bool Fleet::Teach(int lookups, Random* random) {
  bool are_answered = true;
  AskAll(lookups, [&] {
    const PlanePoint point = town_->OnStreet(random);
    kesu::Observation observation = Observe(point, random);
    const double accuracy_m = random->Uniform(3, 20);
    const double east_m = random->Normal(accuracy_m / kRadius95);
    const LatLng fix = town_->Position(
        {point.east + east_m, point.north + random->Normal(accuracy_m / kRadius95)});
    observation.fix = kesu::Fix{fix.latitude, fix.longitude, accuracy_m, {}};
    return Question{std::move(observation), [&are_answered](const kesu::LocateResult& where) {
                      if (!where) are_answered = false;
                    }};
  });
  return are_answered;
}

Figures Fleet::Locate(int lookups, Random* random) {
  Figures figures;
  AskAll(lookups, [&] {
    const PlanePoint point = town_->Indoors(random);
    const LatLng truth = town_->Position(point);
    return Question{Observe(point, random), [&figures, truth](const kesu::LocateResult& where) {
                      if (!where) return;
                      figures.Add({{where->latitude, where->longitude},
                                   static_cast<double>(where->accuracy_m.value_or(0))},
                                  truth);
                    }};
  });
  return figures;
}

}  // namespace kesu_server
