// What threads with router/dealer channels may do at the same time. Meant to run under the thread
// sanitizer, which reports unordered accesses to the proxy registry.
#include <support/failure.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/proxy_control.hpp>
#include <support/temp_dir.hpp>
#include <support/together.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/typed_channels.hpp>

#include <zmq.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <list>
#include <memory>
#include <string>
#include <thread>

namespace {

using namespace support;
using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;

using Channel = std::unique_ptr<AsyncRouterDealerChannel>;

// The endpoints of a channel name.
struct Endpoints {
  std::string front;
  std::string back;
};

class RouterDealerThreadsTest : public testing::Test {
 protected:
  // Captures no log: the lock of a capture would order the threads and hide what the library leaves
  // unordered.
  RouterDealerThreadsTest() {
    tavrik_Install_Logfn([](int, const char*) {});
  }
  ~RouterDealerThreadsTest() override { tavrik_Install_Logfn(syslog_Logfn); }

  // For one thread at a time.
  Endpoints newEndpoints() { return {dir.ipcEndpoint(), dir.ipcEndpoint()}; }

  // Connected. The first worker of a name starts the proxy.
  static Channel newWorker(const std::string& name, const Endpoints& endpoints) {
    auto worker = std::make_unique<AsyncRouterDealerChannel>(name, ASYNC_DEALER_WORKER);
    worker->setServerEndPoint(endpoints.front);
    worker->setWorkerEndPoint(endpoints.back);
    char subject[SUBJECT_BUFFER_SIZE];
    Message message;
    EXPECT_EQ(0, worker->receive(subject, &message, 1));
    return worker;
  }

  static Channel newClient(const std::string& name, const Endpoints& endpoints) {
    auto client = std::make_unique<AsyncRouterDealerChannel>(name, ASYNC_DEALER_CLIENT);
    client->setServerEndPoint(endpoints.front);
    return client;
  }

  // Whether the worker finds a proxy of its name running.
  static bool findsProxy(AsyncRouterDealerChannel& worker) {
    char subject[SUBJECT_BUFFER_SIZE];
    Message message;
    try {
      EXPECT_EQ(0, worker.receive(subject, &message, 0));
      return true;
    } catch (const std::logic_error& failure) {
      EXPECT_STREQ("Thread entry not found in proxythreadstavrik:-29", failure.what());
      return false;
    }
  }

  static void replyUntil(const std::atomic<bool>& done, AsyncRouterDealerChannel& worker) {
    char subject[SUBJECT_BUFFER_SIZE];
    Message message;
    while (!done) {
      if (worker.receive(subject, &message, 10) == 1) {
        EXPECT_EQ(1, worker.send(subject, &message));
      }
    }
  }

  static void exchange(AsyncRouterDealerChannel& client, const std::string& text) {
    char subject[SUBJECT_BUFFER_SIZE];
    Message message = messageOf({text});
    EXPECT_EQ(1, client.send("echo", &message));
    EXPECT_EQ(1, client.receive(subject, &message, patience));
    EXPECT_EQ((Parts{text}), partsOf(message));
  }

  // Runs the body while clients and workers of the names "exchanging-0" and "exchanging-1" exchange
  // messages, each in a thread of its own. A search for these names passes names that sort between
  // them.
  void whileOthersExchange(const std::function<void()>& body) {
    constexpr int pairs = 2;
    std::atomic<int> exchanging{0};
    std::atomic<bool> over{false};
    std::atomic<bool> finished[pairs] = {};
    std::list<Endpoints> endpoints;
    std::list<std::thread> threads;
    for (int i = 0; i < pairs; ++i) {
      const Endpoints& own = endpoints.emplace_back(newEndpoints());
      const std::string name = "exchanging-" + std::to_string(i);
      std::atomic<bool>& done = finished[i];
      threads.emplace_back([&, name] { replyUntil(done, *newWorker(name, own)); });
      threads.emplace_back([&, name] {
        const Channel client = newClient(name, own);
        exchange(*client, "first");
        ++exchanging;
        for (int n = 0; !over; ++n) exchange(*client, std::to_string(n));
        done = true;
      });
    }
    while (exchanging < pairs) std::this_thread::yield();
    body();
    over = true;
    for (std::thread& thread : threads) thread.join();
  }

