#include "server/storage/postgres_channel.h"

#include <glib-unix.h>

namespace kesu_server {
namespace {

constexpr int kBinary = 1;

bool SendStatement(const PostgresInquiry::Query& query, PGconn* connection) {
  std::vector<const char*> values;
  std::vector<int> lengths;
  for (const std::string& value : query.parameters.values()) {
    values.push_back(value.data());
    lengths.push_back(static_cast<int>(value.size()));
  }
  const std::vector<int> formats(values.size(), kBinary);
  return PQsendQueryPrepared(connection, query.statement->name, static_cast<int>(values.size()),
                             values.data(), lengths.data(), formats.data(), kBinary) == 1;
}

/// On one line.
std::string Trimmed(const char* message) {
  std::string text = message == nullptr ? "" : message;
  while (!text.empty() && text.back() == '\n') text.pop_back();
  for (char& c : text) {
    if (c == '\n') c = ' ';
  }
  return text;
}

}  // namespace

PostgresChannel::PostgresChannel(const PostgresTarget* target, std::vector<std::string> settings,
                                 Events events)
    : target_(target), settings_(std::move(settings)), events_(std::move(events)) {}

PostgresChannel::~PostgresChannel() {
  Close();
}

void PostgresChannel::Close() {
  if (watch_ != 0) g_source_remove(std::exchange(watch_, 0));
  if (soon_ != 0) g_source_remove(std::exchange(soon_, 0));
  PQfinish(std::exchange(connection_, nullptr));
  state_ = State::kClosed;
}

void PostgresChannel::Connect() {
  attempt_ = 0;
  error_.clear();
  TryHosts();
}

void PostgresChannel::TryHosts() {
  for (; attempt_ < target_->attempts(); ++attempt_) {
    Close();
    state_ = State::kConnecting;
    busy_since_us_ = g_get_monotonic_time();
    const PostgresTarget::Attempt attempt = target_->attempt(attempt_);
    connection_ = PQconnectStartParams(attempt.keywords.data(), attempt.values.data(), 1);
    if (PQstatus(connection_) != CONNECTION_BAD) return Watch(G_IO_OUT);
    error_ = ConnectionError();
  }
  LoseSoon();
}

void PostgresChannel::Poll() {
  const PostgresPollingStatusType status = PQconnectPoll(connection_);
  // It may have gone on with another socket.
  if (watch_ != 0) g_source_remove(std::exchange(watch_, 0));
  switch (status) {
    case PGRES_POLLING_READING:
      return Watch(G_IO_IN);
    case PGRES_POLLING_WRITING:
      return Watch(G_IO_OUT);
    case PGRES_POLLING_OK:
      return Prepare();
    default:
      error_ = ConnectionError();
      ++attempt_;
      TryHosts();
  }
}

void PostgresChannel::Prepare() {
  PQsetNoticeProcessor(
      connection_, [](void*, const char*) {}, nullptr);
  bool is_sent = PQsetnonblocking(connection_, 1) == 0 && PQenterPipelineMode(connection_) == 1;
  for (const std::string& setting : settings_) {
    is_sent = is_sent && PQsendQueryParams(connection_, setting.c_str(), 0, nullptr, nullptr,
                                           nullptr, nullptr, kBinary) == 1;
  }
  error_.clear();
  state_ = State::kPreparing;
  prepared_.clear();
  Expect({});
  if (!is_sent || PQpipelineSync(connection_) != 1) return LoseSoon();
  Flush();
}

void PostgresChannel::Expect(Sent sent) {
  if (jobs_.empty()) busy_since_us_ = g_get_monotonic_time();
  jobs_.push_back(std::move(sent));
}

bool PostgresChannel::SendQuery(std::size_t number, Sent* sent) {
  const PostgresInquiry::Query& query = sent->job->inquiry.queries()[number];
  const PostgresStatement& statement = *query.statement;
  if (prepared_.insert(&statement).second) {
    sent->results.emplace_back();
    if (PQsendPrepare(connection_, statement.name, statement.sql.c_str(), 0, nullptr) != 1) {
      return false;
    }
  }
  sent->results.emplace_back(number);
  return SendStatement(query, connection_);
}

void PostgresChannel::Send(const std::shared_ptr<Job>& job) {
  job->error.clear();
  job->inquiry.Restart();
  Sent sent = {job};
  bool is_sent = true;
  for (std::size_t i = 0; i < job->inquiry.queries().size(); ++i) {
    is_sent = is_sent && SendQuery(i, &sent);
  }
  Expect(std::move(sent));
  if (!is_sent || PQpipelineSync(connection_) != 1) return LoseSoon();
  Flush();
}

void PostgresChannel::Flush() {
  const int unsent = PQflush(connection_);
  if (unsent < 0) return LoseSoon();
  Watch(unsent > 0 ? static_cast<GIOCondition>(G_IO_IN | G_IO_OUT) : G_IO_IN);
}

void PostgresChannel::Watch(GIOCondition condition) {
  if (watch_ != 0 && watched_ == condition) return;
  if (watch_ != 0) g_source_remove(watch_);
  const auto on_socket = [](int, GIOCondition, void* self) -> gboolean {
    static_cast<PostgresChannel*>(self)->OnSocket();
    return G_SOURCE_CONTINUE;
  };
  watched_ = condition;
  watch_ = g_unix_fd_add(PQsocket(connection_), condition, on_socket, this);
}

void PostgresChannel::OnSocket() {
  if (state_ == State::kConnecting) return Poll();
  if ((watched_ & G_IO_OUT) != 0) Flush();
  if (state_ != State::kBroken) Read();
}

void PostgresChannel::Read() {
  bool is_open = PQconsumeInput(connection_) == 1;
  while (is_open && !jobs_.empty() && PQisBusy(connection_) == 0) {
    const PostgresResult result(PQgetResult(connection_));
    Take(result.get());
    if (state_ == State::kClosed || state_ == State::kBroken) return;
    is_open = PQstatus(connection_) == CONNECTION_OK;
  }
  if (is_open) return;
  if (error_.empty()) error_ = ConnectionError();
  Lose();
}

void PostgresChannel::Take(const PGresult* result) {
  const Sent& sent = jobs_.front();
  Job* const job = sent.job.get();
  if (result == nullptr) {
    ++next_result_;
    return;
  }
  switch (PQresultStatus(result)) {
    case PGRES_PIPELINE_SYNC:
      return EndJob();
    case PGRES_TUPLES_OK:
      if (next_result_ < sent.results.size() && sent.results[next_result_]) {
        job->inquiry.Take(*sent.results[next_result_], result);
      }
      return;
    case PGRES_FATAL_ERROR:
      (job != nullptr ? job->error : error_) =
          Trimmed(PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY));
      return;
    default:
      return;
  }
}

