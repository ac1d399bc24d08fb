#include "kesu/mux/post_index.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include <doctest/doctest.h>
#include <malloc.h>

namespace {

using common_kesu::MultiplexedPost;

struct Ender final : common_base::RequestInterface {
  int Start(common_base::RequesterInterface*) override { return 0; }
  void Cancel() override {}
};

}  // namespace

TEST_CASE("each POST is found by its request and by no other, however many come and go") {
  // As many as fill tables of more than the size that is kept.
  constexpr unsigned kEnders = 1700;
  std::array<Ender, kEnders> enders;
  std::vector<std::unique_ptr<MultiplexedPost>> posts;
  common_kesu::PostIndex index;
  std::map<const Ender*, MultiplexedPost*> expected;
  std::minstd_rand random(1);
  for (int step = 0; step < 45000; ++step) {
    const Ender* ender = &enders[random() % (step % 10000 < 5000 ? kEnders : 5)];
    if (random() % 8 < (step % 2000 < 1000 ? 6 : 2)) {
      if (posts.size() < 100) {
        posts.push_back(
            std::make_unique<MultiplexedPost>(common_base::GVectorRef<common_kesu::Request*>(), 0));
        posts.back()->set_number(static_cast<long long>(posts.size()));
      }
      MultiplexedPost* post = posts[random() % posts.size()].get();
      index.Set(ender, post);
      expected[ender] = post;
    } else {
      const auto found = expected.find(ender);
      CHECK(index.Take(ender) == (found == expected.end() ? nullptr : found->second));
      expected.erase(ender);
    }
    if (step % 1000 != 999) continue;
    const bool is_end = step % 10000 == 9999;
    for (const Ender& any : enders) {
      const auto found = expected.find(&any);
      MultiplexedPost* post = found == expected.end() ? nullptr : found->second;
      REQUIRE(index.Find(&any) == post);
      if (is_end) CHECK(index.Take(&any) == post);
    }
    if (is_end) expected.clear();
  }
  std::vector<MultiplexedPost*> newest_first;
  for (const auto& [ender, post] : expected) newest_first.push_back(post);
  std::sort(newest_first.begin(), newest_first.end(),
            [](const auto* a, const auto* b) { return a->number() > b->number(); });
  newest_first.erase(std::unique(newest_first.begin(), newest_first.end()), newest_first.end());
  const auto taken = index.TakeAll();
  CHECK(std::equal(taken.begin(), taken.end(), newest_first.begin(), newest_first.end()));
  CHECK(index.TakeAll().empty());

  // No room is kept for what has gone.
  const std::size_t heap_bytes = mallinfo2().uordblks;
  for (int i = 0; i < 10000; ++i) {
    for (int twice = 0; twice < 2; ++twice) index.Set(&enders[0], posts[0].get());
    index.Take(&enders[0]);
  }
  CHECK(mallinfo2().uordblks <= heap_bytes + 1024);
}
