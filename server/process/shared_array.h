#ifndef SERVER_PROCESS_SHARED_ARRAY_H_
#define SERVER_PROCESS_SHARED_ARRAY_H_

#include <cstddef>
#include <new>
#include <span>

#include <sys/mman.h>

namespace kesu_server {

/// Objects in memory that this process shares with those that it forks. They stay where they are
/// as long as any of these runs.
template <typename T>
class SharedArray {
 public:
  /// The objects are made as T{}; all of their bytes being zero must mean the same.
  explicit SharedArray(std::size_t count) {
    void* const memory =
        mmap(nullptr, count * sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    items_ = {static_cast<T*>(memory), count};
  }

  std::span<T> items() const { return items_; }

 private:
  std::span<T> items_;
};

}  // namespace kesu_server

#endif  // SERVER_PROCESS_SHARED_ARRAY_H_
