#ifndef KESU_MUX_HTTP_REQUEST_INTERFACE_H_
#define KESU_MUX_HTTP_REQUEST_INTERFACE_H_

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/request_interface.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/header_field_iterator_interface.h"
#include "kesu/mux/transport_error.h"

/// One HTTP exchange of the transport. It does not delete itself when it ends: its owner does, by
/// Cancel(), which is allowed from inside the requester's callback too.
class HttpRequestInterface : public common_base::RequestInterface {
 public:
  /// Adds a header to the request; name and value are UTF-8. Before Start() only.
  virtual void SetHttpRequestHeader(const common_base::GVectorRef<const unsigned char>& name,
                                    const common_base::GVectorRef<const unsigned char>& value) = 0;
  /// The status of the response (RFC 9110, section 15), 0 while there is none.
  virtual int HttpResponseStatusCode() const = 0;
  /// The URL that the response came from, after redirects.
  virtual common_base::GString RedirectedToUrl() const = 0;
  /// A new iterator over the headers of the response, owned by the caller. The request must outlive
  /// it.
  virtual HeaderFieldIteratorInterface* HttpResponseHeaders() const = 0;
  /// Why there is no whole response, once the requester has been told; a transport that does not
  /// know says kNone.
  virtual common_kesu::TransportError last_transport_error() const { return {}; }
};

#endif  // KESU_MUX_HTTP_REQUEST_INTERFACE_H_
