// Signals at full speed while messages pass: through a proxy, which blocks them, and into receives,
// which they interrupt. A proxy that takes signals fails here in most runs, not in all;
// ProxyThreadTest checks its signal mask.
#include "client.hpp"
#include "ledger.hpp"
#include "servers.hpp"
#include "storm.hpp"

#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/router_dealer.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/error.hpp>
#include <tavrik/tavrik.h>

#include <unistd.h>

#include <atomic>
#include <gtest/gtest.h>
#include <iostream>
#include <list>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace support;
using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;

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

  // A thread that takes signals.
  void startTaker() {
    threads.emplace_back([this] {
      const deaths::OpenToStorm open;
      while (!over) std::this_thread::yield();
    });
  }

  // Sends messages through a proxy, with signals blocked in this thread. Each has to arrive once,
  // whole and in order. Fills the queues before it receives, so that the proxy waits inside a
  // message for room to send it.
  void passThroughProxy() {
    AsyncRouterDealerChannel worker(testName(), ASYNC_DEALER_WORKER);
    AsyncRouterDealerChannel client(testName(), ASYNC_DEALER_CLIENT);
    const std::string front = inprocEndpoint();
    worker.setServerEndPoint(front);
    worker.setWorkerEndPoint(inprocEndpoint());
    client.setServerEndPoint(front);
    {
      char subject[SUBJECT_BUFFER_SIZE];
      Message message;
      const deaths::OpenToStorm open;  // the proxy's thread has to block signals by itself
      worker.receive(subject, &message, 1);
    }
    int sent = 0;
    int received = 0;
    const auto receiveAll = [&] {
      while (received < sent && !HasFailure()) expectMessage(worker, received++);
    };
    constexpr int rounds = 5;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
      // The proxy forwards up to 1000 messages before it looks for room again, and the queues hold
      // a multiple of that. After a single message they are full in the middle.
      sent += isSent(client, sent) ? 1 : 0;
      receiveAll();
      constexpr int probablyFull = 50;
      for (int refused = 0; refused < probablyFull; ++refused) {
        for (; isSent(client, sent); ++sent) refused = 0;
        std::this_thread::yield();
      }
      receiveAll();
    }
  }

  // Returns false when the queues are full.
  static bool isSent(AsyncRouterDealerChannel& client, int number) {
    Message message = messageOf({std::to_string(number), "second"});
    try {
      return client.send("message", &message) == 2;
    } catch (const std::runtime_error& failure) {
      constexpr int full = -17498123;
      EXPECT_EQ(full, decode_error(failure.what()));
      return false;
    }
  }

  static void expectMessage(AsyncRouterDealerChannel& worker, int number) {
    char subject[SUBJECT_BUFFER_SIZE] = "";
    Message message;
    worker.receive(subject, &message, patience);
    EXPECT_STREQ("message", subject);
    EXPECT_EQ((Parts{std::to_string(number), "second"}), partsOf(message));
  }

  TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
  std::atomic<bool> over{false};
  std::list<std::thread> threads;
};

TEST_F(SignalStormTest, AProxyForwardsAllMessagesIfAnotherThreadTakesTheSignals) {
  startTaker();
  startStorm();
  passThroughProxy();
}

TEST_F(SignalStormTest, AProxyForwardsAllMessagesIfEveryOtherThreadBlocksTheSignals) {
  startStorm();
  passThroughProxy();
}

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
