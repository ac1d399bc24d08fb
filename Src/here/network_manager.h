#ifndef HERE_NETWORK_MANAGER_H_
#define HERE_NETWORK_MANAGER_H_

#include <gio/gio.h>

// Not all of its headers say that they are in C.
extern "C" {
#include <NetworkManager.h>
}

#endif  // HERE_NETWORK_MANAGER_H_
