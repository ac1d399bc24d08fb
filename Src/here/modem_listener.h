#ifndef HERE_MODEM_LISTENER_H_
#define HERE_MODEM_LISTENER_H_

#include <cstddef>
#include <memory>
#include <optional>

#include <libmm-glib.h>

#include "here/listener.h"

namespace kesu::here::detail {

/// The cells and fixes of the modems of ModemManager, as they are.
class ModemListener final : public Listener, public std::enable_shared_from_this<ModemListener> {
 public:
  ModemListener(const Options& options, Told told)
      : Listener(Source::kModemManager, options, std::move(told)) {}

  void Start(GDBusConnection* bus) override;
  void EndNow() override;

 private:
  static void OnManager(GObject* source, GAsyncResult* result, void* asker);
  static void OnLocation(GObject* location, GAsyncResult* result, void* asker);

  void Listen();
  void Ask(MMObject* object);
  void AddLocation(MMObject* modem, GVariant* location);
  void AddFix(GVariant* position);
  /// Of the first modem that told nothing.
  void Explain(Missing missing);
  void Explain(Fault fault, const char* message);
  void TellAll();

  ObjectPointer<MMManager> manager_;
  std::size_t questions_ = 0;
  Sightings sightings_;
  std::optional<Missing> reason_;
};

}  // namespace kesu::here::detail

#endif  // HERE_MODEM_LISTENER_H_
