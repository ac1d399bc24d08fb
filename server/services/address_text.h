#ifndef SERVER_SERVICES_ADDRESS_TEXT_H_
#define SERVER_SERVICES_ADDRESS_TEXT_H_

#include <string>
#include <vector>

#include "server/storage/place.h"

namespace kesu_server {

/// The texts that are not empty, with `separator` between them.
std::string Join(const std::vector<std::string>& texts, const char* separator);

/// The lines of an address, in the order that is usual in its country; what is not known is left
/// out.
std::vector<std::string> AddressLines(const Address& address);

}  // namespace kesu_server

#endif  // SERVER_SERVICES_ADDRESS_TEXT_H_
