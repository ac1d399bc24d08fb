#ifndef KESU_MUX_HEADER_REQUEST_H_
#define KESU_MUX_HEADER_REQUEST_H_

#include "kesu/common/base/gstring.h"
#include "kesu/mux/mux_config.h"
#include "kesu/mux/request.h"

namespace common_kesu {

/// The block that opens every POST, the protocol version in front of it. It is never sent again on
/// its own.
class HeaderRequest : public Request {
 public:
  /// `config` is borrowed.
  explicit HeaderRequest(const MuxConfig& config);

  bool ShouldRetry() override { return false; }
  long long GetRetryTimeout() override { return -1; }
  /// The protocol version included.
  int GetTotalLength() override;
  void WriteBody(common_base::DataOutputStream* out) override;
  /// The protocol version included.
  void WriteHeader(common_base::DataOutputStream* out) override;

  long long cookie() const { return cookie_; }
  void set_cookie(long long cookie) { cookie_ = cookie; }
  const common_base::GString& client_version_text() const { return client_version_text_; }

  static common_base::GString BuildClientVersionText(const MuxConfig& config);

 private:
  long long cookie_ = 0;
  const MuxConfig* config_;
  common_base::GString client_version_text_;
};

}  // namespace common_kesu

#endif  // KESU_MUX_HEADER_REQUEST_H_
