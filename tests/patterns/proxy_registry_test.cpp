// How the first worker of a name starts the proxy, and what remains when it cannot.
#include <support/mutex_watch.hpp>
#include <support/proxy_test.hpp>
#include <support/transport_faults.hpp>
#include <support/transport_socket.hpp>

#include <atomic>
#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace support;

const std::string domain = "Numerical argument out of domain";  // EDOM

class ProxyRegistryTest : public ProxyTest {
 protected:
  ~ProxyRegistryTest() noexcept override { beforeProxyThread = nullptr; }

  // A start that failed leaves the worker with its socket and without a proxy, and another worker
  // can start one.
  void expectStartLeftToAnother(tavrik::AsyncRouterDealerMsgPattern& worker) {
    EXPECT_EQ(-32, worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back));
    expectNoProxy(worker);
    const Worker another = newWorker();
    another->connectEndpoint();
    expectProxy(*another);
  }
};

TEST_F(ProxyRegistryTest, TheFirstWorkerOfANameStartsTheProxy) {
  const Worker worker = support::newWorker({front, front + "-second"}, back);
  worker->setProperty(CHANNEL_TOS_PRIORITY, "184");
  const TransportFaults watch;
  worker->connectEndpoint();
  EXPECT_EQ(joined({making("5"),
                    making("6"),
                    making("5"),
                    {"zmq_setsockopt 57 184", "zmq_bind " + front, "zmq_bind " + front + "-second",
                     "zmq_bind " + back, "zmq_connect " + back}}),
            watch.texts());
  const auto& calls = watch.calls();
  EXPECT_EQ(calls[6].object, calls[15].object) << "the type of service is the router's";
  EXPECT_FALSE(proxyThreadHadAttributes());
}

TEST_F(ProxyRegistryTest, NeedsNoClientEndpoint) {
  ProxyControl control;
  const Worker worker = support::newWorker({}, back);
  const TransportFaults watch;
  worker->connectEndpoint();
  control.waitForCalls(1);
  EXPECT_EQ(joined({making("5"),
                    making("6"),
                    making("5"),
                    {"zmq_setsockopt 57 0", "zmq_bind " + back, "zmq_connect " + back}}),
            watch.texts());
}

TEST_F(ProxyRegistryTest, LaterWorkersOfTheNameShareTheProxyWithoutItsStarter) {
  newWorker()->connectEndpoint();
  const Worker worker = newWorker();
  const TransportFaults watch;
  worker->connectEndpoint();
  EXPECT_EQ(joined({making("5"), {"zmq_connect " + back}}), watch.texts());
  expectProxy(*worker);
}

TEST_F(ProxyRegistryTest, AWorkerThatCannotConnectLeavesTheProxyRunning) {
  const Worker worker = newWorker();
  {
    TransportFaults faults;
    faults.fail("zmq_connect", EDOM);
    EXPECT_THROW(worker->connectEndpoint(), std::runtime_error);
    EXPECT_EQ(0, count(faults.texts(), "zmq_close"));
  }
  const Worker another = newWorker();
  const TransportFaults watch;
  another->connectEndpoint();
  EXPECT_EQ(0, count(watch.texts(), "zmq_socket 6")) << "a second proxy";
  expectProxy(*another);
}

// A step of the start that fails.
struct Step {
  std::string name;
  std::string call;
  int nth;
  int released;  // how many sockets of the proxy were created by then
  std::string text;
};

void PrintTo(const Step& step, std::ostream* out) {
  *out << step.name;
}

class FailedStartTest : public ProxyRegistryTest, public testing::WithParamInterface<Step> {};

