#ifndef CLIENT_CALLS_H_
#define CLIENT_CALLS_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/call_state.h"

/// The kinds of calls.
namespace kesu::detail {

class LocateCall final : public ResultCall<Location> {
 public:
  /// The observation as it may be told.
  LocateCall(std::shared_ptr<ClientCore> client, Observation observation, Callback callback)
      : ResultCall(std::move(client), std::move(callback)), observation_(std::move(observation)) {}

 private:
  void Begin() override;
  void OnResponse(std::size_t index, const common_kesu::Response& response) override;

  Observation observation_;
  /// For the cache; empty where there is none.
  std::string question_;
};

class ReverseCall final : public TypedCall<std::vector<ReverseResult>> {
 public:
  ReverseCall(std::shared_ptr<ClientCore> client, std::vector<Point> points, Callback callback);

 private:
  /// An element of a request.
  struct Question {
    std::size_t point;
    /// For the cache; empty where there is none.
    std::string bytes;
  };

  void Begin() override;
  void OnResponse(std::size_t index, const common_kesu::Response& response) override;
  /// Takes the place of the answers that have not come.
  void SetError(const Error& error) override;
  ErrorKind kind_of_outcome() const override;
  bool AnswerAtOnce(Question* question);
  void AskAbout(std::vector<Question> questions);
  void FinishWithPlaces();

  const std::vector<Point> points_;
  /// An error of kind kNone stands for an answer that has not come.
  std::vector<ReverseResult> places_;
  /// By the request that holds them, in its order.
  std::vector<std::vector<Question>> questions_;
  std::size_t unanswered_requests_ = 0;
};

class BytesCall final : public ResultCall<std::string> {
 public:
  BytesCall(std::shared_ptr<ClientCore> client, std::string_view service, std::string_view request,
            Callback callback)
      : ResultCall(std::move(client), std::move(callback)), service_(service), request_(request) {}

 private:
  void Begin() override;
  void OnResponse(std::size_t index, const common_kesu::Response& response) override;

  const std::string service_;
  const std::string request_;
};

}  // namespace kesu::detail

#endif  // CLIENT_CALLS_H_
