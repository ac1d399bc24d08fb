#ifndef SERVER_HTTP_POST_WORK_H_
#define SERVER_HTTP_POST_WORK_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "server/protocol/post_reader.h"
#include "server/protocol/reply_writer.h"
#include "server/protocol/service_reply.h"
#include "server/storage/inquirer.h"

namespace kesu_server {

/// The requests of one POST on their way through their services. What they ask the storage goes
/// there together.
class PostWork {
 public:
  using Begin =
      std::function<std::unique_ptr<Inquirer<ServiceReply>>(const ServiceRequest& request)>;
  /// Gets the answers to all requests of the POST, in their order.
  using Done = std::function<void(const Post& post, std::vector<ReplyBlock> blocks)>;

  /// Past `max_cpu_ms` of CPU time what is left is answered with status 503; 0 for any. An inquiry
  /// of `enough` entries is not made larger.
  PostWork(Post post, Begin begin, unsigned max_cpu_ms, std::size_t enough, Done done);

  /// A step of a dialogue.
  void Step(const std::optional<Findings>& findings, Inquiry* inquiry);

 private:
  /// A request that has asked the storage.
  struct Asking {
    std::size_t request = 0;
    std::unique_ptr<Inquirer<ServiceReply>> inquirer;
    /// Where its entries stand in the inquiry.
    std::size_t keys = 0, end_of_keys = 0, points = 0, end_of_points = 0;
  };

  void GoOn(Asking asking, const Found& found, Inquiry* inquiry);

  Post post_;
  Begin begin_;
  std::int64_t cpu_left_ns_;
  std::size_t enough_;
  Done done_;
  std::int64_t cpu_end_ns_ = 0;
  std::size_t next_ = 0;
  std::vector<Asking> asking_;
  std::vector<ReplyBlock> blocks_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_POST_WORK_H_
