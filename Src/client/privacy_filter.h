#ifndef CLIENT_PRIVACY_FILTER_H_
#define CLIENT_PRIVACY_FILTER_H_

#include <string>
#include <string_view>

#include "client/observation.h"
#include "client/result.h"

/// What of an observation may be told to a service.
namespace kesu::detail {

enum class Disclosure {
  kAllowed,
  kNoMacAddress,
  /// Its owner does not want it mapped: its name ends in "_nomap", in whatever case.
  kOptedOut,
  kHiddenName,
  /// Its address is no lasting one of a device: somebody's telephone, say.
  kLocallyAdministered,
  /// Or all zeros: no address of a single device.
  kMulticast,
};

Disclosure DisclosureOf(const AccessPoint& access_point);

/// "00-00-5E-00-53-01" of six hexadecimal bytes with or without separators; empty where it is none.
std::string NormalMacAddress(std::string_view mac_address);

/// What may be told, its addresses in normal form. kMisuse where the observation makes no sense;
/// kWithheld where nothing is left to ask with, be it a single access point without a cell, unless
/// `allow_single_access_point`. With a fix, the rest is told without that access point.
Result<Observation> WhatMayBeTold(const Observation& observation, bool allow_single_access_point);

}  // namespace kesu::detail

#endif  // CLIENT_PRIVACY_FILTER_H_
