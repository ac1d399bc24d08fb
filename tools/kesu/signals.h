#ifndef KESU_TOOL_SIGNALS_H_
#define KESU_TOOL_SIGNALS_H_

#include <functional>
#include <vector>

#include <glib.h>

namespace kesu_tool {

/// Takes SIGINT and SIGTERM while it lives, unless they are ignored, as a shell without job control
/// has it for what runs in the background.
class SignalWatch {
 public:
  /// `on_signal` is called with the signal, from the default main context.
  explicit SignalWatch(std::function<void(int)> on_signal);
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;
  ~SignalWatch();

 private:
  void Watch(int signal, GSourceFunc on_signal);
  template <int kSignal>
  static gboolean OnSignal(void* watch);

  const std::function<void(int)> on_signal_;
  std::vector<unsigned> sources_;
};

/// Ends the process as the signal ends any, so that a script's loop ends too. Where that is not
/// possible, yields the exit status that a shell would report.
int EndBySignal(int signal);

}  // namespace kesu_tool

#endif  // KESU_TOOL_SIGNALS_H_
