#include "client/calls.h"

#include <algorithm>
#include <utility>

#include "client/earth.h"
#include "client/location_messages.h"
#include "client/response_error.h"
#include "client/text.h"
#include "kesu/common/base/object_region.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/services/lbs_service.h"

namespace kesu::detail {
namespace {

using common_base::ByteVector;
using common_kesu::kLBSServiceUri;
using common_kesu::Response;

/// What a lookup usually takes in memory while it is written.
constexpr std::size_t kRequestSize = 4096;
/// As many as fit into a POST with others, at some thirty bytes each.
constexpr std::size_t kPointsPerRequest = 1000;

ByteVector BytesOf(const common_net_proto::Message& message) {
  ByteVector bytes;
  common_base::DataOutputStream stream(&bytes);
  message.Write(&stream);
  return bytes;
}

std::string QuestionOf(const lbs::GLocRequestElement& element) {
  const ByteVector bytes = BytesOf(element);
  return {bytes.begin(), bytes.end()};
}

std::chrono::microseconds TimeOf(const ClientCore& client) {
  return std::chrono::microseconds(client.Now());
}

/// The request of the client that asks this.
ByteVector RequestOf(const lbs::GLocRequest& questions, ClientCore* client) {
  ByteVector bytes;
  bytes.AppendAll(client->AskerBytes());
  common_base::DataOutputStream stream(&bytes);
  questions.Write(&stream);
  return bytes;
}

/// Reads the reply and takes from it what is the client's.
Error ReadReply(const Response& response, lbs::GLocReply* reply, ClientCore* client) {
  Error error = ReadAnswer(response, reply);
  if (error.kind != ErrorKind::kNone) return error;
  std::string key = TextOf(reply->platform_key());
  if (!key.empty()) client->set_platform_key(std::move(key));
  return {};
}

}  // namespace

void LocateCall::Begin() {
  // Not kept while the answer is waited for.
  const Observation observation = std::move(observation_);
  const std::chrono::milliseconds utc(Engine::Get()->clock().GetUtcTime());
  const Location* kept = nullptr;
  ByteVector bytes;
  {
    const common_base::ObjectRegion region(kRequestSize);
    lbs::GLocRequest request;
    lbs::GLocRequestElement* element = request.add_requestelements();
    WriteQuestion(observation, utc, element);
    if (client().locations.is_on()) {
      question_ = QuestionOf(*element);
      kept = client().locations.Find(question_, TimeOf(client()));
    }
    if (kept == nullptr) bytes = RequestOf(request, &client());
  }
  if (kept == nullptr) return Ask(kLBSServiceUri, std::move(bytes));
  ++client().counters().cache_hits;
  Location location = *kept;
  location.is_from_cache = true;
  SetOutcome(std::move(location));
  Finish();
}

void LocateCall::OnResponse(std::size_t, const Response& response) {
  lbs::GLocReply reply;
  const Error error = ReadReply(response, &reply, &client());
  if (error.kind != ErrorKind::kNone) return Fail(error);
  SetOutcome(ReadLocation(reply, HttpStatusOf(response)));
  if (outcome()) {
    client().RememberLocation(*outcome());
    client().locations.Keep(question_, *outcome(), TimeOf(client()));
  }
  Finish();
}

ReverseCall::ReverseCall(std::shared_ptr<ClientCore> client, std::vector<Point> points,
                         Callback callback)
    : TypedCall(std::move(client), std::move(callback)),
      points_(std::move(points)),
      places_(points_.size(), Error()) {}

void ReverseCall::Begin() {
  std::vector<Question> questions;
  for (std::size_t i = 0; i < points_.size(); ++i) {
    Question question{i, {}};
    if (AnswerAtOnce(&question)) continue;
    questions.push_back(std::move(question));
    if (questions.size() == kPointsPerRequest) AskAbout(std::exchange(questions, {}));
  }
  if (!questions.empty()) AskAbout(std::move(questions));
  if (unanswered_requests_ == 0) FinishWithPlaces();
}

/// Without asking, that is, where it can be.
bool ReverseCall::AnswerAtOnce(Question* question) {
  const Point& point = points_[question->point];
  if (!IsOnEarth(point.latitude, point.longitude)) {
    places_[question->point] = Error{ErrorKind::kMisuse, "the point is not on earth"};
    return true;
  }
  if (!client().places.is_on()) return false;
  lbs::GLocRequestElement element;
  WriteQuestion(point, &element);
  question->bytes = QuestionOf(element);
  const Place* kept = client().places.Find(question->bytes, TimeOf(client()));
  if (kept == nullptr) return false;
  ++client().counters().cache_hits;
  Place place = *kept;
  place.is_from_cache = true;
  places_[question->point] = std::move(place);
  return true;
}

void ReverseCall::AskAbout(std::vector<Question> questions) {
  lbs::GLocRequest request;
  for (const Question& question : questions) {
    WriteQuestion(points_[question.point], request.add_requestelements());
  }
  questions_.push_back(std::move(questions));
  ++unanswered_requests_;
  Ask(kLBSServiceUri, RequestOf(request, &client()));
}

void ReverseCall::OnResponse(std::size_t index, const Response& response) {
  lbs::GLocReply reply;
  const Error error = ReadReply(response, &reply, &client());
  int element = 0;
  for (const Question& question : questions_[index]) {
    ReverseResult& place = places_[question.point];
    if (error.kind == ErrorKind::kNone) {
      place = ReadPlace(reply, element++, HttpStatusOf(response));
    } else {
      place = error;
    }
    if (place) client().places.Keep(question.bytes, *place, TimeOf(client()));
  }
  if (--unanswered_requests_ == 0) FinishWithPlaces();
}

void ReverseCall::FinishWithPlaces() {
  SetOutcome(std::move(places_));
  Finish();
}

void ReverseCall::SetError(const Error& error) {
  for (ReverseResult& place : places_) {
    if (!place && place.error().kind == ErrorKind::kNone) place = error;
  }
  SetOutcome(std::move(places_));
}

ErrorKind ReverseCall::kind_of_outcome() const {
  for (const ReverseResult& place : outcome()) {
    if (place) return ErrorKind::kNone;
  }
  return outcome().empty() ? ErrorKind::kNone : outcome().front().error().kind;
}

void BytesCall::Begin() {
  ByteVector payload;
  payload.AppendAll(ViewOf(request_));
  Ask(service_, std::move(payload));
}

void BytesCall::OnResponse(std::size_t, const Response& response) {
  const Error error = ErrorOf(response);
  if (error.kind != ErrorKind::kNone) return Fail(error);
  const common_base::ScopedPtr<common_base::DataInputStream> stream(response.GetInputStream());
  if (!stream) return Fail(UnreadableAnswer(HttpStatusOf(response)));
  const common_base::ByteView bytes = stream->ReadFully();
  SetOutcome(std::string(bytes.begin(), bytes.end()));
  Finish();
}

}  // namespace kesu::detail
