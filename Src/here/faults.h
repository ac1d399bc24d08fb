#ifndef HERE_FAULTS_H_
#define HERE_FAULTS_H_

#include <gio/gio.h>

#include "here/here.h"

namespace kesu::here::detail {

/// What an error of D-Bus, NetworkManager or ModemManager comes to, with its text.
Missing MissingAfter(Source source, const GError& error);

/// "NetworkManager"
const char* DaemonName(Source source);

}  // namespace kesu::here::detail

#endif  // HERE_FAULTS_H_
