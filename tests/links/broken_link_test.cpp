// Heartbeats over links that break without a word: each peer notices within a few intervals, and
// the same channels exchange messages again.
#include "process_pair.hpp"

#include <support/relay.hpp>

#include <signal.h>

#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <tuple>

namespace {

using links::ProcessPair;
using links::Roles;
using support::Relay;

struct Break {
  std::string name;
  void (*make)(Relay&, ProcessPair&);
  void (*mend)(ProcessPair&);
  bool onlyServerNotices = false;  // the client does not connect again before the link is mended
};

void PrintTo(const Break& broken, std::ostream* out) {
  *out << broken.name;
}

void nothingToMend(ProcessPair&) {}

const Break breaks[] = {
    {"ClientsSideBreaks", [](Relay& relay, ProcessPair&) { relay.dropClients(); }, nothingToMend},
    {"ServersSideBreaks", [](Relay& relay, ProcessPair&) { relay.dropServers(); }, nothingToMend},
    {"LinkGoesSilent", [](Relay& relay, ProcessPair&) { relay.silenceAll(); }, nothingToMend},
    {"ServerIsStopped", [](Relay&, ProcessPair& pair) { pair.server.process().signal(SIGSTOP); },
     [](ProcessPair& pair) { pair.server.process().signal(SIGCONT); }},
    {"ClientIsStopped", [](Relay&, ProcessPair& pair) { pair.client.process().signal(SIGSTOP); },
     [](ProcessPair& pair) { pair.client.process().signal(SIGCONT); }, true},
};

class BrokenLinkTest : public testing::TestWithParam<std::tuple<Roles, Break>> {
 protected:
  // Waits until the side that can notice has given the connection up.
  bool isNoticed(int acceptedBefore) const {
    const bool byServer = std::get<1>(GetParam()).onlyServerNotices;
    const auto noticed = [&] {
      return byServer ? relay.working() == 0 : relay.accepted() > acceptedBefore;
    };
    const auto end = endOfPatience();
    while (!noticed() && Clock::now() < end) std::this_thread::yield();
    return noticed();
  }

  support::TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  Relay relay{endpoint};
};

TEST_P(BrokenLinkTest, TheSameChannelsExchangeMessagesAgainWithinAFewIntervals) {
  const auto& [roles, broken] = GetParam();
  ProcessPair pair(roles, nullptr, endpoint, nullptr, relay.endpoint());
  ASSERT_TRUE(pair.exchange());
  const int accepted = relay.accepted();

  const auto start = Clock::now();
  broken.make(relay, pair);
  EXPECT_TRUE(isNoticed(accepted));
  broken.mend(pair);
  EXPECT_TRUE(pair.exchange());
  EXPECT_LT(Clock::now() - start, links::aFewIntervals);
}

INSTANTIATE_TEST_SUITE_P(, BrokenLinkTest,
                         testing::Combine(testing::ValuesIn(links::allPatterns),
                                          testing::ValuesIn(breaks)),
                         [](const auto& test) {
                           return std::get<0>(test.param).name + "_" + std::get<1>(test.param).name;
                         });

}  // namespace
