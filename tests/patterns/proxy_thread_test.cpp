// The body of the proxy thread, and what happens when a proxy ends.
#include <support/counted_handle.hpp>
#include <support/mutex_watch.hpp>
#include <support/proxy_test.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/proxy_thread.hpp>

#include <signal.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace support;
using tavrik::Message;

timeval timeOf(long long seconds, long long microseconds) {
  timeval time{};
  time.tv_sec = static_cast<time_t>(seconds);
  time.tv_usec = static_cast<suseconds_t>(microseconds);
  return time;
}

TEST(TimevalSubtractTest, TruncatesTowardsZeroAndReportsTheSign) {
  constexpr long long latest = sizeof(time_t) > 4 ? 4000000000 : 2147483647;
  struct Row {
    timeval x, y;
    long long seconds, microseconds;
    int negative;
  };
  const Row rows[] = {
      {timeOf(5, 0), timeOf(3, 0), 2, 0, 0},
      {timeOf(5, 100), timeOf(3, 200), 1, 999900, 0},
      {timeOf(3, 0), timeOf(3, 0), 0, 0, 0},
      {timeOf(3, 0), timeOf(3, 1), 0, -1, 1},
      {timeOf(3, 200), timeOf(5, 100), -1, -999900, 1},
      {timeOf(3, 0), timeOf(5, 0), -2, 0, 1},
      {timeOf(latest, 0), timeOf(0, 1), latest - 1, 999999, 0},
  };
  for (const Row& row : rows) {
    timeval x = row.x;
    timeval y = row.y;
    timeval result{};
    EXPECT_EQ(row.negative, tavrik::timeval_subtract(&result, &x, &y));
    EXPECT_EQ(row.seconds, result.tv_sec);
    EXPECT_EQ(row.microseconds, result.tv_usec);
  }
}

// A worker whose proxy runs under control.
class ProxyThreadTest : public ProxyTest {
 protected:
  ProxyThreadTest() {
    worker->connectEndpoint();
    control.waitForCalls(1);
  }

  ProxyControl control;
  const Worker worker = newWorker();
  Message message;
};

const std::string closingLine = "Error : proxythreadfun : ";

TEST_F(ProxyThreadTest, ReturnsAtOnceWithoutAStartRecord) {
  EXPECT_EQ(nullptr, tavrik::proxythreadfun(nullptr));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(ProxyThreadTest, FreesTheStartRecordOfAnUnknownName) {
  struct StartRecord {
    void* router;
    void* dealer;
    char* name;
  };
  auto* const record = static_cast<StartRecord*>(std::malloc(sizeof(StartRecord)));
  *record = {nullptr, nullptr, strdup("unknown")};
  control.end(ETERM);
  control.end(ETERM);
  EXPECT_EQ(nullptr, tavrik::proxythreadfun(record));
  EXPECT_LE(2U, closingLines().size());
}

std::vector<int> blockedBy(const sigset_t& mask) {
  std::vector<int> blocked;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    if (sigismember(&mask, signal) == 1) blocked.push_back(signal);
  }
  return blocked;
}

std::vector<int> blockedHere() {
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return blockedBy(mask);
}

// All but those that the system, or an emulator, lets no program block.
TEST_F(ProxyThreadTest, BlocksAllSignals) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const std::vector<int> blockable = blockedHere();
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(blockable, blockedBy(control.signalMask()));
  EXPECT_EQ(1, std::count(blockable.begin(), blockable.end(), SIGTERM));
}

