/* KesuClient as programs in C see it, against a kesu-server. KESU_TEST_SEED replays the random
 * part. */

#include <kesu-glib.h>

#define PATIENCE_US (60 * G_USEC_PER_SEC)

static const gchar* server_url;

/* A server that takes connections and never answers. */
static GSocketListener* silent_listener;
static gchar* silent_url;

static KesuClient* new_client(void) {
  return g_object_new(KESU_TYPE_CLIENT, "server", server_url, "batch-wait", 1, NULL);
}

static KesuClient* new_silent_client(guint deadline_ms) {
  return g_object_new(KESU_TYPE_CLIENT, "server", silent_url, "batch-wait", 0, "deadline",
                      deadline_ms, NULL);
}

/* What the server's data places in Lisbon. */
static KesuObservation* seen(void) {
  KesuObservation* observation = kesu_observation_new();
  kesu_observation_add_cell(observation, 1, 1, 1, 1001, -71);
  kesu_observation_add_access_point(observation, "00-00-5E-00-53-01", -60, NULL);
  return observation;
}

static void iterate_until(const gint* count, gint wanted) {
  const gint64 end = g_get_monotonic_time() + PATIENCE_US;
  GMainContext* context = g_main_context_get_thread_default();
  while (g_atomic_int_get(count) < wanted) {
    g_assert_cmpint(g_get_monotonic_time(), <, end);
    if (!g_main_context_iteration(context, FALSE)) g_usleep(200);
  }
}

/* For those who would be told of a call a second time. */
static void iterate_a_while(void) {
  for (int i = 0; i < 20; ++i) {
    while (g_main_context_iteration(g_main_context_get_thread_default(), FALSE)) {
    }
    g_usleep(500);
  }
}

/* Outcomes of calls that one thread has made. */
typedef struct {
  GThread* thread;
  gint count;
  gint successes;
  GError* error; /* The last one. */
} Outcomes;

static void outcomes_init(Outcomes* outcomes) {
  *outcomes = (Outcomes){.thread = g_thread_self()};
}

static void count_outcome(Outcomes* outcomes, gboolean is_success, GError* error) {
  g_assert_true(outcomes->thread == g_thread_self());
  g_assert_true(is_success == (error == NULL));
  outcomes->successes += is_success;
  g_clear_error(&outcomes->error);
  outcomes->error = error;
  ++outcomes->count;
}

static void on_located(GObject* client, GAsyncResult* result, gpointer outcomes) {
  GError* error = NULL;
  g_autoptr(KesuLocation) where = kesu_client_locate_finish(KESU_CLIENT(client), result, &error);
  if (where != NULL) g_assert_cmpfloat_with_epsilon(kesu_location_get_latitude(where), 38.7, 0.1);
  count_outcome(outcomes, where != NULL, error);
}

static void on_place(GObject* client, GAsyncResult* result, gpointer outcomes) {
  GError* error = NULL;
  g_autoptr(KesuPlace) place = kesu_client_reverse_finish(KESU_CLIENT(client), result, &error);
  if (place != NULL) g_assert_cmpstr(kesu_place_get_name(place), !=, "");
  count_outcome(outcomes, place != NULL, error);
}

static void on_places(GObject* client, GAsyncResult* result, gpointer outcomes) {
  GError* error = NULL;
  g_autoptr(GPtrArray) places =
      kesu_client_reverse_many_finish(KESU_CLIENT(client), result, &error);
  if (places != NULL) g_assert_cmpuint(places->len, ==, 2);
  count_outcome(outcomes, places != NULL, error);
}

static void count_notify(GObject* client, GParamSpec* property, gpointer count) {
  (void)client;
  (void)property;
  ++*(gint*)count;
}

static gpointer own_context(void) {
  GMainContext* context = g_main_context_new();
  g_main_context_push_thread_default(context);
  return context;
}

static void leave_own_context(GMainContext* context) {
  g_main_context_pop_thread_default(context);
  g_main_context_unref(context);
}

