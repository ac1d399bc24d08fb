#ifndef KESU_COMMON_NET_PROTO_EXTENSION_REGISTRY_H_
#define KESU_COMMON_NET_PROTO_EXTENSION_REGISTRY_H_

namespace common_net_proto {

/// Handed down unchanged by every read; no message of the library looks at it.
class ExtensionRegistry {};

}  // namespace common_net_proto

#endif  // KESU_COMMON_NET_PROTO_EXTENSION_REGISTRY_H_
