#include "kesu-client.h"

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "client/client.h"

#include "client_state.h"
#include "content.h"
#include "conversions.h"

struct _KesuClient {
  GObject parent_instance;
  kesu_glib::ClientState content;
};

G_DEFINE_FINAL_TYPE(KesuClient, kesu_client, G_TYPE_OBJECT)

namespace {

using kesu::Options;
using kesu_glib::kCounterProperties;
using std::chrono::milliseconds;

struct TextOption {
  const char* name;
  const char* description;
  std::string Options::*member;
};
constexpr TextOption kTextOptions[] = {
    {"server", "Scheme, host and perhaps port of the service", &Options::server},
    {"product", "Who asks: the name of the application", &Options::product},
    {"version", "Who asks: its version", &Options::version},
    {"platform", "Who asks: what it runs on", &Options::platform},
    {"locale", "The language and country of texts", &Options::locale},
    {"proxy", "URL of an HTTP proxy", &Options::proxy},
    {"ca-file", "PEM file of the authorities that certificates are checked against",
     &Options::ca_file},
};

struct TimeOption {
  const char* name;
  const char* description;
  milliseconds Options::*member;
  guint least_ms;
  guint most_ms;
};
constexpr guint kMinuteMs = 60'000;
constexpr guint kDayMs = 24 * 60 * kMinuteMs;
constexpr TimeOption kTimeOptions[] = {
    {"deadline", "Milliseconds that a call may take", &Options::deadline, 1, kDayMs},
    {"batch-wait", "Milliseconds that a request waits for others", &Options::batch_wait, 0,
     kMinuteMs},
    {"cache-lifetime", "Milliseconds that an answer is given again", &Options::cache_lifetime, 0,
     G_MAXUINT},
};

struct SwitchOption {
  const char* name;
  const char* description;
  bool Options::*member;
};
constexpr SwitchOption kSwitchOptions[] = {
    {"locate-single-access-point", "Whether to ask about one access point and nothing else",
     &Options::locate_single_access_point},
    {"pause-without-network", "Whether calls wait for a route to the server",
     &Options::pause_without_network},
    {"reconnect-on-network-change", "Whether connections end when the network changes",
     &Options::reconnect_on_network_change},
};

/// The numbers of properties: those of a table follow each other.
enum PropertyId : guint {
  kFirstText = 1,
  kFirstTime = kFirstText + std::size(kTextOptions),
  kFirstSwitch = kFirstTime + std::size(kTimeOptions),
  kReplyMemoryLimit = kFirstSwitch + std::size(kSwitchOptions),
  kCacheCapacity,
  kLogLevel,
  kTrace,
  kPlatformKey,
  kPaused,
  kLastLocation,
  kFirstCounter
};

/// The row of a table that begins with the property `first`, or null.
template <typename Table>
auto RowOf(const Table& table, guint first, guint id) -> decltype(std::data(table)) {
  return id >= first && id - first < std::size(table) ? std::data(table) + (id - first) : nullptr;
}

constexpr auto kOptionFlags =
    static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_CONSTRUCT_ONLY | G_PARAM_STATIC_STRINGS);
constexpr auto kChangingFlags =
    static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_EXPLICIT_NOTIFY | G_PARAM_STATIC_STRINGS);
constexpr auto kReadOnlyFlags = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);

/// One who asks for lines of the log or of the trace sees them.
void Print(std::string_view text) {
  while (text.ends_with('\n')) text.remove_suffix(1);
  if (text.empty()) return;
  g_log(G_LOG_DOMAIN, G_LOG_LEVEL_MESSAGE, "%.*s", static_cast<int>(text.size()), text.data());
}

std::string TextOf(const GValue* value) {
  const gchar* text = g_value_get_string(value);
  return text == nullptr ? "" : text;
}

/// True for one of those that are set at construction.
bool SetOption(Options* options, guint id, const GValue* value) {
  if (const auto* text = RowOf(kTextOptions, kFirstText, id)) {
    options->*text->member = TextOf(value);
  } else if (const auto* time = RowOf(kTimeOptions, kFirstTime, id)) {
    options->*time->member = milliseconds(g_value_get_uint(value));
  } else if (const auto* flag = RowOf(kSwitchOptions, kFirstSwitch, id)) {
    options->*flag->member = g_value_get_boolean(value) != FALSE;
  } else if (id == kReplyMemoryLimit) {
    options->reply_memory_limit = g_value_get_int64(value);
  } else if (id == kCacheCapacity) {
    options->cache_capacity = g_value_get_uint(value);
  } else if (id == kLogLevel) {
    const int level = g_value_get_enum(value);
    if (level == KESU_LOG_LEVEL_NONE) return true;
    options->log_level = static_cast<kesu::LogLevel>(level);
    options->log = Print;
  } else if (id == kTrace) {
    if (g_value_get_boolean(value) != FALSE) options->trace = Print;
  } else {
    return false;
  }
  return true;
}

