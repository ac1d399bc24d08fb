#ifndef SERVER_IMPORT_STATION_SPOOL_H_
#define SERVER_IMPORT_STATION_SPOOL_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "server/import/packed_station.h"

namespace kesu_server {

/// Where a long import keeps what it has read until it can go into the database at once: beside the
/// database, in sorted runs, with a note of how far it has come, so that it can go on after it was
/// interrupted.
class StationSpool {
 public:
  /// Of the database at `path`, of which nothing is read.
  explicit StationSpool(const std::string& path)
      : data_path_(path + ".import"),
        note_path_(data_path_ + ".note"),
        lock_path_(data_path_ + ".lock") {}
  StationSpool(const StationSpool&) = delete;
  StationSpool& operator=(const StationSpool&) = delete;
  /// Gives the lock back.
  ~StationSpool();

  /// To be called first. False when another process has it.
  bool Lock();

  /// What Append() was last told, if there is something to go on from; else the spool is empty.
  std::string Resume();
  bool Append(const std::vector<PackedStation>& sorted, const std::string& note);
  bool is_empty() const { return ends_.empty(); }

  /// Hands over all of them in the order of their keys, for as long as `put` is true. False when
  /// it was not, or the spool cannot be read.
  bool Merge(const std::function<bool(const PackedStation& station)>& put) const;
  void Remove();

 private:
  bool WriteNote(const std::string& note) const;

  std::string data_path_;
  std::string note_path_;
  std::string lock_path_;
  int lock_ = -1;
  /// Of each run, counted in stations from the file's beginning.
  std::vector<std::int64_t> ends_;
};

}  // namespace kesu_server

#endif  // SERVER_IMPORT_STATION_SPOOL_H_
