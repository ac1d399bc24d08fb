#ifndef KESU_CLIENT_H_
#define KESU_CLIENT_H_

#include <gio/gio.h>

#include "kesu-error.h"
#include "kesu-observation.h"
#include "kesu-place.h"
#include "kesu-point.h"

G_BEGIN_DECLS

/**
 * KesuClient:
 *
 * Where am I, and what is there: a location service behind one object.
 *
 * ```c
 * g_autoptr(KesuClient) client = kesu_client_new("https://location.example");
 * g_autoptr(KesuObservation) seen = kesu_observation_new();
 * kesu_observation_add_cell(seen, 1, 1, 1, 1001, -71);
 * kesu_client_locate_async(client, seen, NULL, on_located, NULL);
 * ```
 *
 * Each call is asked of the service at most once more by itself, and has exactly one outcome: the
 * answer, an error of [error@Kesu.Error], or %G_IO_ERROR_CANCELLED. It comes when the
 * [property@Kesu.Client:deadline] has passed at the latest.
 *
 * ## Threads
 *
 * Any thread may make, use and let go of a client. The work is done on GLib's default main context,
 * which some thread has to run. The callback of a call is called on the main context that was the
 * default of the calling thread when the call was made.
 *
 * The synchronous forms are for scripts and for worker threads. Where another thread runs the
 * default main context, they wait for it; where none does, they run it themselves until the answer
 * is there, with all that the application has attached to it, so what is made for one thread should
 * not be attached before that thread runs it. On the thread that runs it they are a main loop
 * within the main loop.
 *
 * Signals are emitted on the main context that was the default of the thread that made the client.
 * Counters are notified when calls begin and end, for what has changed meanwhile.
 *
 * ## Several clients
 *
 * The clients of a process share connections and counters, and have to agree on the options that
 * say so. Where one does not, [method@Kesu.Client.get_error] tells it, and each of its calls fails.
 */
#define KESU_TYPE_CLIENT (kesu_client_get_type())
G_DECLARE_FINAL_TYPE(KesuClient, kesu_client, KESU, CLIENT, GObject)

/**
 * KesuClient:server:
 *
 * Scheme, http or https, host and perhaps port: "https://location.example:8443". The same for all
 * clients of the process.
 */

/**
 * KesuClient:product:
 *
 * Who asks: the name of the application. The same for all clients of the process.
 */

/**
 * KesuClient:version:
 *
 * Who asks: its version. The same for all clients of the process.
 */

/**
 * KesuClient:platform:
 *
 * Who asks: what it runs on. The same for all clients of the process.
 */

/**
 * KesuClient:locale:
 *
 * The language and country that texts are wanted in. The same for all clients of the process.
 */

/**
 * KesuClient:proxy:
 *
 * "http://proxy.example:3128", say. The environment is never asked. The same for all clients of
 * the process.
 */

/**
 * KesuClient:ca-file:
 *
 * A PEM file of the authorities that certificates are checked against; empty for those of the
 * system. The same for all clients of the process.
 */

/**
 * KesuClient:deadline:
 *
 * Milliseconds for a call as a whole, whatever is tried again meanwhile.
 */

/**
 * KesuClient:batch-wait:
 *
 * A request leaves so many milliseconds after the last one that came with it, and ten times as
 * long after the first at the latest. With 0, those of one iteration of the main loop leave
 * together. The same for all clients of the process.
 */

/**
 * KesuClient:cache-lifetime:
 *
 * Milliseconds that an answer is kept for, and given again to the very same question; 0 keeps
 * none.
 */

/**
 * KesuClient:cache-capacity:
 *
 * The most answers that are kept. The oldest give way.
 */

/**
 * KesuClient:locate-single-access-point:
 *
 * Whether a lookup is made that tells of one access point and nothing else. Its answer would tell
 * where somebody's access point is to whoever knows its address.
 */

/**
 * KesuClient:pause-without-network:
 *
 * Whether calls wait while there is no route to the server. Never for a server on this machine.
 * The same for all clients of the process.
 */

/**
 * KesuClient:reconnect-on-network-change:
 *
 * Whether connections from before are not used any more when the network changes. The same for
 * all clients of the process.
 */

/**
 * KesuClient:reply-memory-limit:
 *
 * Bytes that reading one reply may take, beyond which it is malformed. The same for all clients
 * of the process.
 */