void PostgresChannel::EndJob() {
  next_result_ = 0;
  busy_since_us_ = g_get_monotonic_time();
  const Sent sent = std::move(jobs_.front());
  jobs_.pop_front();
  if (sent.job) {
    // What could not be prepared must not be taken for prepared.
    const bool has_prepared = sent.results.size() > sent.job->inquiry.queries().size();
    if (has_prepared && !sent.job->error.empty()) LoseSoon(sent.job->error);
    return events_.on_done(sent.job);
  }
  if (!error_.empty()) return Lose();
  state_ = State::kReady;
  events_.on_ready();
}

void PostgresChannel::CheckTime(std::int64_t now_us, std::int64_t limit_us) {
  const std::int64_t busy_us = now_us - busy_since_us_;
  if (state_ == State::kConnecting) {
    if (busy_us < std::int64_t{target_->connect_timeout_s()} * G_USEC_PER_SEC) return;
    error_ = "a host of the database does not answer";
    ++attempt_;
    return TryHosts();
  }
  if (jobs_.empty() || state_ == State::kBroken || busy_us < limit_us) return;
  error_ = "the database does not answer";
  Lose();
}

void PostgresChannel::LoseSoon(const std::string& error) {
  state_ = State::kBroken;
  if (watch_ != 0) g_source_remove(std::exchange(watch_, 0));
  if (error_.empty()) error_ = error.empty() ? ConnectionError() : error;
  if (soon_ != 0) return;
  const auto lose = [](void* channel) -> gboolean {
    auto* const self = static_cast<PostgresChannel*>(channel);
    self->soon_ = 0;
    self->Lose();
    return G_SOURCE_REMOVE;
  };
  soon_ = g_timeout_add(0, lose, this);
}

void PostgresChannel::Lose() {
  Close();
  next_result_ = 0;
  std::vector<std::shared_ptr<Job>> jobs;
  for (Sent& sent : std::exchange(jobs_, {})) {
    if (sent.job) jobs.push_back(std::move(sent.job));
  }
  events_.on_lost(std::move(jobs), std::exchange(error_, {}));
}

std::string PostgresChannel::ConnectionError() const {
  return Trimmed(PQerrorMessage(connection_));
}

}  // namespace kesu_server
