#include "server/storage/postgres_schema.h"

#include "server/geo/geodesy.h"

namespace kesu_server {
namespace {

/// Columns of eight bytes stand before those of four, so that none of them needs padding.
constexpr char kTables[] = R"sql(
CREATE SCHEMA kesu;
CREATE TABLE kesu.access_point(mac bigint PRIMARY KEY, latitude integer NOT NULL,
  longitude integer NOT NULL, radius integer NOT NULL, samples integer NOT NULL,
  updated bigint NOT NULL, power smallint, exponent smallint, shadowing smallint)
  PARTITION BY HASH (mac);
CREATE TABLE kesu.cell(area bigint, id bigint, latitude integer NOT NULL,
  longitude integer NOT NULL, radius integer NOT NULL, samples integer NOT NULL,
  updated bigint NOT NULL, power smallint, exponent smallint, shadowing smallint,
  PRIMARY KEY (area, id)) PARTITION BY HASH (area);
CREATE TABLE kesu.learned(area bigint, id bigint, weight double precision NOT NULL,
  latitude double precision NOT NULL, longitude double precision NOT NULL,
  radius double precision NOT NULL, south double precision NOT NULL,
  north double precision NOT NULL, west double precision NOT NULL,
  east double precision NOT NULL, first_seen bigint NOT NULL, last_seen bigint NOT NULL,
  times_blocked bigint NOT NULL, blocked_until bigint NOT NULL, PRIMARY KEY (area, id))
  PARTITION BY HASH (area, id);
CREATE TABLE kesu.place(id bigint PRIMARY KEY, latitude integer NOT NULL,
  longitude integer NOT NULL, name text NOT NULL, region text NOT NULL, country text NOT NULL);
CREATE TABLE kesu.address(id bigint PRIMARY KEY, latitude integer NOT NULL,
  longitude integer NOT NULL, number text NOT NULL, street text NOT NULL, unit text NOT NULL,
  city text NOT NULL, district text NOT NULL, region text NOT NULL, postcode text NOT NULL,
  country text NOT NULL);
CREATE INDEX ON kesu.place USING gist (point(longitude, latitude));
CREATE INDEX ON kesu.address USING gist (point(longitude, latitude));
CREATE TABLE kesu.meta(name text PRIMARY KEY, value bigint NOT NULL);
INSERT INTO kesu.meta VALUES ('data_version', 0), ('access_points', 0), ('cells', 0),
  ('places', 0), ('addresses', 0), ('invented', 0);
CREATE FUNCTION kesu.haversine(latitude double precision, longitude double precision,
  other_latitude double precision, other_longitude double precision) RETURNS double precision
  LANGUAGE sql IMMUTABLE PARALLEL SAFE AS $$
    SELECT power(sin(radians(other_latitude - latitude) / 2), 2) +
      cos(radians(latitude)) * cos(radians(other_latitude)) *
      power(sin(radians(other_longitude - longitude) / 2), 2)
  $$;
)sql";

/// The nearest by degrees, which the index knows, bound how far away the nearest by metres are; in
/// the boxes around that, of which one is beyond the antimeridian, all are compared.
constexpr char kNearest[] = R"sql(
CREATE FUNCTION kesu.nearest_THINGS(at_latitude double precision, at_longitude double precision,
  radius double precision, most bigint) RETURNS SETOF kesu.THINGS LANGUAGE plpgsql STABLE
  PARALLEL SAFE ROWS 1 AS $$
  DECLARE
    reach double precision := radians(180) * least(radius / HALF_CIRCUMFERENCE, 1);
    bound double precision := power(sin(reach / 2), 2);
    known_bound double precision;
    south double precision;
    north double precision;
    half_width double precision := 180;
    shift double precision := CASE WHEN at_longitude > 0 THEN -360 ELSE 360 END;
  BEGIN
    SELECT CASE WHEN count(*) = most THEN max(near.h) END INTO known_bound FROM (
      SELECT kesu.haversine(at_latitude, at_longitude, t.latitude / 1e7, t.longitude / 1e7) AS h
        FROM kesu.THINGS t
        ORDER BY point(t.longitude, t.latitude) <-> point(at_longitude * 1e7, at_latitude * 1e7)
        LIMIT most) near;
    bound := least(bound, known_bound);
    reach := least(2 * asin(sqrt(least(bound, 1))) + 1e-9, radians(180));
    south := at_latitude - degrees(reach);
    north := at_latitude + degrees(reach);
    IF south > -90 AND north < 90 THEN
      half_width := degrees(asin(least(sin(reach) / cos(radians(at_latitude)), 1))) + 1e-7;
    END IF;
    RETURN QUERY SELECT t.* FROM kesu.THINGS t
      WHERE (point(t.longitude, t.latitude) <@ box(
          point((at_longitude - half_width) * 1e7, south * 1e7),
          point((at_longitude + half_width) * 1e7, north * 1e7))
        OR point(t.longitude, t.latitude) <@ box(
          point((at_longitude + shift - half_width) * 1e7, south * 1e7),
          point((at_longitude + shift + half_width) * 1e7, north * 1e7)))
        AND kesu.haversine(at_latitude, at_longitude, t.latitude / 1e7, t.longitude / 1e7)
          <= bound
      ORDER BY kesu.haversine(at_latitude, at_longitude, t.latitude / 1e7, t.longitude / 1e7)
      LIMIT most;
  END
$$;
)sql";

std::string Replace(std::string text, const std::string& word, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += by.size()) {
    text.replace(at, word.size(), by);
  }
  return text;
}

}  // namespace

std::string PostgresSchemaText() {
  std::string text = kTables;
  for (const std::string table : {"access_point", "cell", "learned"}) {
    for (int i = 0; i < kPostgresPartitions; ++i) {
      const std::string number = std::to_string(i);
      text += "CREATE TABLE kesu." + table + "_" + number + " PARTITION OF kesu." + table +
              " FOR VALUES WITH (MODULUS " + std::to_string(kPostgresPartitions) + ", REMAINDER " +
              number + ");\n";
    }
  }
  const std::string nearest =
      Replace(kNearest, "HALF_CIRCUMFERENCE",
              std::to_string(static_cast<long>(kHalfCircumferenceM)) + "::double precision");
  for (const char* table : {"place", "address"}) text += Replace(nearest, "THINGS", table);
  return text + "INSERT INTO kesu.meta VALUES ('version', " +
         std::to_string(kPostgresSchemaVersion) + ");";
}

std::string PostgresCountRows() {
  std::string text = "UPDATE kesu.meta SET value = value + 1 WHERE name = 'data_version';";
  const std::pair<const char*, const char*> counts[] = {
      {"access_points", "kesu.access_point"},
      {"cells", "kesu.cell WHERE id >= 0"},
      {"places", "kesu.place"},
      {"addresses", "kesu.address"},
  };
  for (const auto& [name, rows] : counts) {
    text += std::string("UPDATE kesu.meta SET value = (SELECT count(*) FROM ") + rows +
            ") WHERE name = '" + name + "';";
  }
  return text;
}

}  // namespace kesu_server