  TempDir dir;
};

TEST_F(RouterDealerThreadsTest, ExchangeMessagesWhileProxiesOfOtherNamesStart) {
  constexpr int threads = 3;
  constexpr int names = 16;  // of each thread
  Endpoints endpoints[threads][names];
  for (auto& ofThread : endpoints) {
    for (Endpoints& own : ofThread) own = newEndpoints();
  }
  // Kept until the end: destroying a channel takes a lock that the exchanging threads take too.
  std::list<Channel> started[threads];
  whileOthersExchange([&] {
    together(threads, [&](int i) {
      for (int n = 0; n < names; ++n) {
        const std::string name =
            "exchanging-0 starting-" + std::to_string(i) + "-" + std::to_string(n);
        started[i].push_back(newWorker(name, endpoints[i][n]));
        EXPECT_TRUE(findsProxy(*started[i].back()));
      }
    });
  });
}

TEST_F(RouterDealerThreadsTest, ExchangeMessagesWhileProxiesOfOtherNamesEnd) {
  std::list<Channel> started;
  whileOthersExchange([&] {
    ProxyControl control;
    constexpr int names = 20;
    for (int n = 0; n < names; ++n) {
      started.push_back(newWorker("exchanging-0 ending-" + std::to_string(n), newEndpoints()));
      control.waitForCalls(n + 1);
      control.end(ETERM);
      while (findsProxy(*started.back())) std::this_thread::yield();
    }
  });
}

TEST_F(RouterDealerThreadsTest, WorkersOfOneNameThatConnectAtOnceStartOneProxy) {
  constexpr int rounds = 10;
  for (int round = 0; round < rounds; ++round) {
    const std::string name = "shared-" + std::to_string(round);
    const Endpoints endpoints = newEndpoints();
    std::atomic<int> routers{0};
    std::atomic<bool> done{false};
    std::atomic<int> connected{0};
    constexpr int workers = 6;
    // The last thread is a client's.
    together(workers + 1, [&](int i) {
      if (i == workers) {
        while (connected < workers) std::this_thread::yield();
        const Channel client = newClient(name, endpoints);
        const int exchanges = routers == 1 ? 2 * workers : 0;
        for (int n = 0; n < exchanges; ++n) exchange(*client, std::to_string(n));
        done = true;
        return;
      }
      Channel worker;
      {
        const TransportFaults watch;
        EXPECT_NO_THROW(worker = newWorker(name, endpoints));
        const auto calls = watch.texts();
        routers += static_cast<int>(std::count(calls.begin(), calls.end(), "zmq_socket 6"));
      }
      ++connected;
      if (worker != nullptr) replyUntil(done, *worker);
    });
    EXPECT_EQ(1, routers);
  }
}

TEST_F(RouterDealerThreadsTest, WorkersOfManyNamesThatConnectAtOnceStartOneProxyEach) {
  constexpr int names = 6;
  constexpr int workersOfName = 3;
  constexpr int workers = names * workersOfName;
  Endpoints endpoints[names];
  for (Endpoints& own : endpoints) own = newEndpoints();
  std::atomic<int> routers{0};
  std::atomic<int> connected{0};
  std::atomic<bool> done[names] = {};
  // The last threads are the clients', one of each name.
  together(workers + names, [&](int i) {
    const int number = i % names;
    const std::string name = "at once " + std::to_string(number);
    if (i >= workers) {
      while (connected < workers) std::this_thread::yield();
      const Channel client = newClient(name, endpoints[number]);
      const int exchanges = routers == names ? 2 * workersOfName : 0;
      for (int n = 0; n < exchanges; ++n) exchange(*client, name + std::to_string(n));
      done[number] = true;
      return;
    }
    Channel worker;
    {
      const TransportFaults watch;
      EXPECT_NO_THROW(worker = newWorker(name, endpoints[number]));
      const auto calls = watch.texts();
      routers += static_cast<int>(std::count(calls.begin(), calls.end(), "zmq_socket 6"));
    }
    ++connected;
    if (worker != nullptr) replyUntil(done[number], *worker);
  });
  EXPECT_EQ(names, routers);
}

TEST_F(RouterDealerThreadsTest, WorkersNoticeThatTheirProxyEndsAndStartsAgain) {
  ProxyControl control;
  const std::string name = "coming and going";
  std::list<Channel> starters;
  starters.push_back(newWorker(name, newEndpoints()));
  const Endpoints own = newEndpoints();
  constexpr int watchers = 2;
  std::atomic<bool> done{false};
  std::atomic<bool> found[watchers] = {};
  const auto waitUntilAllFind = [&](bool expected) {
    for (const std::atomic<bool>& one : found) {
      while (one != expected) std::this_thread::yield();
    }
  };
  std::list<std::thread> threads;
  for (std::atomic<bool>& one : found) {
    threads.emplace_back([&] {
      const Channel worker = newWorker(name, own);
      while (!done) one = findsProxy(*worker);
    });
  }
  constexpr int rounds = 20;
  for (int round = 1; round <= rounds; ++round) {
    waitUntilAllFind(true);
    control.waitForCalls(round);
    control.end(ETERM);
    waitUntilAllFind(false);
    starters.push_back(newWorker(name, newEndpoints()));
  }
  waitUntilAllFind(true);
  done = true;
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