TEST_P(FailedStartTest, ClosesTheSocketsAndLeavesTheStartToAnotherWorker) {
  const Worker worker = newWorker();
  {
    TransportFaults faults;
    faults.fail(GetParam().call, EDOM, GetParam().nth);
    std::string thrown;
    try {
      worker->connectEndpoint();
    } catch (const std::runtime_error& error) {
      thrown = error.what();
    }
    EXPECT_EQ(0U, thrown.find(GetParam().text)) << thrown;
    EXPECT_EQ(GetParam().released, count(faults.texts(), "zmq_close"));
    EXPECT_EQ(GetParam().released, count(faults.texts(), "zmq_setsockopt 17 0"));
    ASSERT_EQ(2U, log.lines().size()) << "the transport's line, and the member's";
    EXPECT_EQ(debugLine(connectPrefix + thrown), log.lines()[1]);
  }
  expectStartLeftToAnother(*worker);
}

INSTANTIATE_TEST_SUITE_P(
    Each, FailedStartTest,
    testing::Values(
        Step{"Router", "zmq_socket 6", 1, 0, "Failed to create ZeroMQ Socket : " + domain},
        Step{"Dealer", "zmq_socket 5", 2, 1, "Failed to create ZeroMQ Socket : " + domain},
        Step{"TypeOfService", "zmq_setsockopt 57", 1, 2,
             "Failed to set ZeroMQ Socket Option : " + domain},
        Step{"ClientEndpoint", "zmq_bind", 1, 2, "Failed to bind ZeroMQ Socket : " + domain},
        Step{"WorkerEndpoint", "zmq_bind", 2, 2, "Failed to bind ZeroMQ Socket : " + domain}),
    [](const auto& step) { return step.param.name; });

TEST_F(ProxyRegistryTest, ASocketWithoutKeepAliveIsClosedOnce) {
  for (const int nth : {2, 3}) {  // the router's, the dealer's
    const Worker worker = newWorker();
    TransportFaults faults;
    faults.fail("zmq_setsockopt 34", EDOM, nth);
    EXPECT_THROW(worker->connectEndpoint(), std::runtime_error);
    EXPECT_EQ(nth - 1, count(faults.texts(), "zmq_close"));
  }
}

TEST_F(ProxyRegistryTest, ATakenClientEndpointReleasesTheOnesBoundBefore) {
  const tavrik::MQWrapper& transport = *tavrik::MQWrapper::getInstance();
  const TransportSocket holder(ZMQ_ROUTER);
  const std::string first = inprocEndpoint();
  const std::string taken = inprocEndpoint();
  transport.registerSender(holder, taken);
  const Worker worker = support::newWorker({first, taken, inprocEndpoint()}, back);
  {
    const TransportFaults watch;
    EXPECT_FAILURE(std::runtime_error,
                   "Failed to bind ZeroMQ Socket : Address already in use : End Point : " + taken +
                       "zeromq:" + std::to_string(0x1090000 | EADDRINUSE),
                   worker->connectEndpoint());
    EXPECT_EQ(2, count(watch.texts(), "zmq_close"));
    EXPECT_EQ("zmq_bind " + taken, watch.texts()[watch.texts().size() - 5])
        << "the third one is not tried";
  }
  expectStartLeftToAnother(*worker);
  // ZeroMQ's threads release the first endpoint a moment later.
  const TransportSocket next(ZMQ_ROUTER);
  for (bool bound = false; !bound;) {
    try {
      transport.registerSender(next, first);
      bound = true;
    } catch (const std::runtime_error&) {
      std::this_thread::yield();
    }
  }
}

TEST_F(ProxyRegistryTest, WithoutAThreadClosesTheRouterBeforeTheDealer) {
  const Worker worker = newWorker();
  const TransportSocket startsTheTransportsThreads(ZMQ_DEALER);
  {
    const TransportFaults watch;
    {
      const ThreadFailure noThread;
      EXPECT_LOGGED_FAILURE(std::runtime_error, "Proxy thread creation failedtavrik:-30",
                            {connectPrefix}, worker->connectEndpoint());
    }
    std::vector<const void*> closed;
    std::vector<const void*> made;
    for (const Call& call : watch.calls()) {
      if (call.text == "zmq_close") closed.push_back(call.object);
      if (call.text == "zmq_setsockopt 34 1") made.push_back(call.object);
    }
    ASSERT_EQ(3U, made.size());
    EXPECT_EQ((std::vector<const void*>{made[1], made[2]}), closed);
  }
  expectStartLeftToAnother(*worker);
}

