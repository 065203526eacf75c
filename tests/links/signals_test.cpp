// Signals to the process while a proxy forwards. A signal that interrupts the proxy between two
// frames would tear a message.
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/require.hpp>
#include <support/router_dealer.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;

constexpr int signalNumber = SIGUSR1;

// The signals that were handled, by the thread that is meant to handle them and by others.
std::atomic<long> handledByTaker{0};
std::atomic<long> handledByOthers{0};
thread_local bool isTaker = false;

void handle(int) {
  ++(isTaker ? handledByTaker : handledByOthers);
}

sigset_t theSignal() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signalNumber);
  return set;
}

void setBlocked(bool blocked) {
  const sigset_t set = theSignal();
  pthread_sigmask(blocked ? SIG_BLOCK : SIG_UNBLOCK, &set, nullptr);
}

bool isPending() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, signalNumber) == 1;
}

// Ten thousand signals a second to the process.
class ProcessSignalStorm {
 public:
  ProcessSignalStorm() {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = signalNumber;
    support::require(timer_create(CLOCK_MONOTONIC, &event, &timer) == 0, "timer_create");
    const timespec interval{0, 100000};
    const itimerspec periodic{interval, interval};
    support::require(timer_settime(timer, 0, &periodic, nullptr) == 0, "timer_settime");
  }
  ~ProcessSignalStorm() { timer_delete(timer); }
  ProcessSignalStorm(const ProcessSignalStorm&) = delete;
  ProcessSignalStorm& operator=(const ProcessSignalStorm&) = delete;

 private:
  timer_t timer{};
};

class SignalsTest : public testing::Test {
 protected:
  // Only the proxy starts while the signal is not blocked. ZeroMQ's threads block it themselves,
  // but not before they run.
  SignalsTest() {
    struct sigaction action {};
    action.sa_handler = handle;
    sigaction(signalNumber, &action, nullptr);
    handledByTaker = 0;
    handledByOthers = 0;
    setBlocked(true);
    connectedClient("first");  // starts ZeroMQ's threads
    setBlocked(false);
    Message message;
    EXPECT_EQ(0, worker->receive(&message, 1));
    setBlocked(true);
    serving = std::thread([this] { serve(); });
  }
  // A signal that is pending is dropped when it is ignored.
  ~SignalsTest() override {
    over = true;
    serving.join();
    signal(signalNumber, SIG_IGN);
    setBlocked(false);
  }

  std::unique_ptr<AsyncRouterDealerChannel> connectedClient(const std::string& name) const {
    auto client = std::make_unique<AsyncRouterDealerChannel>(name, ASYNC_DEALER_CLIENT);
    client->setServerEndPoint(front);
    char subject[SUBJECT_BUFFER_SIZE];
    Message message;
    EXPECT_EQ(0, client->receive(subject, &message, 1));
    return client;
  }

  void serve() {
    Message message;
    constexpr long moment = 10;  // milliseconds
    while (!over) {
      if (worker->receive(&message, moment) > 0) worker->send(&message);
    }
  }

  // Several clients send requests, each of which has to come back whole.
  void exchange() const {
    constexpr int clients = 4;
    constexpr int requests = 2500;  // of each
    std::atomic<int> exchanged{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < clients; ++i) {
      threads.emplace_back([&, i] {
        exchanged += exchangeAll(*connectedClient("client-" + std::to_string(i)), requests);
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(clients * requests, exchanged);
  }

  // The replies of one worker arrive in the order of the requests.
  static int exchangeAll(AsyncRouterDealerChannel& client, int requests) {
    constexpr int unanswered = 100;  // at most
    int asked = 0;
    for (int answered = 0; answered < requests; ++answered) {
      for (; asked < requests && asked < answered + unanswered; ++asked) {
        Message message = messageOf(partsOfRequest(asked));
        client.send(std::to_string(asked).c_str(), &message);
      }
      char subject[SUBJECT_BUFFER_SIZE] = "";
      Message message;
      client.receive(subject, &message, patience);
      if (subject != std::to_string(answered) || partsOf(message) != partsOfRequest(answered)) {
        ADD_FAILURE() << "instead of request " << answered << " came \"" << subject << '"';
        return answered;
      }
    }
    return requests;
  }

  static Parts partsOfRequest(int number) {
    return {std::to_string(number), std::string(static_cast<std::size_t>(number % 100), 'p'), ""};
  }

  support::TempDir dir;
  const std::string front = dir.ipcEndpoint();
  const support::Worker worker = support::newWorker({front}, support::inprocEndpoint());
  std::atomic<bool> over{false};
  std::thread serving;
};

TEST_F(SignalsTest, NoMessageIsLostOrTornWhileAnotherThreadTakesTheSignals) {
  constexpr long thousands = 3000;
  std::atomic<bool> exchanged{false};
  std::thread taker([&] {
    isTaker = true;
    setBlocked(false);
    constexpr int moment = 10;  // milliseconds, if another thread gets the signals
    while (!exchanged || handledByTaker + handledByOthers < thousands) poll(nullptr, 0, moment);
    setBlocked(true);
  });
  const ProcessSignalStorm storm;
  exchange();
  exchanged = true;
  taker.join();
  EXPECT_EQ(0, handledByOthers);
}

TEST_F(SignalsTest, NoMessageIsLostOrTornAndNoHandlerRunsWhenEveryOtherThreadBlocksThem) {
  const ProcessSignalStorm storm;
  exchange();
  EXPECT_TRUE(isPending());
  EXPECT_EQ(0, handledByTaker + handledByOthers);
}

}  // namespace
