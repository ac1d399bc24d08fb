#include "bench/peers/exchange_work.h"

namespace {

struct State {
  std::unique_ptr<Client> client;
  std::unique_ptr<Answers> answers;
};

}  // namespace

Work ExchangeWork(const NewClient& make, const std::vector<std::string>& requests, bool is_cold) {
  const auto state = std::make_shared<State>();
  return {[state] { state->client->Exchange(state->answers.get()); },
          [state, make, is_cold, &requests] {
            if (is_cold) state->client.reset();
            if (!state->client) state->client = make();
            state->client->Prepare(requests);
            state->answers = std::make_unique<Answers>(requests);
          }};
}

Contest ExchangeContest(const NewClient& ours, const NewClient& peer,
                        const std::vector<std::string>& requests, bool is_cold, int rounds) {
  return {.ours = ExchangeWork(ours, requests, is_cold),
          .peer = ExchangeWork(peer, requests, is_cold),
          .repetitions = 1,
          .rounds = rounds,
          .pieces = static_cast<int>(requests.size())};
}
