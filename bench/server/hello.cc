// What libmicrohttpd costs by itself: a server with one thread that answers every request with five
// letters.
#include <cstdio>

#include <microhttpd.h>
#include <netinet/in.h>

namespace {

MHD_Result Answer(void*, MHD_Connection* connection, const char*, const char*, const char*,
                  const char*, std::size_t*, void** seen) {
  static char begun = 0;
  if (*seen == nullptr) {
    *seen = &begun;
    return MHD_YES;
  }
  static char text[] = "hello";
  MHD_Response* const response =
      MHD_create_response_from_buffer(sizeof text - 1, text, MHD_RESPMEM_PERSISTENT);
  const MHD_Result result = MHD_queue_response(connection, MHD_HTTP_OK, response);
  MHD_destroy_response(response);
  return result;
}

}  // namespace

int main() {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  MHD_Daemon* const daemon =
      MHD_start_daemon(MHD_USE_EPOLL, 0, nullptr, nullptr, Answer, nullptr, MHD_OPTION_SOCK_ADDR,
                       reinterpret_cast<sockaddr*>(&address), MHD_OPTION_END);
  if (daemon == nullptr) return 1;
  std::printf("listening on http://127.0.0.1:%d\n",
              MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT)->port);
  std::fflush(stdout);
  while (MHD_run_wait(daemon, -1) == MHD_YES) {
  }
  return 1;
}
