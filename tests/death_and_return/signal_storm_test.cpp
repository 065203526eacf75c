// Signals at full speed into receives, which they interrupt.
#include "client.hpp"
#include "ledger.hpp"
#include "servers.hpp"
#include "storm.hpp"

#include <support/temp_dir.hpp>
#include <tavrik/tavrik.h>

#include <unistd.h>

#include <atomic>
#include <gtest/gtest.h>
#include <iostream>
#include <list>
#include <string>
#include <thread>

namespace {

using namespace support;

class SignalStormTest : public testing::Test {
 protected:
  SignalStormTest() {
    deaths::handleStorm();
    tavrik_Install_Logfn(nullptr);
  }
  ~SignalStormTest() override {
    over = true;
    for (std::thread& thread : threads) thread.join();
  }

  // Sends signals to the process until the test is over. Any thread that does not block them may
  // get each.
  void startStorm() {
    threads.emplace_back([this] {
      while (!over) {
        kill(getpid(), deaths::stormSignal);
        std::this_thread::yield();
      }
    });
  }

  TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  std::atomic<bool> over{false};
  std::list<std::thread> threads;
};

TEST_F(SignalStormTest, InterruptedReceivesDamageNothingAndWhatTheyLoseCanBeAskedAgain) {
  deaths::SharedLedger ledger(dir.path() + "/ledger");
  const std::string jobs = dir.ipcEndpoint();
  const deaths::Servers servers(*ledger, endpoint, jobs, "0", 1, "none");
  startStorm();
  std::atomic<bool> finishing{false};
  std::list<std::thread> asking;
  const auto ask = [&](int number, pattern_t pattern, const std::string& server) {
    asking.emplace_back([=, &ledger, &finishing] {
      deaths::Client(*ledger, number, pattern, server, 1).run(finishing);
    });
  };
  ask(0, REQUEST_REPLY_PATTERN, endpoint);
  ask(1, ASYNC_ROUTER_DEALER_PATTERN, jobs);
  constexpr int requests = 5000;  // of each client
  while (ledger->of(0).begun < requests || ledger->of(1).begun < requests) {
    std::this_thread::yield();
  }
  finishing = true;
  for (std::thread& thread : asking) thread.join();
  EXPECT_EQ(0, ledger->faults);
  EXPECT_TRUE(ledger->of(0).isBalanced());
  EXPECT_TRUE(ledger->of(1).isBalanced());
  std::cout << "asked again: " << ledger->of(0).askedAgain << ' ' << ledger->of(1).askedAgain
            << '\n';
}

}  // namespace
