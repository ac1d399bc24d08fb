#ifndef DOVI_CURL_DESCRIPTORS_H_
#define DOVI_CURL_DESCRIPTORS_H_

#include <curl/curl.h>
#include <glib.h>
#include <sys/types.h>

/// The descriptors that curl's transfers use: those of its connections, which are opened and closed
/// here, and those by which it waits for the look-up of a name. A descriptor has its bit in an
/// fd_set, so it is below kCount.
class CurlDescriptors {
 public:
  static constexpr int kCount = 1024;
  /// Look-ups without an answer, those included whose transfer is long gone: each has a thread and
  /// two descriptors until the resolver gives up.
  static constexpr int kMaxLookups = 64;

  /// A socket for a connection, close-on-exec, or CURL_SOCKET_BAD.
  curl_socket_t Open(const curl_sockaddr& address);
  void Close(curl_socket_t fd);
  /// The connections that may be used, or one more for each that curl has not told of.
  int open_count() const { return open_count_; }

  /// Tells that no connection that is open now shall be used for another transfer.
  void OutdateConnections();
  /// Ends the connections that must not be used again and are not in use, in such a way that curl
  /// sees it: those that are outdated, and those with bytes waiting, which are an answer to nothing
  /// that was asked. `polled` has kCount entries; those that curl does not watch have no events.
  void EndUnusable(const GPollFD* polled);

  /// To be called before those descriptors are passed to NoteWatched() that curl has newly
  /// begun to watch, if there are any.
  void BeginToNoteWatched();
  void NoteWatched(int fd);
  /// Whether one more name may be looked up. It counts as begun then.
  bool MayLookUp();

 private:
  enum State : unsigned char { kForeign, kOpen, kOutdated, kEnded };
  /// Curl does not always tell when it closes a descriptor, and others may have taken the number
  /// since; the inode tells.
  struct Connection {
    State state;
    ino_t inode;
  };

  /// Forgets the look-ups that have come to an end.
  void PruneLookups();

  void SetState(int fd, State state);

  Connection connections_[kCount] = {};
  int open_count_ = 0;
  /// All connections are up to here.
  int highest_ = -1;
  /// Duplicates of the ends by which curl waits for the threads that look up. Curl closes its own
  /// when it gives up; the thread closes the other end when it is done.
  int lookups_[kMaxLookups] = {};
  int lookup_count_ = 0;
  /// Since the watched descriptors were last noted.
  int begun_lookups_ = 0;
  bool is_lookup_expected_ = false;
};

#endif  // DOVI_CURL_DESCRIPTORS_H_
