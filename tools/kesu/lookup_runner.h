#ifndef KESU_TOOL_LOOKUP_RUNNER_H_
#define KESU_TOOL_LOOKUP_RUNNER_H_

#include <memory>
#include <span>

#include <glib.h>

#include "tools/kesu/lookup.h"

namespace kesu_tool {

/// Runs lookups on GLib's default main context until all have ended, the time is up, or SIGINT or
/// SIGTERM arrives, unless it is ignored. Used once.
class LookupRunner {
 public:
  LookupRunner();
  LookupRunner(const LookupRunner&) = delete;
  LookupRunner& operator=(const LookupRunner&) = delete;
  ~LookupRunner();

  /// Submits all lookups together. Those that have not ended when it returns must be deleted before
  /// this runner is. The result is the signal that ended the run, 0 if none did.
  int Run(std::span<const std::unique_ptr<Lookup>> lookups, int timeout_ms);

 private:
  void OnLookupEnded();
  static gboolean OnTimeout(void* runner);
  template <int kSignal>
  static gboolean OnSignal(void* runner);

  GMainLoop* loop_;
  int running_ = 0;
  int signal_ = 0;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_LOOKUP_RUNNER_H_
