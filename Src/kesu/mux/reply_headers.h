#ifndef KESU_MUX_REPLY_HEADERS_H_
#define KESU_MUX_REPLY_HEADERS_H_

#include "kesu/mux/header_field_iterator_interface.h"

#pragma GCC visibility push(hidden)
namespace common_kesu {

/// Whether the headers say that a reply is one of the multiplexed protocol: some field is named
/// exactly "Content-Type" and has exactly the value "application/binary".
///
/// A transport may hand over the headers of several responses, one after the other: of a 103, of
/// redirects, of a proxy. Only those of the last one count, up to the blank line at its end. A line
/// that begins with "HTTP/" begins a response; no name of a field can.
bool IsMultiplexedReply(HeaderFieldIteratorInterface* headers);

}  // namespace common_kesu
#pragma GCC visibility pop

#endif  // KESU_MUX_REPLY_HEADERS_H_
