#ifndef SERVER_PROCESS_SERVICE_MANAGER_H_
#define SERVER_PROCESS_SERVICE_MANAGER_H_

#include <string>
#include <vector>

/// What systemd hands to a service that it starts, and wants to hear from it: the protocols of
/// sd_listen_fds(3) and sd_notify(3).
namespace kesu_server {

/// The listening sockets that the process was started with, set not to block; empty for none.
/// False, and why in `error`, when one is no listening TCP socket.
bool TakeActivatedSockets(std::vector<int>* sockets, std::string* error);

/// Tells the service manager, if there is one that wants to know, "READY=1" and the like.
void NotifyServiceManager(const std::string& state);

/// The state of a service that reads its data again; "READY=1" ends it.
std::string ReloadingState();

}  // namespace kesu_server

#endif  // SERVER_PROCESS_SERVICE_MANAGER_H_
