#include "server/learn/lesson.h"

#include <algorithm>
#include <cmath>

namespace kesu_server {
namespace {

constexpr double kGoodAccuracyM = 10;
constexpr double kUselessAccessPointAccuracyM = 200;
constexpr double kUselessCellAccuracyM = 1000;
constexpr double kGoodAgeS = 2;
constexpr double kUselessAgeS = 20;
constexpr double kGoodSpeedMPerS = 5;
constexpr double kUselessSpeedMPerS = 50;

constexpr double kAverageAccessPointDbm = -75;
constexpr double kAverageCellDbm = -95;
/// Twice as near at the usual fading is four times as good, as much as a single lesson may be.
constexpr double kDbForTenTimes = 15;
constexpr double kLeastOfSignal = 0.05;
constexpr double kMostOfSignal = 10;

/// 1 up to `good`, 0 from `useless` on, and falling with the logarithm between them.
double Factor(double value, double good, double useless) {
  if (!(value < useless)) return 0;
  if (value <= good) return 1;
  return 1 - std::log(value / good) / std::log(useless / good);
}

double SignalFactor(const Lesson& lesson) {
  if (!lesson.received_dbm) return 1;
  const double average =
      lesson.station.is_access_point() ? kAverageAccessPointDbm : kAverageCellDbm;
  return std::clamp(std::pow(10, (*lesson.received_dbm - average) / kDbForTenTimes), kLeastOfSignal,
                    kMostOfSignal);
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EndsInNoMap(std::string_view name) {
  constexpr std::string_view kSuffix = "_nomap";
  return name.size() >= kSuffix.size() &&
         std::equal(kSuffix.begin(), kSuffix.end(), name.end() - kSuffix.size(),
                    [](char wanted, char c) { return wanted == Lower(c); });
}

/// Some drivers fill the place of a hidden name with zeros.
bool IsHidden(std::string_view name) {
  return name.find_first_not_of('\0') == std::string_view::npos;
}

}  // namespace

double WeightOf(const Lesson& lesson) {
  const double useless_accuracy_m =
      lesson.station.is_access_point() ? kUselessAccessPointAccuracyM : kUselessCellAccuracyM;
  return Factor(lesson.accuracy_m, kGoodAccuracyM, useless_accuracy_m) *
         Factor(lesson.age_s, kGoodAgeS, kUselessAgeS) *
         Factor(lesson.speed_m_per_s, kGoodSpeedMPerS, kUselessSpeedMPerS) * SignalFactor(lesson);
}

bool MayBeLearned(const StationKey& station, std::optional<std::string_view> name) {
  if (!station.is_access_point()) return true;
  if (name && (IsHidden(*name) || EndsInNoMap(*name))) return false;
  return station.id != 0 && !IsPassingMacAddress(station);
}

}  // namespace kesu_server
