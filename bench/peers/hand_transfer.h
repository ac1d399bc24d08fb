#ifndef KESU_BENCH_PEERS_HAND_TRANSFER_H_
#define KESU_BENCH_PEERS_HAND_TRANSFER_H_

#include <cstddef>
#include <string>

#include <curl/curl.h>

/// One handle of libcurl for POSTs to one URL, one after the other, each with a body that is
/// borrowed.
class HandTransfer {
 public:
  /// `number` is what its owner knows it by.
  HandTransfer(const std::string& url, std::size_t number);
  HandTransfer(const HandTransfer&) = delete;
  HandTransfer& operator=(const HandTransfer&) = delete;
  ~HandTransfer() { curl_easy_cleanup(easy_); }

  /// Forgets the last response.
  void SetBody(const char* body, std::size_t size);

  CURL* easy() const { return easy_; }
  std::size_t number() const { return number_; }
  void set_number(std::size_t number) { number_ = number; }
  static HandTransfer* Of(CURL* easy);
  /// Whether the response has status 200 and the right type; ends the process where not.
  void RequireGood(CURLcode result) const;
  const std::string& response() const { return response_; }

 private:
  static std::size_t OnBytes(char* bytes, std::size_t size, std::size_t count, void* transfer);

  CURL* easy_;
  std::size_t number_;
  std::string response_;
};

#endif  // KESU_BENCH_PEERS_HAND_TRANSFER_H_
