#include "server/import/station_spool.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <queue>
#include <sstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kesu_server {
namespace {

/// A run is read in pieces of so many stations.
constexpr std::int64_t kPiece = 4096;
constexpr std::int64_t kStationBytes = sizeof(PackedStation);

/// A file that is closed with this object.
class File {
 public:
  File(const std::string& path, int flags) : descriptor_(open(path.c_str(), flags, 0600)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }

  bool WriteAll(const void* bytes, std::size_t size, std::int64_t offset) const {
    const char* at = static_cast<const char*>(bytes);
    while (size > 0) {
      const ssize_t written = pwrite(descriptor_, at, size, offset);
      if (written <= 0) return false;
      at += written;
      offset += written;
      size -= static_cast<std::size_t>(written);
    }
    return true;
  }
  bool ReadAll(void* bytes, std::size_t size, std::int64_t offset) const {
    char* at = static_cast<char*>(bytes);
    while (size > 0) {
      const ssize_t got = pread(descriptor_, at, size, offset);
      if (got <= 0) return false;
      at += got;
      offset += got;
      size -= static_cast<std::size_t>(got);
    }
    return true;
  }
  bool Sync() const { return fdatasync(descriptor_) == 0; }

 private:
  int descriptor_;
};

/// One run of the spool, read from its beginning to its end.
class RunReader {
 public:
  RunReader(const File* file, std::int64_t begin, std::int64_t end)
      : file_(file), next_(begin), end_(end) {}

  /// False at the end, and when the file cannot be read.
  bool Advance() {
    if (++at_ < piece_.size()) return true;
    piece_.resize(static_cast<std::size_t>(std::min(kPiece, end_ - next_)));
    at_ = 0;
    if (piece_.empty()) return false;
    failed_ = !file_->ReadAll(piece_.data(), piece_.size() * sizeof(PackedStation),
                              next_ * kStationBytes);
    next_ += static_cast<std::int64_t>(piece_.size());
    return !failed_;
  }
  const PackedStation& station() const { return piece_[at_]; }
  bool failed() const { return failed_; }

 private:
  const File* file_;
  std::int64_t next_;
  std::int64_t end_;
  std::vector<PackedStation> piece_;
  std::size_t at_ = 0;
  bool failed_ = false;
};

}  // namespace

bool StationSpool::Lock() {
  const int lock = open(lock_path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock < 0) return false;
  struct stat mine = {};
  struct stat there = {};
  // Whoever had it until now may have removed the file meanwhile.
  if (flock(lock, LOCK_EX | LOCK_NB) == 0 && fstat(lock, &mine) == 0 &&
      stat(lock_path_.c_str(), &there) == 0 && mine.st_ino == there.st_ino) {
    lock_ = lock;
    return true;
  }
  close(lock);
  return false;
}

StationSpool::~StationSpool() {
  if (lock_ < 0) return;
  std::remove(lock_path_.c_str());
  close(lock_);
}

std::string StationSpool::Resume() {
  ends_.clear();
  std::ifstream in(note_path_, std::ios::binary);
  std::int64_t runs = 0;
  std::int64_t last = 0;
  if (in >> runs && runs > 0 && runs <= 1'000'000) {
    for (std::int64_t end = 0; runs > 0 && in >> end && end > last; --runs) {
      ends_.push_back(end);
      last = end;
    }
  }
  in.get();
  std::ifstream data(data_path_, std::ios::binary | std::ios::ate);
  if (!in || runs != 0 || !data || data.tellg() < last * kStationBytes) {
    Remove();
    return {};
  }
  return {std::istreambuf_iterator<char>(in), {}};
}

bool StationSpool::WriteNote(const std::string& note) const {
  std::ostringstream text;
  text << ends_.size();
  for (const std::int64_t end : ends_) text << ' ' << end;
  text << '\n' << note;
  const std::string whole = text.str();
  const std::string next = note_path_ + ".new";
  {
    const File file(next, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC);
    if (!file.WriteAll(whole.data(), whole.size(), 0) || !file.Sync()) return false;
  }
  return std::rename(next.c_str(), note_path_.c_str()) == 0;
}

bool StationSpool::Append(const std::vector<PackedStation>& sorted, const std::string& note) {
  const std::int64_t begin = is_empty() ? 0 : ends_.back();
  const File file(data_path_, O_WRONLY | O_CREAT | O_CLOEXEC);
  if (!file.WriteAll(sorted.data(), sorted.size() * sizeof(PackedStation), begin * kStationBytes) ||
      !file.Sync()) {
    return false;
  }
  if (!sorted.empty()) ends_.push_back(begin + static_cast<std::int64_t>(sorted.size()));
  return WriteNote(note);
}

bool StationSpool::Merge(const std::function<bool(const PackedStation& station)>& put) const {
  const File file(data_path_, O_RDONLY | O_CLOEXEC);
  std::vector<RunReader> runs;
  std::int64_t begin = 0;
  for (const std::int64_t end : ends_) {
    runs.emplace_back(&file, begin, end);
    begin = end;
  }
  const auto is_later = [](const RunReader* a, const RunReader* b) {
    return b->station() < a->station();
  };
  std::priority_queue<RunReader*, std::vector<RunReader*>, decltype(is_later)> queue(is_later);
  for (RunReader& run : runs) {
    if (run.Advance()) queue.push(&run);
  }
  while (!queue.empty()) {
    RunReader* const run = queue.top();
    queue.pop();
    if (!put(run->station())) return false;
    if (run->Advance()) queue.push(run);
  }
  return std::none_of(runs.begin(), runs.end(), [](const RunReader& run) { return run.failed(); });
}

void StationSpool::Remove() {
  ends_.clear();
  std::remove(note_path_.c_str());
  std::remove(data_path_.c_str());
}

}  // namespace kesu_server
