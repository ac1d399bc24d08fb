#ifndef CLIENT_MAIN_LOOP_H_
#define CLIENT_MAIN_LOOP_H_

#include <chrono>
#include <functional>
#include <memory>

namespace kesu {

/// GLib's main loop on the default main context, for programs that have no other.
class MainLoop {
 public:
  MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;
  /// What was to be done later is not done any more.
  ~MainLoop();

  /// Until Quit(); at once where another thread runs that context. May be called from inside a
  /// callback of the loop.
  void Run();
  /// Ends the innermost Run(), or the next one where none is. From any thread.
  void Quit();

  /// Call `action` from the loop: again and again, the first time after one `interval`, or whenever
  /// the process is interrupted (SIGINT) in place of ending it. It must not throw.
  void Every(std::chrono::milliseconds interval, std::function<void()> action);
  void OnInterrupt(std::function<void()> action);

 private:
  class Implementation;

  std::unique_ptr<Implementation> implementation_;
};

}  // namespace kesu

#endif  // CLIENT_MAIN_LOOP_H_