/**
 * KesuClient:log-level:
 *
 * Which lines of the log are written, as messages of GLib's log with the domain Kesu. A handler
 * of such messages must not call the library.
 */

/**
 * KesuClient:trace:
 *
 * Whether what the transport does is written, likewise.
 */

/**
 * KesuClient:platform-key:
 *
 * What the service has issued to tell this installation from others, see
 * [method@Kesu.Client.get_platform_key]. It goes with every lookup.
 */

/**
 * KesuClient:paused:
 *
 * Whether new calls are kept back. Their deadlines do not wait.
 */

/**
 * KesuClient:last-location:
 *
 * The last answer to a lookup, those from the cache not counted.
 */

/**
 * KesuClient:calls:
 *
 * How many calls the clients of the process have made together, since the first of them was made,
 * while there was always one.
 */

/**
 * KesuClient:successes:
 *
 * How many calls were answered. A list of points is when one of them is.
 */

/**
 * KesuClient:cancellations:
 *
 * How many calls were cancelled.
 */

/**
 * KesuClient:cache-hits:
 *
 * How many questions were answered from the cache.
 */

/**
 * KesuClient:requests:
 *
 * How many requests were made: mostly one for each call.
 */

/**
 * KesuClient:retries:
 *
 * How often a request was sent again.
 */

/**
 * KesuClient:waiting:
 *
 * Requests that wait at this moment, for a batch or for another attempt.
 */

/**
 * KesuClient:in-flight:
 *
 * Requests that are in a POST at this moment.
 */

/**
 * KesuClient:posts:
 *
 * How many POSTs were made.
 */

/**
 * KesuClient:bytes-out:
 *
 * Bytes of the bodies sent.
 */

/**
 * KesuClient:bytes-in:
 *
 * Bytes of the bodies received.
 */

/**
 * kesu_client_new:
 * @server: scheme, host and perhaps port: "https://location.example:8443"
 *
 * Returns: (transfer full): a client with the usual options
 */
KesuClient* kesu_client_new(const gchar* server);

/**
 * kesu_client_get_error:
 * @self: a client
 *
 * Why this client cannot work: options that make no sense, or contradict those of another client.
 * Each of its calls ends with this error then.
 *
 * Returns: (transfer full) (nullable): %NULL where it can
 */
GError* kesu_client_get_error(KesuClient* self);

/**
 * kesu_client_locate_async:
 * @self: a client
 * @observation: what is observed; later changes do not matter
 * @cancellable: (nullable): cancels the call
 * @callback: (nullable) (scope async) (closure user_data): told of the outcome
 * @user_data: for @callback
 *
 * Where is it that this is observed?
 */
void kesu_client_locate_async(KesuClient* self, KesuObservation* observation,
                              GCancellable* cancellable, GAsyncReadyCallback callback,
                              gpointer user_data);

/**
 * kesu_client_locate_finish:
 * @self: a client
 * @result: what the callback was given
 * @error: why there is no answer
 *
 * Returns: (transfer full): where; %NULL with an error
 */
KesuLocation* kesu_client_locate_finish(KesuClient* self, GAsyncResult* result, GError** error);

/**
 * kesu_client_locate:
 * @self: a client
 * @observation: what is observed
 * @cancellable: (nullable): cancels the call, from another thread say
 * @error: why there is no answer
 *
 * Waits for the outcome of [method@Kesu.Client.locate_async].
 *
 * Returns: (transfer full): where; %NULL with an error
 */
KesuLocation* kesu_client_locate(KesuClient* self, KesuObservation* observation,
                                 GCancellable* cancellable, GError** error);

/**
 * kesu_client_reverse_async:
 * @self: a client
 * @latitude: degrees, WGS 84, north positive
 * @longitude: degrees, east positive
 * @cancellable: (nullable): cancels the call
 * @callback: (nullable) (scope async) (closure user_data): told of the outcome
 * @user_data: for @callback
 *
 * What is at this point?
 */
void kesu_client_reverse_async(KesuClient* self, gdouble latitude, gdouble longitude,
                               GCancellable* cancellable, GAsyncReadyCallback callback,
                               gpointer user_data);