bool GetOption(const Options& options, guint id, GValue* value) {
  if (const auto* text = RowOf(kTextOptions, kFirstText, id)) {
    g_value_set_string(value, (options.*text->member).c_str());
  } else if (const auto* time = RowOf(kTimeOptions, kFirstTime, id)) {
    g_value_set_uint(value, static_cast<guint>((options.*time->member).count()));
  } else if (const auto* flag = RowOf(kSwitchOptions, kFirstSwitch, id)) {
    g_value_set_boolean(value, options.*flag->member);
  } else if (id == kReplyMemoryLimit) {
    g_value_set_int64(value, options.reply_memory_limit);
  } else if (id == kCacheCapacity) {
    g_value_set_uint(value, static_cast<guint>(options.cache_capacity));
  } else if (id == kLogLevel) {
    g_value_set_enum(value, options.log ? static_cast<int>(options.log_level) : 0);
  } else if (id == kTrace) {
    g_value_set_boolean(value, options.trace != nullptr);
  } else {
    return false;
  }
  return true;
}

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  KesuClient* const self = KESU_CLIENT(object);
  if (SetOption(&self->content.options, id, value)) return;
  if (id == kPlatformKey) {
    kesu_client_set_platform_key(self, g_value_get_string(value));
  } else if (id == kPaused) {
    kesu_client_set_paused(self, g_value_get_boolean(value));
  } else {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  KesuClient* const self = KESU_CLIENT(object);
  if (GetOption(self->content.options, id, value)) return;
  if (id == kPlatformKey) {
    g_value_take_string(value, kesu_client_get_platform_key(self));
  } else if (id == kPaused) {
    g_value_set_boolean(value, kesu_client_get_paused(self));
  } else if (id == kLastLocation) {
    g_value_take_object(value, kesu_client_get_last_location(self));
  } else if (const auto* counter = RowOf(kCounterProperties, kFirstCounter, id)) {
    const auto client = self->content.client();
    g_value_set_uint64(value, client == nullptr ? 0 : counter->read(client->counters()));
  } else {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void Construct(GObject* object) {
  G_OBJECT_CLASS(kesu_client_parent_class)->constructed(object);
  KESU_CLIENT(object)->content.Open();
}

void Dispose(GObject* object) {
  KESU_CLIENT(object)->content.Close();
  G_OBJECT_CLASS(kesu_client_parent_class)->dispose(object);
}

void Finalize(GObject* object) {
  kesu_glib::DestroyContent<KesuClient>(object);
  G_OBJECT_CLASS(kesu_client_parent_class)->finalize(object);
}

void InstallOptions(GObjectClass* type) {
  const Options defaults;
  for (guint i = 0; i < std::size(kTextOptions); ++i) {
    const TextOption& row = kTextOptions[i];
    const char* value = g_intern_string((defaults.*row.member).c_str());
    g_object_class_install_property(
        type, kFirstText + i,
        g_param_spec_string(row.name, nullptr, row.description, value, kOptionFlags));
  }
  for (guint i = 0; i < std::size(kTimeOptions); ++i) {
    const TimeOption& row = kTimeOptions[i];
    const auto value = static_cast<guint>((defaults.*row.member).count());
    g_object_class_install_property(
        type, kFirstTime + i,
        g_param_spec_uint(row.name, nullptr, row.description, row.least_ms, row.most_ms, value,
                          kOptionFlags));
  }
  for (guint i = 0; i < std::size(kSwitchOptions); ++i) {
    const SwitchOption& row = kSwitchOptions[i];
    g_object_class_install_property(type, kFirstSwitch + i,
                                    g_param_spec_boolean(row.name, nullptr, row.description,
                                                         defaults.*row.member, kOptionFlags));
  }
  g_object_class_install_property(
      type, kReplyMemoryLimit,
      g_param_spec_int64("reply-memory-limit", nullptr, "Bytes that reading one reply may take", 1,
                         G_MAXINT64, defaults.reply_memory_limit, kOptionFlags));
  g_object_class_install_property(
      type, kCacheCapacity,
      g_param_spec_uint("cache-capacity", nullptr, "The most answers that are kept", 0, G_MAXUINT,
                        static_cast<guint>(defaults.cache_capacity), kOptionFlags));
  g_object_class_install_property(
      type, kLogLevel,
      g_param_spec_enum("log-level", nullptr, "The lines of the log to write", KESU_TYPE_LOG_LEVEL,
                        KESU_LOG_LEVEL_NONE, kOptionFlags));
  g_object_class_install_property(
      type, kTrace,
      g_param_spec_boolean("trace", nullptr, "Whether to write what the transport does", FALSE,
                           kOptionFlags));
}

void InstallState(GObjectClass* type) {
  g_object_class_install_property(
      type, kPlatformKey,
      g_param_spec_string("platform-key", nullptr, "What tells this installation from others", "",
                          kChangingFlags));
  g_object_class_install_property(
      type, kPaused,
      g_param_spec_boolean("paused", nullptr, "Whether new calls are kept back", FALSE,
                           kChangingFlags));
  g_object_class_install_property(
      type, kLastLocation,
      g_param_spec_object("last-location", nullptr, "The last answer to a lookup",
                          KESU_TYPE_LOCATION, kReadOnlyFlags));
  for (guint i = 0; i < kCounterProperties.size(); ++i) {
    const kesu_glib::CounterProperty& row = kCounterProperties[i];
    g_object_class_install_property(
        type, kFirstCounter + i,
        g_param_spec_uint64(row.name, nullptr, row.description, 0, G_MAXUINT64, 0, kReadOnlyFlags));
  }
}

}  // namespace

static void kesu_client_init(KesuClient* self) {
  kesu_glib::ConstructContent(self);
}

static void kesu_client_class_init(KesuClientClass* klass) {
  GObjectClass* const type = G_OBJECT_CLASS(klass);
  type->set_property = SetProperty;
  type->get_property = GetProperty;
  type->constructed = Construct;
  type->dispose = Dispose;
  type->finalize = Finalize;
  InstallOptions(type);
  InstallState(type);
}

KesuClient* kesu_client_new(const gchar* server) {
  g_return_val_if_fail(server != nullptr, nullptr);
  return KESU_CLIENT(g_object_new(KESU_TYPE_CLIENT, "server", server, nullptr));
}

GError* kesu_client_get_error(KesuClient* self) {
  g_return_val_if_fail(KESU_IS_CLIENT(self), nullptr);
  const auto client = self->content.client();
  if (client == nullptr) return kesu_glib::NewError(kesu_glib::ClosedError());
  return client->error() ? kesu_glib::NewError(*client->error()) : nullptr;
}

void kesu_client_set_paused(KesuClient* self, gboolean paused) {
  g_return_if_fail(KESU_IS_CLIENT(self));
  if (self->content.is_paused() == (paused != FALSE)) return;
  self->content.set_paused(paused != FALSE);
  g_object_notify(G_OBJECT(self), "paused");
}

gboolean kesu_client_get_paused(KesuClient* self) {
  g_return_val_if_fail(KESU_IS_CLIENT(self), FALSE);
  return self->content.is_paused();
}

void kesu_client_set_platform_key(KesuClient* self, const gchar* platform_key) {
  g_return_if_fail(KESU_IS_CLIENT(self));
  self->content.set_platform_key(platform_key == nullptr ? "" : platform_key);
  self->content.NotifySoon(self);
}

gchar* kesu_client_get_platform_key(KesuClient* self) {
  g_return_val_if_fail(KESU_IS_CLIENT(self), nullptr);
  return g_strdup(self->content.platform_key().c_str());
}

KesuLocation* kesu_client_get_last_location(KesuClient* self) {
  g_return_val_if_fail(KESU_IS_CLIENT(self), nullptr);
  return self->content.last_location().release();
}

gint64 kesu_client_get_last_location_age(KesuClient* self) {
  g_return_val_if_fail(KESU_IS_CLIENT(self), KESU_UNKNOWN);
  const auto client = self->content.client();
  const auto last = client == nullptr ? std::nullopt : client->last_location();
  return last ? last->age.count() : KESU_UNKNOWN;
}

guint64 kesu_client_get_failures(KesuClient* self, KesuError kind) {
  g_return_val_if_fail(KESU_IS_CLIENT(self), 0);
  const kesu::ErrorKind kind_of_code = kesu_glib::KindOf(kind);
  g_return_val_if_fail(kind_of_code != kesu::ErrorKind::kNone, 0);
  const auto client = self->content.client();
  return client == nullptr ? 0 : client->counters().outcome(kind_of_code);
}

namespace kesu_glib {

ClientState& StateOf(KesuClient* client) {
  return client->content;
}

}  // namespace kesu_glib
