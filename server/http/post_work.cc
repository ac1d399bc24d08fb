#include "server/http/post_work.h"

#include <ctime>
#include <limits>
#include <span>
#include <utility>

namespace kesu_server {
namespace {

/// The CPU time that this worker has used.
std::int64_t CpuNanoseconds() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

PostWork::PostWork(Post post, Begin begin, unsigned max_cpu_ms, std::size_t enough, Done done)
    : post_(std::move(post)),
      begin_(std::move(begin)),
      cpu_left_ns_(max_cpu_ms == 0 ? std::numeric_limits<std::int64_t>::max() / 2
                                   : std::int64_t{max_cpu_ms} * 1'000'000),
      enough_(enough),
      done_(std::move(done)),
      blocks_(post_.requests.size()) {}

void PostWork::Step(const std::optional<Findings>& findings, Inquiry* inquiry) {
  const std::int64_t begin_ns = CpuNanoseconds();
  cpu_end_ns_ = begin_ns + cpu_left_ns_;
  for (Asking& asking : std::exchange(asking_, {})) {
    Found found;
    found.has_failed = !findings;
    if (findings) {
      found.stations =
          std::span(findings->stations).subspan(asking.keys, asking.end_of_keys - asking.keys);
      found.surroundings = std::span(findings->surroundings)
                               .subspan(asking.points, asking.end_of_points - asking.points);
    }
    GoOn(std::move(asking), found, inquiry);
  }
  while (next_ < blocks_.size() && inquiry->size() < enough_) {
    Asking asking;
    asking.request = next_++;
    GoOn(std::move(asking), {}, inquiry);
  }
  cpu_left_ns_ -= CpuNanoseconds() - begin_ns;
  if (inquiry->size() == 0) done_(post_, std::move(blocks_));
}

void PostWork::GoOn(Asking asking, const Found& found, Inquiry* inquiry) {
  const ServiceRequest& request = post_.requests[asking.request];
  std::optional<ServiceReply> reply;
  if (CpuNanoseconds() >= cpu_end_ns_) {
    reply = ServiceReply{kUnavailableStatus, {}};
  } else {
    if (!asking.inquirer) asking.inquirer = begin_(request);
    asking.keys = inquiry->keys.size();
    asking.points = inquiry->points.size();
    reply = asking.inquirer->GoOn(found, inquiry);
  }
  if (reply) {
    blocks_[asking.request] = {request.id, reply->status, std::move(reply->payload)};
    return;
  }
  asking.end_of_keys = inquiry->keys.size();
  asking.end_of_points = inquiry->points.size();
  asking_.push_back(std::move(asking));
}

}  // namespace kesu_server