/**
 * kesu_client_reverse_finish:
 * @self: a client
 * @result: what the callback was given
 * @error: why there is no answer
 *
 * Returns: (transfer full): what is there; %NULL with an error
 */
KesuPlace* kesu_client_reverse_finish(KesuClient* self, GAsyncResult* result, GError** error);

/**
 * kesu_client_reverse:
 * @self: a client
 * @latitude: degrees, WGS 84, north positive
 * @longitude: degrees, east positive
 * @cancellable: (nullable): cancels the call, from another thread say
 * @error: why there is no answer
 *
 * Waits for the outcome of [method@Kesu.Client.reverse_async].
 *
 * Returns: (transfer full): what is there; %NULL with an error
 */
KesuPlace* kesu_client_reverse(KesuClient* self, gdouble latitude, gdouble longitude,
                               GCancellable* cancellable, GError** error);

/**
 * kesu_client_reverse_many_async:
 * @self: a client
 * @points: (array length=n_points) (nullable): points
 * @n_points: how many
 * @cancellable: (nullable): cancels the call
 * @callback: (nullable) (scope async) (closure user_data): told of the outcome
 * @user_data: for @callback
 *
 * What is at each of these points? They travel together.
 */
void kesu_client_reverse_many_async(KesuClient* self, KesuPoint** points, gsize n_points,
                                    GCancellable* cancellable, GAsyncReadyCallback callback,
                                    gpointer user_data);

/**
 * kesu_client_reverse_many_finish:
 * @self: a client
 * @result: what the callback was given
 * @error: why there are no answers
 *
 * Fails where the service answered for none of the points. Otherwise those without an answer, and
 * those where nothing is, say so: [method@Kesu.Place.get_error].
 *
 * Returns: (transfer container) (element-type KesuPlace): a place for each point, in their order;
 *   %NULL with an error
 */
GPtrArray* kesu_client_reverse_many_finish(KesuClient* self, GAsyncResult* result, GError** error);

/**
 * kesu_client_reverse_many:
 * @self: a client
 * @points: (array length=n_points) (nullable): points
 * @n_points: how many
 * @cancellable: (nullable): cancels the call, from another thread say
 * @error: why there are no answers
 *
 * Waits for the outcome of [method@Kesu.Client.reverse_many_async].
 *
 * Returns: (transfer container) (element-type KesuPlace): a place for each point, in their order;
 *   %NULL with an error
 */
GPtrArray* kesu_client_reverse_many(KesuClient* self, KesuPoint** points, gsize n_points,
                                    GCancellable* cancellable, GError** error);

/**
 * kesu_client_set_paused:
 * @self: a client
 * @paused: whether to keep back new calls
 *
 * Keeps new calls back, or lets them go. Their deadlines do not wait.
 */
void kesu_client_set_paused(KesuClient* self, gboolean paused);

/**
 * kesu_client_get_paused:
 * @self: a client
 *
 * Returns: whether new calls are kept back
 */
gboolean kesu_client_get_paused(KesuClient* self);

/**
 * kesu_client_set_platform_key:
 * @self: a client
 * @platform_key: (nullable): the key, or %NULL for none
 *
 * Sets what goes with every lookup from now on.
 */
void kesu_client_set_platform_key(KesuClient* self, const gchar* platform_key);

/**
 * kesu_client_get_platform_key:
 * @self: a client
 *
 * What the service has issued to tell this installation from others, to be stored by the
 * application and given back to its next client.
 *
 * Returns: (transfer full): the key, empty at first
 */
gchar* kesu_client_get_platform_key(KesuClient* self);

/**
 * kesu_client_get_last_location:
 * @self: a client
 *
 * Returns: (transfer full) (nullable): the last answer to a lookup, those from the cache not
 *   counted; %NULL where there was none
 */
KesuLocation* kesu_client_get_last_location(KesuClient* self);

/**
 * kesu_client_get_last_location_age:
 * @self: a client
 *
 * Returns: milliseconds since the last answer to a lookup came, or %KESU_UNKNOWN
 */
gint64 kesu_client_get_last_location_age(KesuClient* self);

/**
 * kesu_client_get_failures:
 * @self: a client
 * @kind: why
 *
 * Returns: how many calls of all clients have failed like that
 */
guint64 kesu_client_get_failures(KesuClient* self, KesuError kind);

G_END_DECLS

#endif  // KESU_CLIENT_H_
