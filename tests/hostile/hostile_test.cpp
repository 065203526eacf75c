// Hostile peers of every role that binds and every role that connects. Well-behaved peers are
// served beside them all the time. Afterwards the process holds no more memory and descriptors than
// before.
//
// Runs each attack three times, or as often as an argument says.
#include "attacks.hpp"
#include "scenes.hpp"

#include <support/footprint.hpp>
#include <tavrik/tavrik.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

namespace {

using hostile::Attack;
using hostile::Attacker;
using hostile::Scene;
using std::chrono::steady_clock;
using support::Footprint;

int rounds = 3;

struct Victim {
  std::string name;
  std::unique_ptr<Scene> (*scene)();
};

void PrintTo(const Victim& victim, std::ostream* out) {
  *out << victim.name;
}

template <class Its>
std::unique_ptr<Scene> make() {
  return std::make_unique<Its>();
}

const std::vector<Victim> victims{
    {"BoundReplier", make<hostile::BoundReplier>},
    {"BoundPublisher", make<hostile::BoundPublisher>},
    {"ProxysClientSide", make<hostile::ProxysClientSide>},
    {"ProxysWorkerSide", make<hostile::ProxysWorkerSide>},
    {"ConnectingRequester", make<hostile::ConnectingRequester>},
    {"ConnectingSubscriber", make<hostile::ConnectingSubscriber>},
    {"ConnectingDealer", make<hostile::ConnectingDealer>},
    {"ConnectingWorker", make<hostile::ConnectingWorker>},
};

class HostileTest : public testing::TestWithParam<std::tuple<Victim, Attack>> {
 protected:
  void SetUp() override {
    tavrik_Install_Logfn(nullptr);
    scene->repliesAreLost = attack.withoutDelimiter;
  }

  void exchange() {
    const auto start = steady_clock::now();
    scene->exchange();
    const auto time = steady_clock::now() - start;
    slowest = std::max(slowest, std::chrono::duration_cast<std::chrono::milliseconds>(time));
    ++exchanges;
  }

  void beAttacked() {
    Attacker attacker(*scene);
    auto attacking = std::async(std::launch::async, attack.run, std::ref(attacker));
    constexpr std::chrono::seconds now(0);
    while (attacking.wait_for(now) != std::future_status::ready) exchange();
    attacking.get();
    for (int i = 0; i < attack.exchanges; ++i) exchange();
  }

  // Serves until the process holds no more descriptors and memory than this, or for a while.
  Footprint recover(long descriptors, long memory) {
    const auto end = steady_clock::now() + std::chrono::milliseconds(support::patience);
    Footprint now;
    do {
      exchange();
      now = Footprint::now();
    } while (
        (now.descriptors > descriptors || (support::memoryIsMeaningful && now.memory > memory)) &&
        steady_clock::now() < end);
    EXPECT_EQ(descriptors, now.descriptors);
    EXPECT_TRUE(!support::memoryIsMeaningful || now.memory <= memory)
        << now.memory << " kB are held, " << memory << " kB are allowed";
    return now;
  }

  const Attack& attack = std::get<1>(GetParam());
  const std::unique_ptr<Scene> scene = std::get<0>(GetParam()).scene();
  std::chrono::milliseconds slowest{0};
  long exchanges = 0;
};

TEST_P(HostileTest, OthersAreServedAndNothingIsKept) {
  exchange();
  const Footprint fresh = Footprint::now();
  // What the first attack leaves is used again by the others.
  constexpr long keptOfFirst = 12288;  // kB
  beAttacked();
  const Footprint before = recover(fresh.descriptors, fresh.memory + keptOfFirst);
  for (int round = 1; round < rounds; ++round) beAttacked();
  const Footprint after =
      recover(fresh.descriptors, before.memory + attack.kept + (rounds - 1) * attack.keptEach);
  scene->replaceHostile();
  std::cout << rounds << " attacks, " << exchanges << " exchanges, the slowest took "
            << slowest.count() << " ms; memory at first, after one and after all " << fresh.memory
            << ' ' << before.memory << ' ' << after.memory << " kB, peak " << after.peak << " kB\n";
}

INSTANTIATE_TEST_SUITE_P(, HostileTest,
                         testing::Combine(testing::ValuesIn(victims),
                                          testing::ValuesIn(hostile::attacks)),
                         [](const auto& test) {
                           return std::get<0>(test.param).name + "_" + std::get<1>(test.param).name;
                         });

}  // namespace

// Frames may claim any length. An allocation of that size fails, as it does without the sanitizer.
extern "C" const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier)
  return "allocator_may_return_null=1:max_allocation_size_mb=256";
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc > 1) rounds = std::max(2, std::atoi(argv[1]));
  return RUN_ALL_TESTS();
}
