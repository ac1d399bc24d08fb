#include <memory>
#include <string>
#include <vector>

#include "bench/peers/client.h"
#include "bench/peers/hand_driver.h"
#include "bench/peers/hand_transfer.h"
#include "bench/peers/mux_format.h"
#include "bench/peers/server.h"

namespace {

constexpr int kMaxConnections = 64;

/// One POST for each request: what the two ways below have in common.
class SingleClient : public Client {
 public:
  SingleClient(const std::string& host, int connections)
      : url_(host + kSinglePath), driver_(connections, [this](CURL* easy, CURLcode result) {
          HandTransfer* transfer = HandTransfer::Of(easy);
          transfer->RequireGood(result);
          answers_->Take(transfer->number(), plain::kStatusOk, transfer->response());
          OnDone(transfer);
        }) {}

  void Prepare(const std::vector<std::string>& requests) override { requests_ = &requests; }

  void Exchange(Answers* answers) override {
    answers_ = answers;
    Begin();
    while (!answers->all_taken()) g_main_context_iteration(nullptr, TRUE);
  }

  const std::vector<std::string>& bodies() const override { return no_bodies_; }

 protected:
  virtual void Begin() = 0;
  /// The transfer's answer has been taken.
  virtual void OnDone(HandTransfer* transfer) = 0;

  std::size_t request_count() const { return requests_->size(); }
  HandTransfer* NewTransfer() const { return new HandTransfer(url_, 0); }
  /// Sends the request of that number.
  void Send(std::size_t number, HandTransfer* transfer) {
    const std::string& request = (*requests_)[number];
    transfer->set_number(number);
    transfer->SetBody(request.data(), request.size());
    driver_.Add(transfer->easy());
  }

 private:
  std::string url_;
  const std::vector<std::string>* requests_ = nullptr;
  Answers* answers_ = nullptr;
  std::vector<std::string> no_bodies_;
  HandDriver driver_;
};

class KeepAliveClient final : public SingleClient {
 public:
  KeepAliveClient(const std::string& host, int connections) : SingleClient(host, connections) {
    for (int i = 0; i < connections; ++i) transfers_.emplace_back(NewTransfer());
  }

 private:
  void Begin() override {
    next_ = 0;
    for (const auto& transfer : transfers_) SendNext(transfer.get());
  }
  void OnDone(HandTransfer* transfer) override { SendNext(transfer); }
  void SendNext(HandTransfer* transfer) {
    if (next_ < request_count()) Send(next_++, transfer);
  }

  std::vector<std::unique_ptr<HandTransfer>> transfers_;
  std::size_t next_ = 0;
};

class StormClient final : public SingleClient {
 public:
  explicit StormClient(const std::string& host) : SingleClient(host, kMaxConnections) {}

 private:
  void Begin() override {
    for (std::size_t i = 0; i < request_count(); ++i) Send(i, NewTransfer());
  }
  void OnDone(HandTransfer* transfer) override { delete transfer; }
};

}  // namespace

std::unique_ptr<Client> NewKeepAliveClient(const std::string& host, int connections) {
  return std::make_unique<KeepAliveClient>(host, connections);
}

std::unique_ptr<Client> NewStormClient(const std::string& host) {
  return std::make_unique<StormClient>(host);
}
