#ifndef KESU_MUX_MUX_CONFIG_H_
#define KESU_MUX_MUX_CONFIG_H_

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"

namespace common_kesu {

/// The configuration of the multiplexer: seven strings, of which all but the URL go to the server
/// in the header block of every POST. The names say what applications put there; the library itself
/// only depends on the positions.
struct MuxConfig : common_base::HeapObject {
  /// Joined by "," into the client version text: product, version, platform, distribution channel,
  /// locale, in this order.
  common_base::GString product;
  common_base::GString version;
  common_base::GString locale;
  common_base::GString distribution_channel;
  /// Sent as it is.
  common_base::GString configuration;
  /// The URL of the service. Whether it starts with "https:" decides whether end-to-end security
  /// can be required.
  common_base::GString service_url;
  common_base::GString platform;
};

}  // namespace common_kesu

#endif  // KESU_MUX_MUX_CONFIG_H_