TEST_F(ProxyThreadTest, TheThreadThatStartsItKeepsItsSignalMask) {
  sigset_t own;
  sigset_t before;
  sigemptyset(&own);
  sigaddset(&own, SIGUSR2);
  pthread_sigmask(SIG_SETMASK, &own, &before);
  const std::string name = testName() + "Again";
  const Worker failing = support::newWorker({}, dir.ipcEndpoint(), name);
  {
    const ThreadFailure noThread;
    EXPECT_THROW(failing->connectEndpoint(), std::runtime_error);
  }
  EXPECT_EQ(std::vector<int>{SIGUSR2}, blockedHere());
  support::newWorker({}, dir.ipcEndpoint(), name)->connectEndpoint();
  EXPECT_EQ(std::vector<int>{SIGUSR2}, blockedHere());
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(ProxyThreadTest, ItsEndUnregistersItAndIsLogged) {
  const auto handle = handleOf("client");
  message = messageOf({"a"});
  message.setHandle(&handle);
  EXPECT_EQ(1, worker->send(&message)) << "registered while it runs";
  control.end(EINTR, 5000000);
  control.end(ETERM, 2345678);
  EXPECT_EQ((Log{debugLine("Error : proxythreadfun : 2 345"),  // the last run alone
                 debugLine("Error : proxythreadfun should not come here  ret : -1 error Context "
                           "was terminated !!!!")}),
            closingLines());
  expectNoProxy(*worker);
}

TEST_F(ProxyThreadTest, AnInterruptionDoesNotEndIt) {
  void* const router = control.router();
  control.end(EINTR);
  control.waitForCalls(2);
  EXPECT_EQ(router, control.router()) << "with the same sockets";
  EXPECT_EQ(0, worker->receive(&message, 0)) << "still registered";
  EXPECT_EQ(Log{}, log.lines());
  control.end(EINTR, 0, 0);  // the error decides, not the result
  control.waitForCalls(3);
}

TEST_F(ProxyThreadTest, AnotherWorkerStartsItAgainAndEarlierWorkersFindIt) {
  EXPECT_EQ(0, worker->receive(&message, 0));
  control.end(ETERM);
  closingLines();
  EXPECT_THROW(worker->receive(&message, 0), std::logic_error);

  // The ended proxy's sockets stay bound, so the next one needs other endpoints.
  const Worker another = support::newWorker({dir.ipcEndpoint()}, dir.ipcEndpoint());
  another->connectEndpoint();
  control.waitForCalls(2);
  EXPECT_EQ(0, worker->receive(&message, 0));
  EXPECT_EQ(0, another->receive(&message, 0));
}

TEST_F(ProxyThreadTest, ItsEndClosesNoSocket) {
  control.end(ETERM);
  closingLines();
  int type = -1;
  std::size_t size = sizeof type;
  EXPECT_EQ(0, zmq_getsockopt(control.router(), ZMQ_TYPE, &type, &size));
  EXPECT_EQ(ZMQ_ROUTER, type);
  EXPECT_EQ(0, zmq_getsockopt(control.dealer(), ZMQ_TYPE, &type, &size));
  EXPECT_EQ(ZMQ_DEALER, type);
}

TEST_F(ProxyThreadTest, ItsEndKeepsTheProxiesOfOtherNames) {
  const std::string otherBack = dir.ipcEndpoint();
  const Worker other = support::newWorker({}, otherBack, "another name");
  other->connectEndpoint();
  control.waitForCalls(2);
  control.end(ETERM);
  closingLines();
  expectNoProxy(*worker);
  EXPECT_EQ(0, other->receive(&message, 0));
  const Worker third = support::newWorker({}, otherBack, "another name");
  const TransportFaults watch;
  third->connectEndpoint();
  EXPECT_EQ(0, count(watch.texts(), "zmq_socket 6")) << "its proxy is still registered";
}

TEST_F(ProxyThreadTest, IsUnregisteredAndLockedWhileItsEndIsLogged) {
  const Worker another = support::newWorker({}, dir.ipcEndpoint());
  std::thread starter;
  std::atomic<bool> refused{false};
  std::atomic<bool> connected{false};
  std::atomic<bool> connectedMeanwhile{true};
  std::atomic<bool> logged{false};
  const OnLogLine ending(closingLine, [&] {
    try {
      worker->receive(&message, 0);
    } catch (const std::logic_error&) {
      refused = true;
    }
    starter = std::thread([&] {
      another->connectEndpoint();
      connected = true;
    });
    connectedMeanwhile = happensWithoutTheMutex([&] { return connected.load(); });
    logged = true;
  });
  control.end(ETERM);
  while (!logged) std::this_thread::yield();
  starter.join();
  EXPECT_TRUE(refused);
  EXPECT_FALSE(connectedMeanwhile);
}

}  // namespace
