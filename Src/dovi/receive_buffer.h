#ifndef DOVI_RECEIVE_BUFFER_H_
#define DOVI_RECEIVE_BUFFER_H_

#include <cstddef>

/// Bytes that arrive piece by piece, kept together with a NUL behind them. Grows by doubling.
class ReceiveBuffer {
 public:
  /// Holds up to `limit` bytes; the NUL does not count.
  explicit ReceiveBuffer(int limit) : limit_(limit) {}
  ReceiveBuffer(const ReceiveBuffer&) = delete;
  ReceiveBuffer& operator=(const ReceiveBuffer&) = delete;
  ~ReceiveBuffer() { Free(); }

  /// False when the limit would be passed or the heap is exhausted; the buffer is then empty.
  bool Append(const char* bytes, std::size_t count);
  /// Appends `bytes` as a C string: up to their first NUL, if there is one.
  bool AppendText(const char* bytes, std::size_t count);

  /// `size` bytes are on their way, it is said: makes room for them at once, for as many as one
  /// may take on trust.
  void Expect(long long size);
  /// Hands the bytes over, which are GFree()d then.
  unsigned char* Release();
  void Free();

  /// Null while nothing has been appended.
  const unsigned char* bytes() const { return bytes_; }
  int length() const { return length_; }

 private:
  bool Reserve(int size);

  int limit_;
  int length_ = 0;
  int capacity_ = 0;
  unsigned char* bytes_ = nullptr;
};

#endif  // DOVI_RECEIVE_BUFFER_H_
