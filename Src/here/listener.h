#ifndef HERE_LISTENER_H_
#define HERE_LISTENER_H_

#include <functional>
#include <string>
#include <utility>

#include <gio/gio.h>

#include "here/faults.h"
#include "here/glib_pointers.h"
#include "here/here.h"

namespace kesu::here::detail {

/// Asks one source, and tells once what came of it. To be used with the default main context owned
/// and the thread's own default. When it goes, it has never asked.
class Listener {
 public:
  using Told = std::function<void(Sightings)>;

  Listener(Source source, const Options& options, Told told)
      : source_(source), options_(options), told_(std::move(told)) {}
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  virtual ~Listener() { g_cancellable_cancel(cancellable_.get()); }

  virtual void Start(GDBusConnection* bus) = 0;
  /// Tells what there is by now, unless it has told.
  virtual void EndNow() = 0;

 protected:
  const Options& options() const { return options_; }
  GCancellable* cancellable() const { return cancellable_.get(); }

  /// The listener may be gone afterwards.
  void Tell(Sightings sightings) {
    if (told_) std::exchange(told_, nullptr)(std::move(sightings));
  }
  void TellMissing(Missing missing) { Tell({{}, {std::move(missing)}}); }
  void TellMissing(Fault fault, std::string message) {
    TellMissing({source_, fault, std::move(message)});
  }
  void TellMissing(const GError& error) { TellMissing(MissingAfter(source_, error)); }
  void TellNoDaemon() {
    TellMissing(Fault::kNoDaemon, std::string(DaemonName(source_)) + " does not run");
  }
  void TellTimedOut() {
    TellMissing(Fault::kTimedOut, std::string(DaemonName(source_)) + " did not answer in time");
  }

 private:
  const Source source_;
  const Options options_;
  Told told_;
  const ObjectPointer<GCancellable> cancellable_{g_cancellable_new()};
};

}  // namespace kesu::here::detail

#endif  // HERE_LISTENER_H_
