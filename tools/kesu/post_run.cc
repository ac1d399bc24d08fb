#include "tools/kesu/post_run.h"

#include "client/text.h"
#include "dovi/deployment_settings.h"

namespace kesu_tool {

using kesu::detail::ViewOf;

PostRun::PostRun(HttpRequestFactory* factory, const common_base::ByteView& body)
    : loop_(g_main_loop_new(nullptr, FALSE)), body_(body) {
  char url[kDoviUrlBufferSize];
  WriteDoviServiceUrl(url);
  post_ = factory->NewHttpPostRequest(url, &body_, &reply_, &status_info_);
}

PostRun::~PostRun() {
  if (post_ != nullptr) post_->Cancel();
  g_main_loop_unref(loop_);
}

void PostRun::Run() {
  if (post_ == nullptr) return;
  post_->SetHttpRequestHeader(ViewOf("Content-Type"), ViewOf("application/binary"));
  if (post_->Start(this) == 0) g_main_loop_run(loop_);
}

common_kesu::TransportError PostRun::transport_error() const {
  if (post_ != nullptr) return post_->last_transport_error();
  return {common_kesu::TransportErrorKind::kNotStarted, "the transport made no request"};
}

}  // namespace kesu_tool
