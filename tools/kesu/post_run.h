#ifndef KESU_TOOL_POST_RUN_H_
#define KESU_TOOL_POST_RUN_H_

#include <string>

#include <glib.h>

#include "kesu/common/base/request_interface.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/http_request_factory.h"

namespace kesu_tool {

/// One POST to the service, on GLib's default main context. Used once.
class PostRun : private common_base::RequesterInterface {
 public:
  /// The factory and the bytes of the body are borrowed.
  PostRun(HttpRequestFactory* factory, const common_base::ByteView& body);
  PostRun(const PostRun&) = delete;
  PostRun& operator=(const PostRun&) = delete;
  ~PostRun() override;

  /// Returns when there is a reply, or will be none.
  void Run();

  /// 0 when there was no reply.
  int http_status() const { return post_ == nullptr ? 0 : post_->HttpResponseStatusCode(); }
  common_kesu::TransportError transport_error() const;
  /// The body.
  std::string reply() const { return {reply_.begin(), reply_.end()}; }

 private:
  void OnRequestComplete(common_base::RequestInterface*) override { g_main_loop_quit(loop_); }
  void OnRequestFailed(common_base::RequestInterface*) override { g_main_loop_quit(loop_); }

  GMainLoop* loop_;
  common_base::ByteView body_;
  common_base::ByteVector reply_;
  HttpRequestFactory::StatusInfo status_info_;
  /// Released by its Cancel().
  HttpRequestInterface* post_;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_POST_RUN_H_