static void test_answers(void) {
  g_autoptr(KesuClient) client = new_client();
  g_autoptr(KesuObservation) observation = seen();
  g_assert_cmpuint(kesu_observation_get_n_cells(observation), ==, 1);
  g_assert_cmpuint(kesu_observation_get_n_access_points(observation), ==, 1);
  gint locations = 0, posts = 0, keys = 0;
  g_signal_connect(client, "notify::last-location", G_CALLBACK(count_notify), &locations);
  g_signal_connect(client, "notify::posts", G_CALLBACK(count_notify), &posts);
  g_signal_connect(client, "notify::platform-key", G_CALLBACK(count_notify), &keys);
  g_assert_null(kesu_client_get_last_location(client));
  g_assert_cmpint(kesu_client_get_last_location_age(client), ==, KESU_UNKNOWN);

  Outcomes outcomes;
  outcomes_init(&outcomes);
  kesu_client_locate_async(client, observation, NULL, on_located, &outcomes);
  kesu_observation_clear(observation); /* The call has its own. */
  kesu_client_reverse_async(client, 38.7167, -9.1333, NULL, on_place, &outcomes);
  g_autoptr(KesuPoint) lisbon = kesu_point_new(38.7167, -9.1333);
  g_autoptr(KesuPoint) nowhere = kesu_point_new(89, 0);
  KesuPoint* points[] = {lisbon, nowhere};
  kesu_client_reverse_many_async(client, points, 2, NULL, on_places, &outcomes);
  iterate_until(&outcomes.count, 3);
  g_assert_cmpint(outcomes.successes, ==, 3);
  iterate_a_while();
  g_assert_cmpint(outcomes.count, ==, 3);
  g_assert_cmpint(locations, ==, 1);
  g_assert_cmpint(posts, >=, 1);
  g_assert_cmpint(keys, ==, 1);

  g_autofree gchar* key = kesu_client_get_platform_key(client);
  g_assert_cmpuint(strlen(key), ==, 36);
  g_autoptr(KesuLocation) last = kesu_client_get_last_location(client);
  g_assert_cmpfloat_with_epsilon(kesu_location_get_longitude(last), -9.13, 0.1);
  g_assert_cmpfloat(kesu_location_get_accuracy(last), >, 0);
  g_assert_cmpint(kesu_client_get_last_location_age(client), >=, 0);
  guint64 calls, successes, bytes_out;
  g_object_get(client, "calls", &calls, "successes", &successes, "bytes-out", &bytes_out, NULL);
  g_assert_cmpuint(calls, ==, 3);
  g_assert_cmpuint(successes, ==, 3);
  g_assert_cmpuint(bytes_out, >, 100);

  /* The same, waited for. */
  g_autoptr(GError) error = NULL;
  g_autoptr(GPtrArray) places = kesu_client_reverse_many(client, points, 2, NULL, &error);
  g_assert_no_error(error);
  KesuPlace* place = places->pdata[0];
  g_assert_null(kesu_place_get_error(place));
  g_autoptr(GPtrArray) features = kesu_place_get_features(place);
  gsize longest = 0;
  for (guint i = 0; i < features->len; ++i) {
    longest = MAX(longest, strlen(kesu_feature_get_name(features->pdata[i])));
    g_autoptr(KesuPoint) centre = kesu_feature_get_centre(features->pdata[i]);
    if (centre != NULL) g_assert_cmpfloat_with_epsilon(kesu_point_get_latitude(centre), 38.7, 0.1);
    g_autoptr(KesuBoundingBox) box = kesu_feature_get_bounding_box(features->pdata[i]);
    if (box != NULL)
      g_assert_cmpfloat(kesu_bounding_box_get_south(box), <=, kesu_bounding_box_get_north(box));
    g_auto(GStrv) lines = kesu_feature_get_address_lines(features->pdata[i]);
    g_autoptr(GPtrArray) components = kesu_feature_get_address_components(features->pdata[i]);
    for (guint j = 0; j < components->len; ++j) {
      g_assert_nonnull(kesu_address_component_get_name(components->pdata[j]));
    }
  }
  g_assert_cmpuint(features->len, ==, 3);
  g_assert_cmpuint(longest, ==, strlen(kesu_place_get_name(place)));
  g_autoptr(GError) why = kesu_place_get_error(places->pdata[1]);
  g_assert_error(why, KESU_ERROR, KESU_ERROR_NOT_FOUND);
  g_autoptr(GPtrArray) none = kesu_client_reverse_many(client, NULL, 0, NULL, &error);
  g_assert_no_error(error);
  g_assert_cmpuint(none->len, ==, 0);
}

