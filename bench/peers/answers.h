#ifndef KESU_BENCH_PEERS_ANSWERS_H_
#define KESU_BENCH_PEERS_ANSWERS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The small requests of the client's lines, and what is to come back.
constexpr std::size_t kRequestBytes = 150;
constexpr std::size_t kAnswerBytes = 300;

/// What the server answers a request of MakeRequests(), or any other, which is taken for a lookup.
void AppendAnswer(std::string_view request, std::string* out);

/// `count` requests, each of its own text.
std::vector<std::string> MakeRequests(int count);

/// Takes in the answers to requests of MakeRequests(), whichever client they came through. Every
/// byte of an answer is accounted for, and none may come twice.
class Answers {
 public:
  explicit Answers(const std::vector<std::string>& requests);

  void Take(std::size_t index, int status, std::string_view answer);
  bool all_taken() const { return left_ == 0; }

 private:
  const std::vector<std::string>& requests_;
  std::vector<bool> is_taken_;
  std::size_t left_;
};

#endif  // KESU_BENCH_PEERS_ANSWERS_H_
