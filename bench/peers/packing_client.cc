#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "dovi/deployment_settings.h"

#include "bench/peers/client.h"
#include "bench/peers/comparison.h"
#include "bench/peers/hand_driver.h"
#include "bench/peers/hand_transfer.h"
#include "bench/peers/mux_format.h"

namespace {

constexpr std::size_t kMaxPostBytes = 32768;
constexpr std::size_t kSizeReserve = 2;
constexpr long kMaxConnections = 64;
constexpr std::size_t kBlockHeaderBytes = 6;
/// Id, service, version and the length of the payload.
constexpr std::size_t kFixedBodyBytes = 2 + 2 + (sizeof plain::kServiceUri - 1) + 2 + 4;
/// Four commas between the five parts of the client's version.
constexpr std::string_view kClientVersion = ",,,,";

/// Many requests in one body, and the handle that carries it.
struct Post {
  Post(const std::string& url, std::size_t number) : transfer(url, number) {}

  HandTransfer transfer;
  std::string body;
  std::size_t first = 0;
  std::size_t count = 0;
  std::uint16_t first_id = 0;
};

void AppendHeaderBlock(std::string* body) {
  plain::PutNumber(plain::kProtocolVersion, body);
  const std::size_t length = 2 + kClientVersion.size() + 8 + 2;
  plain::PutNumber(static_cast<std::uint32_t>(length), body);
  plain::PutNumber(plain::kHeaderBlock, body);
  plain::PutText(kClientVersion, body);
  plain::PutNumber(std::uint64_t{0}, body);
  plain::PutText({}, body);
}

void AppendRequestBlock(std::uint16_t id, std::string_view payload, std::string* body) {
  plain::PutNumber(static_cast<std::uint32_t>(kFixedBodyBytes + payload.size()), body);
  plain::PutNumber(plain::kRequestBlock, body);
  plain::PutNumber(id, body);
  plain::PutText(plain::kServiceUri, body);
  plain::PutNumber(plain::kServiceVersion, body);
  plain::PutNumber(static_cast<std::uint32_t>(payload.size()), body);
  body->append(payload);
}

class PackingClient final : public Client {
 public:
  PackingClient(const std::string& host, bool keep_bodies)
      : url_(host + kDoviServicePath),
        keep_bodies_(keep_bodies),
        driver_(kMaxConnections, [this](CURL* easy, CURLcode result) { OnDone(easy, result); }) {}

  void Prepare(const std::vector<std::string>& requests) override { requests_ = &requests; }

  void Exchange(Answers* answers) override {
    answers_ = answers;
    for (std::size_t next = 0; next < requests_->size();) next = SendSome(next);
    while (!answers->all_taken()) g_main_context_iteration(nullptr, TRUE);
  }

  const std::vector<std::string>& bodies() const override { return bodies_; }

 private:
  /// Sends as many requests as one POST takes, from `first` on; returns the next.
  std::size_t SendSome(std::size_t first) {
    Post* post = TakeSpare();
    post->first = first;
    post->first_id = next_id_;
    post->body.clear();
    post->body.reserve(kMaxPostBytes);
    AppendHeaderBlock(&post->body);
    std::size_t next = first;
    for (; next < requests_->size(); ++next) {
      const std::string& payload = (*requests_)[next];
      const std::size_t size = kBlockHeaderBytes + kFixedBodyBytes + payload.size();
      if (next != first && post->body.size() + size + kSizeReserve > kMaxPostBytes) break;
      AppendRequestBlock(next_id_++, payload, &post->body);
    }
    post->count = next - first;
    if (keep_bodies_) bodies_.push_back(post->body);
    post->transfer.SetBody(post->body.data(), post->body.size());
    driver_.Add(post->transfer.easy());
    return next;
  }

  void OnDone(CURL* easy, CURLcode result) {
    Post* post = posts_[HandTransfer::Of(easy)->number()].get();
    post->transfer.RequireGood(result);
    TakeAnswers(*post);
    spare_.push_back(post);
  }

  void TakeAnswers(const Post& post) {
    plain::MuxReader reply(post.transfer.response());
    RequireSame(reply.Take<std::uint16_t>() == plain::kProtocolVersion, "a reply has no version");
    while (reply.ok() && !reply.at_end()) {
      const auto length = reply.Take<std::uint32_t>();
      const auto type = reply.Take<std::uint16_t>();
      plain::MuxReader block(reply.TakeBytes(length));
      if (type != plain::kResponseBlock) continue;
      const auto id = block.Take<std::uint16_t>();
      const auto status = block.Take<std::uint16_t>();
      RequireSame(block.TakeText().empty(), "an answer is encoded");
      block.Take<std::uint32_t>();
      const auto index = static_cast<std::uint16_t>(id - post.first_id);
      if (index >= post.count) continue;
      answers_->Take(post.first + index, status, block.TakeRest());
    }
  }

  Post* TakeSpare() {
    if (spare_.empty()) {
      posts_.push_back(std::make_unique<Post>(url_, posts_.size()));
      return posts_.back().get();
    }
    Post* post = spare_.back();
    spare_.pop_back();
    return post;
  }

  std::string url_;
  bool keep_bodies_;
  const std::vector<std::string>* requests_ = nullptr;
  Answers* answers_ = nullptr;
  std::vector<std::unique_ptr<Post>> posts_;
  std::vector<Post*> spare_;
  std::vector<std::string> bodies_;
  std::uint16_t next_id_ = 0;
  HandDriver driver_;
};

}  // namespace

std::unique_ptr<Client> NewPackingClient(const std::string& host, bool keep_bodies) {
  return std::make_unique<PackingClient>(host, keep_bodies);
}
