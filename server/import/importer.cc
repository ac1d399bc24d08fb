#include "server/import/importer.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>

#include <nlohmann/json.hpp>

#include "server/import/file_import.h"
#include "server/import/packed_station.h"
#include "server/import/station_spool.h"

namespace kesu_server {
namespace {

/// How far an import has come: all lines up to `line` of the file number `file` have been read.
struct Mark {
  std::size_t file = 0;
  std::int64_t line = 0;
};

std::string NoteOf(const std::string& identity, const Mark& mark, const ImportResult& result) {
  const nlohmann::json note = {{"identity", identity},
                               {"file", mark.file},
                               {"line", mark.line},
                               {"lines", result.lines},
                               {"records", result.records},
                               {"rejected", result.rejected.Save()},
                               {"passed_over", result.passed_over.Save()}};
  return note.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

bool ReadNote(const std::string& text, const std::string& identity, Mark* mark,
              ImportResult* result) {
  const nlohmann::json note = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  const auto is = [&](const char* name, auto check) {
    return note.contains(name) && (note[name].*check)();
  };
  const auto is_number = &nlohmann::json::is_number_unsigned;
  const auto is_text = &nlohmann::json::is_string;
  if (!note.is_object() || !is("file", is_number) || !is("line", is_number) ||
      !is("lines", is_number) || !is("records", is_number) || !is("identity", is_text) ||
      !is("rejected", is_text) || !is("passed_over", is_text) || identity.empty() ||
      note["identity"] != identity) {
    return false;
  }
  mark->file = note["file"].get<std::size_t>();
  mark->line = note["line"].get<std::int64_t>();
  result->lines = note["lines"].get<std::int64_t>();
  result->records = note["records"].get<std::int64_t>();
  result->was_resumed = result->rejected.Restore(note["rejected"].get<std::string>()) &&
                        result->passed_over.Restore(note["passed_over"].get<std::string>());
  return result->was_resumed;
}

class StationSink final : public RecordSink {
 public:
  void TakeStation(const StationRecord& station) override { batch.push_back(Pack(station)); }

  std::vector<PackedStation> batch;
};

class PlaceSink final : public RecordSink {
 public:
  PlaceSink(Filling* filling, std::int64_t* records) : filling_(filling), records_(records) {}

  void TakePlace(std::int64_t id, const Place& place) override {
    Count(!failed_ && filling_->PutPlace(id, place));
  }
  void TakeAddress(std::int64_t id, const Address& address) override {
    Count(!failed_ && filling_->PutAddress(id, address));
  }
  bool failed() const { return failed_; }

 private:
  void Count(bool is_put) {
    failed_ = failed_ || !is_put;
    ++*records_;
  }

  Filling* filling_;
  std::int64_t* records_;
  bool failed_ = false;
};

bool WriteStations(const std::vector<PackedStation>& last, const StationSpool& spool,
                   const DataStore& store, std::string* error) {
  const std::unique_ptr<Filling> filling = BeginFilling(store);
  const auto put = [&](const PackedStation& station) { return filling->Put(station); };
  const bool is_good =
      filling &&
      (spool.is_empty() ? std::all_of(last.begin(), last.end(), put) : spool.Merge(put)) &&
      filling->Commit();
  // Undoing what was begun says something else.
  if (!is_good) *error = ErrorOf(store);
  return is_good;
}

}  // namespace

bool ImportStations(const std::vector<std::string>& files, LineFormat* format,
                    const std::string& database_path, const DataStore& store,
                    const ImportProgress& progress, ImportResult* result, std::string* error,
                    std::size_t stations_in_memory) {
  const std::string identity = IdentityOf(files);
  StationSpool spool(database_path);
  if (!spool.Lock()) {
    *error = database_path + ".import.lock: another import of stations is at work";
    return false;
  }
  Mark done;
  if (!ReadNote(spool.Resume(), identity, &done, result)) {
    spool.Remove();
    *result = {};
  }
  StationSink sink;
  const auto flush = [&](const Mark& mark) {
    result->records += static_cast<std::int64_t>(sink.batch.size());
    std::sort(sink.batch.begin(), sink.batch.end());
    if (!spool.Append(sink.batch, NoteOf(identity, mark, *result))) {
      *error = database_path + ".import: cannot be written";
      return false;
    }
    sink.batch.clear();
    return true;
  };

  ImportResult again;
  for (std::size_t i = done.file; i < files.size(); ++i) {
    // What has been read before is gone through once more for what it says of the rest.
    std::int64_t skipped = i == done.file ? done.line : 0;
    const auto after_line = [&](std::int64_t line) {
      if (line < skipped) {
        sink.batch.clear();
        return true;
      }
      if (line == skipped) {
        sink.batch.clear();
        skipped = 0;
        std::swap(*result, again);
        return true;
      }
      return sink.batch.size() < stations_in_memory || flush({i, line});
    };
    if (skipped > 0) std::swap(*result, again);
    if (!ReadFile(files[i], format, &sink, progress, after_line, result, error)) return false;
  }
  if (!spool.is_empty()) {
    if (!flush({files.size(), 0})) return false;
  } else {
    result->records += static_cast<std::int64_t>(sink.batch.size());
    std::sort(sink.batch.begin(), sink.batch.end());
  }
  if (!WriteStations(sink.batch, spool, store, error)) return false;
  spool.Remove();
  return true;
}

bool ImportPlaces(const std::vector<std::string>& files, LineFormat* format, const DataStore& store,
                  const ImportProgress& progress, ImportResult* result, std::string* error) {
  const std::unique_ptr<Filling> filling = BeginFilling(store);
  if (!filling) {
    *error = ErrorOf(store);
    return false;
  }
  PlaceSink sink(filling.get(), &result->records);
  const auto after_line = [&](std::int64_t) {
    if (sink.failed()) *error = ErrorOf(store);
    return !sink.failed();
  };
  for (const std::string& file : files) {
    if (!ReadFile(file, format, &sink, progress, after_line, result, error)) return false;
  }
  if (filling->Commit()) return true;
  *error = ErrorOf(store);
  return false;
}

}  // namespace kesu_server