TEST_F(ProxyRegistryTest, AFailedReleaseIsLoggedAndTheFirstFailurePropagates) {
  const Worker worker = newWorker();
  TransportFaults faults;
  faults.fail("zmq_bind", EDOM, 1);
  faults.fail("zmq_close", EXDEV, 1);
  const std::string text = "Failed to bind ZeroMQ Socket : " + domain + " : End Point : " + front +
                           "zeromq:" + std::to_string(0x1090000 | EDOM);
  EXPECT_FAILURE(std::runtime_error, text, worker->connectEndpoint());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerSender() : " + text),
                 errorLine(connectPrefix +
                           "Failed to  close ZeroMQ Socket : Invalid cross-device linkzeromq:" +
                           std::to_string(0x10c0000 | EXDEV)),
                 debugLine(connectPrefix + text)}),
            log.lines());
  EXPECT_EQ(2, count(faults.texts(), "zmq_close")) << "the other one is closed nevertheless";
}

TEST_F(ProxyRegistryTest, AllocationFailureReleasesWhatWasMade) {
  const int callsBefore = proxyCalls();
  Worker worker;
  for (int failing = 1; worker == nullptr; ++failing) {
    SCOPED_TRACE(failing);
    Worker candidate = newWorker();
    const TransportFaults watch;
    {
      const AllocationFailure failure(failing);
      try {
        candidate->connectEndpoint();
      } catch (const std::bad_alloc&) {
        EXPECT_TRUE(failure.happened());
      }
      if (!failure.happened()) worker = std::move(candidate);
    }
    const int made = count(watch.texts(), "zmq_socket 5") + count(watch.texts(), "zmq_socket 6");
    EXPECT_EQ(worker != nullptr ? 0 : made - 1, count(watch.texts(), "zmq_close"));
    if (worker == nullptr) {
      EXPECT_EQ(callsBefore, proxyCalls());
    }
  }
  expectProxy(*worker);
}

// Mutual exclusion.

TEST_F(ProxyRegistryTest, WorkersOfANameThatConnectAtOnceStartOneProxy) {
  std::atomic<int> starts{0};
  beforeProxyThread = [&] {
    ++starts;
    happensWithoutTheMutex([&] { return starts > 1; });
  };
  std::thread first([&] { newWorker()->connectEndpoint(); });
  std::thread second([&] { newWorker()->connectEndpoint(); });
  first.join();
  second.join();
  EXPECT_EQ(1, starts);
}

TEST_F(ProxyRegistryTest, AStartBlocksTheEndOfAnotherProxy) {
  ProxyControl control;
  const Worker other = support::newWorker({}, dir.ipcEndpoint(), "another name");
  other->connectEndpoint();
  control.waitForCalls(1);
  bool logged = true;
  beforeProxyThread = [&] {
    control.end(ETERM);
    logged = happensWithoutTheMutex([&] { return !log.lines().empty(); });
  };
  newWorker()->connectEndpoint();
  EXPECT_FALSE(logged);
  closingLines();
}

TEST_F(ProxyRegistryTest, AWorkerBlocksOthersUntilItHasConnected) {
  const Worker worker = newWorker();
  const Worker another = newWorker();
  std::thread starter;
  std::atomic<bool> connected{false};
  bool connectedMeanwhile = true;
  const OnLogLine failing("Error : Tavrik::MQWrapper::registerReceiver() : ", [&] {
    starter = std::thread([&] {
      another->connectEndpoint();
      connected = true;
    });
    connectedMeanwhile = happensWithoutTheMutex([&] { return connected.load(); });
  });
  TransportFaults faults;
  faults.fail("zmq_connect", EDOM);
  EXPECT_THROW(worker->connectEndpoint(), std::runtime_error);
  starter.join();
  EXPECT_FALSE(connectedMeanwhile);
}

}  // namespace
