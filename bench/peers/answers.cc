#include "bench/peers/answers.h"

#include <cstdio>

#include "kesu/common/base/data_output_stream.h"

#include "bench/peers/comparison.h"
#include "bench/sample_messages.h"

namespace {

/// An answer begins with that much of its request.
constexpr std::size_t kEchoedBytes = 8;

/// Whether the request is of MakeRequests(); otherwise it is a lookup.
bool IsNumbered(std::string_view request) {
  return !request.empty() && request.front() >= '0' && request.front() <= '9';
}

std::string LookupAnswer() {
  lbs::GLocReply reply;
  FillLookupReply(&reply);
  common_base::ByteVector bytes;
  common_base::DataOutputStream stream(&bytes);
  reply.Write(&stream);
  return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(bytes.length())};
}

}  // namespace

void AppendAnswer(std::string_view request, std::string* out) {
  static const std::string lookup_answer = LookupAnswer();
  if (!IsNumbered(request)) {
    out->append(lookup_answer);
    return;
  }
  out->append(request.substr(0, kEchoedBytes));
  out->append(kAnswerBytes - kEchoedBytes, 'a');
}

std::vector<std::string> MakeRequests(int count) {
  std::vector<std::string> requests;
  for (int i = 0; i < count; ++i) {
    char number[kEchoedBytes + 1];
    std::snprintf(number, sizeof number, "%08u", static_cast<unsigned>(i) % 100000000U);
    requests.push_back(number + std::string(kRequestBytes - kEchoedBytes, 'r'));
  }
  return requests;
}

Answers::Answers(const std::vector<std::string>& requests)
    : requests_(requests), is_taken_(requests.size()), left_(requests.size()) {}

void Answers::Take(std::size_t index, int status, std::string_view answer) {
  const std::string_view request = requests_[index];
  RequireSame(status == 200 && answer.size() == kAnswerBytes && !is_taken_[index] &&
                  answer.substr(0, kEchoedBytes) == request.substr(0, kEchoedBytes),
              "an answer is not that of its request");
  is_taken_[index] = true;
  --left_;
}
