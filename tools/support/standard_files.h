#ifndef TOOLS_SUPPORT_STANDARD_FILES_H_
#define TOOLS_SUPPORT_STANDARD_FILES_H_

#include <fcntl.h>
#include <unistd.h>

/// Opens those of standard input, output and error that are closed, so that no socket gets one of
/// their numbers and then what is printed. Reading the first and writing the second fails all the
/// same; what goes to the third is lost.
inline void OpenStandardFiles() {
  constexpr int kModes[] = {O_WRONLY, O_RDONLY, O_WRONLY};
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    // The lowest free number is the one that is given.
    if (open("/dev/null", kModes[descriptor]) != descriptor) return;
  }
}

/// Whether `count` more files can be open at a time. GLib aborts where its main loop cannot have
/// the few that it needs.
inline bool CanOpenFiles(int count) {
  if (count == 0) return true;
  const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const bool can = descriptor >= 0 && CanOpenFiles(count - 1);
  if (descriptor >= 0) close(descriptor);
  return can;
}

#endif  // TOOLS_SUPPORT_STANDARD_FILES_H_
