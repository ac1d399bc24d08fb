#include "bench/peers/plain/codec.h"

namespace plain {

template <typename Number>
static void ReadNumber(Cursor* in, std::optional<Number>* out) {
  *out = static_cast<Number>(in->Varint());
}

/// A nested message may come in several pieces.
template <typename Nested>
static void ReadOptional(Cursor* in, std::optional<Nested>* out) {
  if (!*out) out->emplace();
  if (!Read(in->Nested(), &**out)) in->Fail();
}

template <typename Nested>
static void ReadElement(Cursor* in, std::vector<Nested>* out) {
  if (!Read(in->Nested(), &out->emplace_back())) in->Fail();
}

static bool Read(Cursor in, LatLng* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case Fixed32Key(1):
        out->latitude_e7 = in.Fixed32();
        break;
      case Fixed32Key(2):
        out->longitude_e7 = in.Fixed32();
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, Rectangle* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        ReadOptional(&in, &out->lower_left);
        break;
      case BytesKey(2):
        ReadOptional(&in, &out->upper_right);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, AddressComponent* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        out->name = in.Text();
        break;
      case VarintKey(2):
        ReadNumber(&in, &out->component_type);
        break;
      case BytesKey(3):
        out->language = in.Text();
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, Address* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        out->lines.push_back(in.Text());
        break;
      case BytesKey(2):
        ReadElement(&in, &out->components);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, Feature* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        out->name = in.Text();
        break;
      case VarintKey(2):
        ReadNumber(&in, &out->feature_type);
        break;
      case BytesKey(3):
        ReadOptional(&in, &out->address);
        break;
      case BytesKey(4):
        ReadOptional(&in, &out->bounds);
        break;
      case BytesKey(5):
        ReadOptional(&in, &out->center);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, GpsProfile* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case VarintKey(1):
        ReadNumber(&in, &out->satellite_count);
        break;
      case VarintKey(2):
        ReadNumber(&in, &out->hdop_centi);
        break;
      case VarintKey(3):
        ReadNumber(&in, &out->vdop_centi);
        break;
      case VarintKey(4):
        ReadNumber(&in, &out->pdop_centi);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, Location* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        ReadOptional(&in, &out->latlng);
        break;
      case BytesKey(2):
        out->description = in.Text();
        break;
      case VarintKey(3):
        ReadNumber(&in, &out->accuracy_m);
        break;
      case VarintKey(4):
        ReadNumber(&in, &out->confidence_percent);
        break;
      case BytesKey(5):
        ReadElement(&in, &out->features);
        break;
      case VarintKey(6):
        ReadNumber(&in, &out->timestamp_ms);
        break;
      case VarintKey(7):
        ReadNumber(&in, &out->is_stale);
        break;
      case VarintKey(8):
        ReadNumber(&in, &out->source_type);
        break;
      case BytesKey(9):
        out->source = in.Text();
        break;
      case VarintKey(10):
        ReadNumber(&in, &out->altitude_m);
        break;
      case VarintKey(11):
        ReadNumber(&in, &out->vertical_accuracy_m);
        break;
      case VarintKey(12):
        ReadNumber(&in, &out->speed_cm_per_s);
        break;
      case VarintKey(13):
        ReadNumber(&in, &out->heading_degrees);
        break;
      case BytesKey(14):
        ReadOptional(&in, &out->gps_profile);
        break;
      case BytesKey(15):
        out->map_datum = in.Text();
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, Cell* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case VarintKey(1):
        ReadNumber(&in, &out->mcc);
        break;
      case VarintKey(2):
        ReadNumber(&in, &out->mnc);
        break;
      case VarintKey(3):
        ReadNumber(&in, &out->area_code);
        break;
      case VarintKey(4):
        ReadNumber(&in, &out->cell_id);
        break;
      case VarintKey(5):
        ReadNumber(&in, &out->signal_strength_dbm);
        break;
      case VarintKey(6):
        ReadNumber(&in, &out->timing_advance);
        break;
      case VarintKey(7):
        ReadNumber(&in, &out->age_ms);
        break;
      case VarintKey(8):
        ReadNumber(&in, &out->scrambling_code);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, CellularProfile* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        ReadOptional(&in, &out->primary_cell);
        break;
      case VarintKey(2):
        ReadNumber(&in, &out->timestamp_ms);
        break;
      case BytesKey(3):
        ReadElement(&in, &out->neighbors);
        break;
      case BytesKey(4):
        ReadElement(&in, &out->historical_cells);
        break;
      case VarintKey(5):
        ReadNumber(&in, &out->radio_type);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, WifiDevice* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        out->mac_address = in.Text();
        break;
      case BytesKey(2):
        out->ssid = in.Text();
        break;
      case VarintKey(3):
        ReadNumber(&in, &out->signal_strength_dbm);
        break;
      case VarintKey(4):
        ReadNumber(&in, &out->channel);
        break;
      case VarintKey(5):
        ReadNumber(&in, &out->age_ms);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, WifiProfile* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case VarintKey(1):
        ReadNumber(&in, &out->timestamp_ms);
        break;
      case BytesKey(2):
        ReadElement(&in, &out->devices);
        break;
      case VarintKey(3):
        ReadNumber(&in, &out->scan_duration_ms);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, DeviceLocation* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        ReadOptional(&in, &out->location);
        break;
      case BytesKey(2):
        ReadOptional(&in, &out->cell);
        break;
      case BytesKey(3):
        ReadOptional(&in, &out->wifi_device);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, ReplyElement* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case VarintKey(1):
        ReadNumber(&in, &out->status);
        break;
      case BytesKey(2):
        ReadOptional(&in, &out->location);
        break;
      case BytesKey(3):
        ReadElement(&in, &out->device_locations);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, Reply* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case VarintKey(1):
        ReadNumber(&in, &out->status);
        break;
      case BytesKey(2):
        ReadElement(&in, &out->elements);
        break;
      case BytesKey(3):
        out->platform_key = in.Text();
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, CellularPlatformProfile* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case VarintKey(1):
        ReadNumber(&in, &out->radio_type);
        break;
      case BytesKey(2):
        out->carrier = in.Text();
        break;
      case BytesKey(3):
        out->sim_operator = in.Text();
        break;
      case VarintKey(4):
        ReadNumber(&in, &out->home_mcc);
        break;
      case VarintKey(5):
        ReadNumber(&in, &out->home_mnc);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, WifiPlatformProfile* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        out->scanner_mac_address = in.Text();
        break;
      case BytesKey(2):
        out->scanner_ssid = in.Text();
        break;
      case VarintKey(3):
        ReadNumber(&in, &out->radio_standard);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, PlatformProfile* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        out->version = in.Text();
        break;
      case BytesKey(2):
        out->platform = in.Text();
        break;
      case BytesKey(3):
        out->distribution_channel = in.Text();
        break;
      case BytesKey(4):
        out->locale = in.Text();
        break;
      case BytesKey(5):
        out->model = in.Text();
        break;
      case BytesKey(6):
        ReadOptional(&in, &out->cellular);
        break;
      case BytesKey(7):
        ReadOptional(&in, &out->wifi);
        break;
      case BytesKey(8):
        out->platform_key = in.Text();
        break;
      case BytesKey(9):
        out->session_id = in.Text();
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, AppProfile* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        out->app_name = in.Text();
        break;
      case BytesKey(2):
        out->app_version = in.Text();
        break;
      case VarintKey(3):
        ReadNumber(&in, &out->request_count);
        break;
      case VarintKey(4):
        ReadNumber(&in, &out->session_start_ms);
        break;
      case BytesKey(5):
        out->session_id = in.Text();
        break;
      case VarintKey(6):
        ReadNumber(&in, &out->release_date_ms);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, UserProfile* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        out->user_name = in.Text();
        break;
      case BytesKey(2):
        out->account_type = in.Text();
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, DebugProfile* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case VarintKey(1):
        ReadNumber(&in, &out->level);
        break;
      case VarintKey(2):
        ReadNumber(&in, &out->want_device_locations);
        break;
      case BytesKey(3):
        ReadElement(&in, &out->cache_locations);
        break;
      case VarintKey(4):
        ReadNumber(&in, &out->want_trace);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, GeocodeRequest* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case Fixed32Key(1):
        out->precision = in.Fixed32();
        break;
      case VarintKey(2):
        ReadNumber(&in, &out->want_features);
        break;
      case BytesKey(3):
        ReadOptional(&in, &out->bounding_box);
        break;
      case VarintKey(4):
        ReadNumber(&in, &out->max_features);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, RequestElement* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        ReadOptional(&in, &out->cellular);
        break;
      case BytesKey(2):
        ReadOptional(&in, &out->wifi);
        break;
      case BytesKey(3):
        ReadOptional(&in, &out->location);
        break;
      case BytesKey(4):
        ReadOptional(&in, &out->geocode);
        break;
      case BytesKey(99):
        ReadOptional(&in, &out->debug);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

static bool Read(Cursor in, Request* out) {
  while (!in.at_end()) {
    switch (const std::uint32_t key = in.Key()) {
      case BytesKey(1):
        ReadOptional(&in, &out->platform);
        break;
      case BytesKey(2):
        ReadElement(&in, &out->apps);
        break;
      case BytesKey(3):
        ReadOptional(&in, &out->user);
        break;
      case BytesKey(4):
        ReadElement(&in, &out->elements);
        break;
      default:
        in.Skip(key);
    }
  }
  return in.ok();
}

bool ReadReply(Cursor in, Reply* out) {
  return Read(in, out);
}

bool ReadRequest(Cursor in, Request* out) {
  return Read(in, out);
}

}  // namespace plain
