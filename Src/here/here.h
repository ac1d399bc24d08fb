#ifndef HERE_HERE_H_
#define HERE_HERE_H_

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "client/observation.h"

/// What the device itself hears, told by the daemons that listen: a library of its own, kesu-here.
namespace kesu::here {

namespace detail {
class Run;
}  // namespace detail

/// Who tells what is heard, over the system's D-Bus.
enum class Source {
  /// Access points.
  kNetworkManager,
  /// The cell that serves each modem, and its fix where it has one.
  kModemManager,
};

/// Why a source has told nothing.
enum class Fault {
  /// There is no system bus.
  kNoBus,
  /// The daemon does not run. It is not started.
  kNoDaemon,
  /// There is no wifi device, or no modem.
  kNoDevice,
  /// Its radio is switched off; for a modem also: it is disabled, or waits for a PIN.
  kSwitchedOff,
  /// This user may not ask.
  kNoPermission,
  /// No access point is in range, or the modem tells of no cell.
  kNothingHeard,
  kTimedOut,
  /// The daemon, or the device, failed in another way.
  kFailed,
};

/// A name for programs, in lower case with hyphens: "no-daemon".
const char* FaultName(Fault fault);

/// A source that has told nothing.
struct Missing {
  Source source = {};
  Fault fault = {};
  /// One sentence for people, in English, without a full stop.
  std::string message = {};
};

struct Sightings {
  /// What all sources have told together, each with its age. It may be empty. Names of access
  /// points are in it, to be heeded before any of it is told to others: kesu::Client does.
  Observation observation = {};
  /// The sources that are not in it, so all of them where it is empty.
  std::vector<Missing> missing = {};
};

struct Options {
  /// Within it, what is there is told: at least a millisecond, at most a day.
  std::chrono::milliseconds deadline = std::chrono::seconds(15);
  /// A wifi device that has scanned within this time is not asked to scan again. Below 10 s it
  /// means 10 s, the pause that NetworkManager itself keeps.
  std::chrono::milliseconds scan_interval = std::chrono::seconds(30);
  /// What was heard longer ago is left out.
  std::chrono::milliseconds max_age = std::chrono::minutes(2);
};

/// A question under way. It is cancelled when this goes: keep it as long as the answer is wanted.
class [[nodiscard]] Call {
 public:
  /// None.
  Call();
  Call(Call&& other) noexcept;
  Call& operator=(Call&& other) noexcept;
  ~Call();

  /// After it, the callback is neither called any more nor kept. Harmless at any time, from inside
  /// the callback too.
  void Cancel();
  /// Lets the question go on by itself to its answer.
  void Detach();
  /// Whether the callback is still to be called.
  bool is_pending() const;

 private:
  friend Call Observe(const Options& options, std::function<void(const Sightings&)> callback);

  explicit Call(std::shared_ptr<detail::Run> run);

  std::shared_ptr<detail::Run> run_;
};

/// What is heard here and now? Wifi devices are asked to scan where that was long ago, and waited
/// for. Nothing else is asked of a device: modems and their satellite receivers stay as they are.
///
/// `callback` is called exactly once, later, from GLib's default main context, when the deadline
/// has passed at the latest. It must not throw; that ends the process. Nothing blocks. To be used
/// on the thread that runs that context, as calls are.
Call Observe(const Options& options, std::function<void(const Sightings&)> callback);

}  // namespace kesu::here

#endif  // HERE_HERE_H_
