#ifndef KESU_OBSERVATION_H_
#define KESU_OBSERVATION_H_

#include <glib-object.h>

G_BEGIN_DECLS

/**
 * KESU_SIGNAL_UNKNOWN:
 *
 * In place of a signal strength in dBm that is not known.
 */
#define KESU_SIGNAL_UNKNOWN 0

/**
 * KESU_UNKNOWN:
 *
 * In place of any other number that is not known.
 */
#define KESU_UNKNOWN (-1)

/**
 * KesuObservation:
 *
 * What a device observes where it is: cells, wifi access points, a position of its own.
 *
 * It may be changed and asked about again: a call takes what it holds when it is made. Numbers that
 * cannot be are refused by the call, with %KESU_ERROR_MISUSE. Not for several threads at a time.
 */
#define KESU_TYPE_OBSERVATION (kesu_observation_get_type())
G_DECLARE_FINAL_TYPE(KesuObservation, kesu_observation, KESU, OBSERVATION, GObject)

/**
 * kesu_observation_new:
 *
 * Returns: (transfer full): an observation of nothing
 */
KesuObservation* kesu_observation_new(void);

/**
 * kesu_observation_add_cell:
 * @self: an observation
 * @mcc: mobile country code
 * @mnc: mobile network code
 * @area: location or tracking area code
 * @cell: the number of the cell
 * @signal_dbm: signal strength in dBm, or %KESU_SIGNAL_UNKNOWN
 *
 * Adds a cell: the serving one first, then its neighbours.
 */
void kesu_observation_add_cell(KesuObservation* self, gint mcc, gint mnc, gint area, gint cell,
                               gint signal_dbm);

/**
 * kesu_observation_add_cell_full:
 * @self: an observation
 * @mcc: mobile country code
 * @mnc: mobile network code
 * @area: location or tracking area code
 * @cell: the number of the cell
 * @signal_dbm: signal strength in dBm, or %KESU_SIGNAL_UNKNOWN
 * @age_ms: milliseconds since it was received, or %KESU_UNKNOWN
 * @timing_advance: timing advance, or %KESU_UNKNOWN
 * @scrambling_code: primary scrambling code, or %KESU_UNKNOWN
 *
 * Adds a cell with all that may be known of it.
 */
void kesu_observation_add_cell_full(KesuObservation* self, gint mcc, gint mnc, gint area, gint cell,
                                    gint signal_dbm, gint64 age_ms, gint timing_advance,
                                    gint scrambling_code);

/**
 * kesu_observation_add_access_point:
 * @self: an observation
 * @mac_address: six bytes in hexadecimal, with or without hyphens or colons between them
 * @signal_dbm: signal strength in dBm, or %KESU_SIGNAL_UNKNOWN
 * @name: (nullable): the name of its network: empty where it is hidden, %NULL where it is not known
 *
 * Adds a wifi access point. Give the name where it is known: it decides whether the access point
 * may be told to the service, and is never sent itself.
 */
void kesu_observation_add_access_point(KesuObservation* self, const gchar* mac_address,
                                       gint signal_dbm, const gchar* name);

/**
 * kesu_observation_add_access_point_full:
 * @self: an observation
 * @mac_address: six bytes in hexadecimal, with or without hyphens or colons between them
 * @signal_dbm: signal strength in dBm, or %KESU_SIGNAL_UNKNOWN
 * @name: (nullable): the name of its network: empty where it is hidden, %NULL where it is not known
 * @age_ms: milliseconds since it was received, or %KESU_UNKNOWN
 * @channel: the channel, or %KESU_UNKNOWN
 *
 * Adds a wifi access point with all that may be known of it.
 */
void kesu_observation_add_access_point_full(KesuObservation* self, const gchar* mac_address,
                                            gint signal_dbm, const gchar* name, gint64 age_ms,
                                            gint channel);

/**
 * kesu_observation_set_fix:
 * @self: an observation
 * @latitude: degrees, WGS 84, north positive
 * @longitude: degrees, east positive
 * @accuracy: metres, or %KESU_UNKNOWN
 * @age_ms: milliseconds since it was taken, or %KESU_UNKNOWN
 *
 * Sets a position that the device has found by itself, in place of an earlier one.
 */
void kesu_observation_set_fix(KesuObservation* self, gdouble latitude, gdouble longitude,
                              gdouble accuracy, gint64 age_ms);

/**
 * kesu_observation_clear:
 * @self: an observation
 *
 * Forgets everything.
 */
void kesu_observation_clear(KesuObservation* self);

/**
 * kesu_observation_get_n_cells:
 * @self: an observation
 *
 * Returns: how many cells it holds
 */
guint kesu_observation_get_n_cells(KesuObservation* self);

/**
 * kesu_observation_get_n_access_points:
 * @self: an observation
 *
 * Returns: how many access points it holds
 */
guint kesu_observation_get_n_access_points(KesuObservation* self);

G_END_DECLS

#endif  // KESU_OBSERVATION_H_
