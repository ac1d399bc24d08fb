#ifndef HERE_RUN_H_
#define HERE_RUN_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include <gio/gio.h>

#include "here/glib_pointers.h"
#include "here/here.h"
#include "here/listener.h"

namespace kesu::here::detail {

/// One question to all sources, over a connection of its own. It keeps itself until it ends.
class Run final : public std::enable_shared_from_this<Run> {
 public:
  Run(const Options& options, std::function<void(const Sightings&)> callback);
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  void Start();
  void Cancel();
  bool is_pending() const { return callback_ != nullptr; }

 private:
  static void OnBus(GObject* source, GAsyncResult* result, void* asker);

  void AskForBus();
  void AskSources();
  void OnTold(Sightings told);
  void EndNow();
  void EndWithout(const GError& error);
  /// Lets go of everything; the run itself may be gone then.
  void Release();
  void Finish();

  const Options options_;
  std::function<void(const Sightings&)> callback_;
  std::shared_ptr<Run> self_;
  Timer start_;
  Timer deadline_;
  ObjectPointer<GCancellable> cancellable_{g_cancellable_new()};
  ObjectPointer<GDBusConnection> bus_;
  std::vector<std::shared_ptr<Listener>> listeners_;
  std::size_t told_ = 0;
  Sightings sightings_;
};

}  // namespace kesu::here::detail

#endif  // HERE_RUN_H_