static void test_errors(void) {
  g_autoptr(GError) error = NULL;
  g_autoptr(KesuObservation) observation = seen();
  g_autoptr(KesuObservation) single = kesu_observation_new();
  kesu_observation_add_access_point_full(single, "00-00-5E-00-53-01", -60, "net", 1000, 11);
  g_autoptr(KesuObservation) unknown = kesu_observation_new();
  kesu_observation_add_cell_full(unknown, 1, 1, 1, 999999, -80, 500, 3, 100);
  g_autoptr(KesuObservation) wrong = kesu_observation_new();
  kesu_observation_set_fix(wrong, 91, 0, KESU_UNKNOWN, KESU_UNKNOWN);
  struct {
    KesuObservation* seen;
    KesuError code;
  } rows[] = {
      {single, KESU_ERROR_WITHHELD}, {unknown, KESU_ERROR_NOT_FOUND}, {wrong, KESU_ERROR_MISUSE}};
  g_autoptr(KesuClient) client = new_client();
  for (guint i = 0; i < G_N_ELEMENTS(rows); ++i) {
    g_assert_null(kesu_client_locate(client, rows[i].seen, NULL, &error));
    g_assert_error(error, KESU_ERROR, rows[i].code);
    g_clear_error(&error);
    g_assert_cmpuint(kesu_client_get_failures(client, rows[i].code), ==, 1);
  }
  g_assert_null(kesu_client_reverse(client, 91, 0, NULL, &error));
  g_assert_error(error, KESU_ERROR, KESU_ERROR_MISUSE);
  g_clear_error(&error);

  /* A second client that wants another server. */
  g_autoptr(KesuClient) other = new_silent_client(50);
  g_autoptr(GError) contradiction = kesu_client_get_error(other);
  g_assert_error(contradiction, KESU_ERROR, KESU_ERROR_MISUSE);
  g_assert_null(kesu_client_locate(other, observation, NULL, &error));
  g_assert_error(error, KESU_ERROR, KESU_ERROR_MISUSE);
  g_assert_cmpstr(error->message, ==, contradiction->message);
  g_clear_error(&error);
  g_clear_object(&other);
  g_clear_object(&client);

  /* The former one is gone, so that is right now; but nobody answers. */
  client = new_silent_client(50);
  g_assert_null(kesu_client_get_error(client));
  g_assert_null(kesu_client_locate(client, observation, NULL, &error));
  g_assert_error(error, KESU_ERROR, KESU_ERROR_TIMED_OUT);
  g_clear_error(&error);
  g_clear_object(&client);

  /* None of the points is answered, and that one is not on earth is not why. */
  g_autoptr(KesuPoint) nowhere = kesu_point_new(-91, 0);
  g_autoptr(KesuPoint) somewhere = kesu_point_new(1, 2);
  KesuPoint* points[] = {nowhere, somewhere, nowhere};
  client = kesu_client_new("http://127.0.0.1:1");
  g_assert_null(kesu_client_reverse_many(client, points, 3, NULL, &error));
  g_assert_error(error, KESU_ERROR, KESU_ERROR_CANNOT_CONNECT);
  g_clear_error(&error);

  /* Mistakes of the program. */
  const gchar* critical[] = {"*KESU_IS_CLIENT*", "*KESU_IS_OBSERVATION*", "*ArePoints*",
                             "*IsResultOf*"};
  for (guint i = 0; i < G_N_ELEMENTS(critical); ++i) {
    g_test_expect_message("Kesu", G_LOG_LEVEL_CRITICAL, critical[i]);
    if (i == 0)
      g_assert_null(kesu_client_locate((KesuClient*)observation, observation, NULL, NULL));
    if (i == 1) kesu_client_locate_async(client, NULL, NULL, NULL, NULL);
    if (i == 2) g_assert_null(kesu_client_reverse_many(client, NULL, 1, NULL, NULL));
    if (i == 3) {
      g_autoptr(GTask) foreign = g_task_new(client, NULL, NULL, NULL);
      g_task_return_pointer(foreign, NULL, NULL);
      g_assert_null(kesu_client_locate_finish(client, G_ASYNC_RESULT(foreign), NULL));
    }
    g_test_assert_expected_messages();
  }
  iterate_a_while(); /* The task has kept the client. */
}

static gpointer cancel_soon(gpointer cancellable) {
  g_usleep(20000);
  g_cancellable_cancel(cancellable);
  return NULL;
}

static void test_cancellation(void) {
  g_autoptr(KesuClient) client = new_silent_client(30000);
  g_autoptr(KesuObservation) observation = seen();
  g_autoptr(GError) error = NULL;
  Outcomes outcomes;
  outcomes_init(&outcomes);
  guint64 calls = 1;
  g_autoptr(GCancellable) cancelled = g_cancellable_new();
  g_cancellable_cancel(cancelled);
  kesu_client_locate_async(client, observation, cancelled, on_located, &outcomes);
  g_assert_cmpint(outcomes.count, ==, 0); /* Never from inside. */
  g_assert_null(kesu_client_reverse(client, 1, 2, cancelled, &error));
  g_assert_error(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
  g_clear_error(&error);
  iterate_until(&outcomes.count, 1);
  g_assert_error(outcomes.error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
  g_object_get(client, "calls", &calls, NULL);
  g_assert_cmpuint(calls, ==, 0);

  /* Under way, from another thread and from here. */
  g_autoptr(GCancellable) elsewhere = g_cancellable_new();
  kesu_client_set_paused(client, TRUE); /* So nothing else wakes the main context. */
  const gint64 start = g_get_monotonic_time();
  GThread* thread = g_thread_new("cancel", cancel_soon, elsewhere);
  g_assert_null(kesu_client_locate(client, observation, elsewhere, &error));
  g_assert_error(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
  g_assert_cmpint(g_get_monotonic_time() - start, <, 15 * G_USEC_PER_SEC);
  g_thread_join(thread);
  g_clear_error(&error);
  kesu_client_set_paused(client, FALSE);
  g_autoptr(GCancellable) here = g_cancellable_new();
  kesu_client_reverse_async(client, 1, 2, here, on_place, &outcomes);
  iterate_a_while();
  g_assert_cmpint(outcomes.count, ==, 1);
  g_cancellable_cancel(here);
  g_assert_cmpint(outcomes.count, ==, 1);
  iterate_until(&outcomes.count, 2);
  g_assert_error(outcomes.error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
  g_object_get(client, "cancellations", &calls, NULL);
  g_assert_cmpuint(calls, ==, 2);
  g_clear_error(&outcomes.error);
}

static gpointer unref_client(gpointer client) {
  g_object_unref(client);
  return NULL;
}

static void test_ends(void) {
  g_autoptr(KesuObservation) observation = seen();
  Outcomes outcomes;
  outcomes_init(&outcomes);

  /* Disposed of with calls under way: they end, and so do later ones. */
  KesuClient* client = new_silent_client(30000);
  kesu_client_locate_async(client, observation, NULL, on_located, &outcomes);
  kesu_client_reverse_async(client, 1, 2, NULL, on_place, &outcomes);
  iterate_a_while();
  g_object_run_dispose(G_OBJECT(client));
  iterate_until(&outcomes.count, 2);
  g_assert_error(outcomes.error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
  kesu_client_reverse_async(client, 1, 2, NULL, on_place, &outcomes);
  iterate_until(&outcomes.count, 3);
  g_assert_error(outcomes.error, KESU_ERROR, KESU_ERROR_MISUSE);
  g_autoptr(GError) closed = kesu_client_get_error(client);
  g_assert_error(closed, KESU_ERROR, KESU_ERROR_MISUSE);
  kesu_client_set_paused(client, TRUE);
  kesu_client_set_platform_key(client, "key");
  g_object_unref(client);

  /* Let go of with a call under way: the call keeps it. */
  client = new_client();
  gpointer weak = client;
  g_object_add_weak_pointer(G_OBJECT(client), &weak);
  kesu_client_locate_async(client, observation, NULL, on_located, &outcomes);
  g_thread_join(g_thread_new("unref", unref_client, client));
  g_assert_nonnull(weak);
  iterate_until(&outcomes.count, 4);
  g_assert_no_error(outcomes.error);
  g_assert_null(weak);

  /* Made on another main context, which goes first, and finalised there. */
  GMainContext* context = own_context();
  client = new_client();
  leave_own_context(context);
  kesu_client_set_platform_key(client, "0123");
  g_autofree gchar* key = kesu_client_get_platform_key(client);
  g_assert_cmpstr(key, ==, "0123");
  g_thread_join(g_thread_new("unref", unref_client, client));
  iterate_a_while();
  g_clear_error(&outcomes.error);
}

static gint waiting_workers;

/* Asks synchronously, with a main context of its own every other time. */
static gpointer ask_and_wait(gpointer number) {
  GMainContext* context = GPOINTER_TO_INT(number) % 2 == 0 ? own_context() : NULL;
  g_autoptr(KesuClient) client = new_client();
  g_autoptr(KesuObservation) observation = seen();
  for (int i = 0; i < 3; ++i) {
    g_autoptr(GError) error = NULL;
    g_autoptr(KesuLocation) where = kesu_client_locate(client, observation, NULL, &error);
    g_assert_no_error(error);
    g_assert_nonnull(where);
  }
  if (context != NULL) leave_own_context(context);
  g_atomic_int_inc(&waiting_workers);
  g_main_context_wakeup(NULL);
  return NULL;
}

static gboolean is_worker(gpointer thread) {
  g_assert_true(g_thread_self() == thread);
  return G_SOURCE_CONTINUE;
}

static void test_waiting_workers(void) {
  /* With nobody to run the default main context, and with this thread, whose sources stay here. */
  for (int is_loop_run = 0; is_loop_run < 2; ++is_loop_run) {
    GThread* threads[6];
    g_atomic_int_set(&waiting_workers, 0);
    guint source = is_loop_run ? g_timeout_add(1, is_worker, g_thread_self()) : 0;
    if (is_loop_run) g_assert_true(g_main_context_acquire(NULL));
    for (int i = 0; i < 6; ++i) threads[i] = g_thread_new("ask", ask_and_wait, GINT_TO_POINTER(i));
    if (is_loop_run) iterate_until(&waiting_workers, 6);
    for (int i = 0; i < 6; ++i) g_thread_join(threads[i]);
    if (is_loop_run) {
      g_main_context_release(NULL);
      g_source_remove(source);
    }
  }
  iterate_a_while();
}

/* A call of the random part, and what has become of it. */
typedef struct {
  GThread* thread;
  GCancellable* cancellable;
  gint count;
  gint* left;
} RandomCall;

static gint random_successes, random_cancellations;

static void on_random(GObject* client, GAsyncResult* result, gpointer data) {
  RandomCall* call = data;
  g_assert_true(call->thread == g_thread_self());
  g_assert_cmpint(++call->count, ==, 1);
  --*call->left;
  GError* error = NULL;
  gpointer answer = kesu_client_reverse_finish(KESU_CLIENT(client), result, &error);
  g_assert_true((answer == NULL) == (error != NULL));
  g_clear_object(&answer);
  g_atomic_int_inc(error == NULL ? &random_successes : &random_cancellations);
  if (error == NULL) return;
  /* Only those that were cancelled, or whose client was, may fail. */
  g_assert_error(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
  g_error_free(error);
}

#define CANCELLERS 2
#define CALLS_OF_A_THREAD 150
static GAsyncQueue* to_cancel;
static gint running;

static gpointer cancel_all(gpointer unused) {
  for (;;) {
    GObject* cancellable = g_async_queue_pop(to_cancel);
    if (!G_IS_CANCELLABLE(cancellable)) {
      g_object_unref(cancellable);
      return unused;
    }
    g_cancellable_cancel(G_CANCELLABLE(cancellable));
    g_object_unref(cancellable);
  }
}

static gpointer call_at_random(gpointer seed) {
  GRand* rand = g_rand_new_with_seed(GPOINTER_TO_UINT(seed));
  GMainContext* context = own_context();
  RandomCall* calls = g_new0(RandomCall, CALLS_OF_A_THREAD);
  gint left = 0;
  KesuClient* client = new_client();
  for (int i = 0; i < CALLS_OF_A_THREAD; ++i) {
    calls[i] = (RandomCall){.thread = g_thread_self(), .left = &left};
    const gboolean is_cancellable = g_rand_boolean(rand);
    if (is_cancellable) calls[i].cancellable = g_cancellable_new();
    const guint what = g_rand_int_range(rand, 0, 20);
    if (what == 0) { /* Calls of the former one go on, or end with it. */
      if (g_rand_boolean(rand)) g_object_run_dispose(G_OBJECT(client));
      g_object_unref(client);
      client = new_client();
    }
    if (what == 1 && is_cancellable) g_cancellable_cancel(calls[i].cancellable);
    if (what == 2) {
      g_autoptr(GError) error = NULL;
      g_autoptr(KesuPlace) place = kesu_client_reverse(client, 38.7, -9.1, NULL, &error);
      g_assert_no_error(error);
    }
    ++left;
    kesu_client_reverse_async(client, 38.7, -9.1, calls[i].cancellable, on_random, &calls[i]);
    if (what > 8 && is_cancellable)
      g_async_queue_push(to_cancel, g_object_ref(calls[i].cancellable));
    while (g_main_context_iteration(context, FALSE)) {
    }
    if (what > 15) g_usleep((gulong)g_rand_int_range(rand, 0, 3000));
  }
  const gint64 end = g_get_monotonic_time() + PATIENCE_US;
  while (left > 0) {
    g_assert_cmpint(g_get_monotonic_time(), <, end);
    if (!g_main_context_iteration(context, FALSE)) g_usleep(200);
  }
  g_object_unref(client);
  iterate_a_while();
  for (int i = 0; i < CALLS_OF_A_THREAD; ++i) {
    g_assert_cmpint(calls[i].count, ==, 1);
    g_clear_object(&calls[i].cancellable);
  }
  leave_own_context(context);
  g_free(calls);
  g_rand_free(rand);
  g_atomic_int_inc(&running);
  return NULL;
}

/* Each call of each thread is told once, on that thread, whatever is cancelled and goes meanwhile.
 */
static void test_random_threads(void) {
  const gchar* given = g_getenv("KESU_TEST_SEED");
  const guint seed = given == NULL ? g_random_int() : (guint)g_ascii_strtoull(given, NULL, 10);
  g_test_message("KESU_TEST_SEED=%u", seed);
  to_cancel = g_async_queue_new();
  GThread* cancellers[CANCELLERS];
  GThread* callers[4];
  for (int i = 0; i < CANCELLERS; ++i) cancellers[i] = g_thread_new("cancel", cancel_all, NULL);
  g_atomic_int_set(&running, 0);
  for (guint i = 0; i < G_N_ELEMENTS(callers); ++i) {
    callers[i] = g_thread_new("call", call_at_random, GUINT_TO_POINTER(seed + i));
  }
  iterate_until(&running, G_N_ELEMENTS(callers));
  for (guint i = 0; i < G_N_ELEMENTS(callers); ++i) g_thread_join(callers[i]);
  for (int i = 0; i < CANCELLERS; ++i)
    g_async_queue_push(to_cancel, g_object_new(G_TYPE_OBJECT, NULL));
  for (int i = 0; i < CANCELLERS; ++i) g_thread_join(cancellers[i]);
  g_async_queue_unref(to_cancel);
  g_assert_cmpint(MIN(random_successes, random_cancellations), >, 0);
  iterate_a_while();
}

static GSubprocess* start_server(void) {
  GError* error = NULL;
  GSubprocess* server =
      g_subprocess_new(G_SUBPROCESS_FLAGS_STDOUT_PIPE | G_SUBPROCESS_FLAGS_STDERR_SILENCE, &error,
                       g_getenv("KESU_SERVER"), "--port", "0", NULL);
  g_assert_no_error(error);
  g_autoptr(GDataInputStream) out = g_data_input_stream_new(g_subprocess_get_stdout_pipe(server));
  gchar* line = g_data_input_stream_read_line(out, NULL, NULL, &error);
  g_assert_no_error(error);
  g_assert_true(g_str_has_prefix(line, "listening on "));
  server_url = g_strdup(line + strlen("listening on "));
  g_free(line);
  return server;
}

int main(int argc, char** argv) {
  g_test_init(&argc, &argv, NULL);
  g_autoptr(GSubprocess) server = start_server();
  silent_listener = g_socket_listener_new();
  const guint16 port = g_socket_listener_add_any_inet_port(silent_listener, NULL, NULL);
  silent_url = g_strdup_printf("http://127.0.0.1:%u", port);
  g_test_add_func("/client/answers", test_answers);
  g_test_add_func("/client/errors", test_errors);
  g_test_add_func("/client/cancellation", test_cancellation);
  g_test_add_func("/client/ends", test_ends);
  g_test_add_func("/client/waiting-workers", test_waiting_workers);
  g_test_add_func("/client/random-threads", test_random_threads);
  const int status = g_test_run();
  g_subprocess_force_exit(server);
  g_subprocess_wait(server, NULL, NULL);
  g_object_unref(silent_listener);
  g_free(silent_url);
  g_free((gchar*)server_url);
  return status;
}
