// A proxy that cannot be started, and one that ends.
#include <support/failing_allocator.hpp>
#include <support/parts.hpp>
#include <support/pattern_test.hpp>
#include <support/plain_socket.hpp>
#include <support/proxy_control.hpp>
#include <support/router_dealer.hpp>
#include <support/transport_faults.hpp>
#include <support/transport_socket.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>
#include <tavrik/tavrik.h>

#include <zmq.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using support::Calls;
using support::count;
using support::debugLine;
using support::Log;
using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using support::PlainSocket;
using support::ProxyControl;
using support::TransportFaults;
using support::Worker;
using tavrik::AsyncRouterDealerMsgHandle;
using tavrik::AsyncRouterDealerMsgPattern;
using tavrik::Message;

class Proxy : public support::PatternTest {
 protected:
  Proxy() : PatternTest("AsyncRouterDealerMsgPattern", -27) {}

  Worker newWorker() { return support::newWorker({front}, back); }

  // The messages that say that the proxy is not there.
  void expectNoProxy(AsyncRouterDealerMsgPattern& worker) {
    const std::string text = "Thread entry not found in proxythreadstavrik:-29";
    log.clear();
    Message message = messageOf({"a"});
    EXPECT_FAILURE(std::logic_error, text, worker.send(&message));
    EXPECT_FAILURE(std::logic_error, text, worker.send(nullptr));
    EXPECT_FAILURE(std::logic_error, text, worker.receive(&message, 0));
    EXPECT_EQ((Log{debugLine(classPrefix + "send() : " + text),
                   debugLine(classPrefix + "send() : " + text),
                   debugLine(classPrefix + "AsyncRouterDealerMsgPattern() : " + text)}),
              log.lines());
    EXPECT_EQ((Parts{"a"}), partsOf(message));
  }

  // The proxy forwards: a plain client gets through it and back.
  void expectProxy(AsyncRouterDealerMsgPattern& worker) {
    PlainSocket plain(ZMQ_DEALER);
    plain.connect(front);
    plain.send({"ask"});
    Message message;
    ASSERT_EQ(1, worker.receive(&message, patience));
    ASSERT_EQ(1, worker.send(&message));
    EXPECT_EQ((support::Frames{"ask"}), plain.receive());
  }

  // Waits for the lines that a proxy thread logs when it ends.
  Log closingLines() {
    while (log.lines().size() < 2) std::this_thread::yield();
    return log.lines();
  }

  // Proxies that were started since the test began.
  int proxyCalls() const { return support::proxyCalls() - callsBefore; }

  const int callsBefore = support::proxyCalls();
  const std::string connectPrefix = classPrefix + "connectEndpoint() : ";
  std::string front = dir.ipcEndpoint();
  std::string back = dir.ipcEndpoint();
};

// Starting: everything that can fail does, one after the other. The worker's own socket is kept,
// the proxy's are released, nothing is registered, and another worker can start the proxy.

struct Step {
  const char* name;
  const char* call;  // the call that fails
  int nth;
  int released;  // the sockets of the proxy that were made by then
  std::string text;
};

void PrintTo(const Step& step, std::ostream* out) {
  *out << step.name;
}

class StartingFailure : public Proxy, public testing::WithParamInterface<Step> {};

TEST_P(StartingFailure, releases_what_was_made_and_leaves_the_start_to_another) {
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
  EXPECT_EQ(-32, worker->setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back)) << "it has its socket";
  expectNoProxy(*worker);
  const Worker another = newWorker();
  another->connectEndpoint();
  expectProxy(*another);
}

const std::string domain = "Numerical argument out of domain";
INSTANTIATE_TEST_SUITE_P(
    At, StartingFailure,
    testing::Values(
        Step{"router", "zmq_socket 6", 1, 0, "Failed to create ZeroMQ Socket : " + domain},
        Step{"dealer", "zmq_socket 5", 2, 1, "Failed to create ZeroMQ Socket : " + domain},
        Step{"type_of_service", "zmq_setsockopt 57", 1, 2,
             "Failed to set ZeroMQ Socket Option : " + domain},
        Step{"client_endpoint", "zmq_bind", 1, 2, "Failed to bind ZeroMQ Socket : " + domain},
        Step{"worker_endpoint", "zmq_bind", 2, 2, "Failed to bind ZeroMQ Socket : " + domain}),
    [](const auto& step) { return std::string(step.param.name); });

class Starting : public Proxy {};

TEST_F(Starting, with_keep_alive_refused_closes_that_socket_once) {
  for (const int nth : {2, 3}) {  // the router's, the dealer's
    const Worker worker = newWorker();
    TransportFaults faults;
    faults.fail("zmq_setsockopt 34", EDOM, nth);
    EXPECT_THROW(worker->connectEndpoint(), std::runtime_error);
    EXPECT_EQ(nth - 1, count(faults.texts(), "zmq_close"));
  }
}

TEST_F(Starting, with_the_second_of_three_client_endpoints_taken) {
  const tavrik::MQWrapper& transport = *tavrik::MQWrapper::getInstance();
  const support::TransportSocket holder(ZMQ_ROUTER);
  const std::string first = support::inprocEndpoint();
  const std::string taken = support::inprocEndpoint();
  transport.registerSender(holder, taken);
  const Worker worker = support::newWorker({first, taken, support::inprocEndpoint()}, back);
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
  expectNoProxy(*worker);

  const Worker another = newWorker();
  another->connectEndpoint();
  expectProxy(*another);
  // ZeroMQ's threads let go of the first endpoint a moment later.
  const support::TransportSocket next(ZMQ_ROUTER);
  for (bool bound = false; !bound;) {
    try {
      transport.registerSender(next, first);
      bound = true;
    } catch (const std::runtime_error&) {
      std::this_thread::yield();
    }
  }
}

TEST_F(Starting, without_a_thread) {
  const Worker worker = newWorker();
  const std::string text = "Proxy thread creation failedtavrik:-30";
  const support::TransportSocket bringsUpTheTransport(ZMQ_DEALER);  // and its threads
  TransportFaults faults;
  {
    const support::ThreadFailure noThread;
    EXPECT_FAILURE(std::runtime_error, text, worker->connectEndpoint());
  }
  EXPECT_EQ((Log{debugLine(connectPrefix + text)}), log.lines());
  // The router is released before the dealer.
  const auto& calls = faults.calls();
  std::vector<const void*> closed;
  std::vector<const void*> made;
  for (const support::Call& call : calls) {
    if (call.text == "zmq_close") closed.push_back(call.object);
    if (call.text == "zmq_setsockopt 34 1") made.push_back(call.object);
  }
  ASSERT_EQ(3U, made.size());
  EXPECT_EQ((std::vector<const void*>{made[1], made[2]}), closed);
  EXPECT_EQ(0, proxyCalls());
  expectNoProxy(*worker);
  const Worker another = newWorker();
  another->connectEndpoint();
  expectProxy(*another);
}

TEST_F(Starting, a_failed_release_is_logged_and_the_first_failure_leaves) {
  const Worker worker = newWorker();
  TransportFaults faults;
  faults.fail("zmq_bind", EDOM, 1);
  faults.fail("zmq_close", EXDEV, 1);
  const std::string text = "Failed to bind ZeroMQ Socket : " + domain + " : End Point : " + front +
                           "zeromq:" + std::to_string(0x1090000 | EDOM);
  EXPECT_FAILURE(std::runtime_error, text, worker->connectEndpoint());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerSender() : " + text),
                 support::errorLine(connectPrefix +
                                    "Failed to  close ZeroMQ Socket : Invalid cross-device "
                                    "linkzeromq:" +
                                    std::to_string(0x10c0000 | EXDEV)),
                 debugLine(connectPrefix + text)}),
            log.lines());
  EXPECT_EQ(2, count(faults.texts(), "zmq_close")) << "the other one is closed all the same";
}

TEST_F(Starting, without_memory_releases_what_was_made) {
  int failing = 1;
  for (bool connected = false; !connected; ++failing) {
    SCOPED_TRACE(failing);
    const Worker worker = newWorker();
    TransportFaults watch;
    {
      const support::AllocationFailure failure(failing);
      try {
        worker->connectEndpoint();
        connected = true;
      } catch (const std::bad_alloc&) {
        EXPECT_TRUE(failure.happened());
      }
    }
    const int made = count(watch.texts(), "zmq_socket 5") + count(watch.texts(), "zmq_socket 6");
    EXPECT_EQ(connected ? 0 : made - 1, count(watch.texts(), "zmq_close"));
    if (connected) {
      expectProxy(*worker);
    } else {
      EXPECT_EQ(0, proxyCalls());
    }
  }
  EXPECT_GT(failing, 3);
}

TEST_F(Starting, a_worker_that_cannot_connect_leaves_the_proxy_running_and_registered) {
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
  EXPECT_EQ(0, count(watch.texts(), "zmq_socket 6")) << "no second proxy";
  expectProxy(*another);
}

// Gives other threads the time to do what they may not do now. How long it is decides only how
// surely they are caught at it.
template <class Condition>
bool happensMeanwhile(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
  while (!condition() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  return condition();
}

// What happens while the first line that starts so is being logged.
struct Look {
  std::string line;
  std::function<void()> body;
};
Look look;

void logAndLook(int, const char* text) {
  if (std::strncmp(text, look.line.c_str(), look.line.size()) != 0) return;
  look.line = "done";
  look.body();
}

void whileLogging(const std::string& line, const std::function<void()>& body) {
  look = {line, body};
  tavrik_Install_Logfn(logAndLook);
}

const std::string closingLine = "Error : proxythreadfun : ";

class StartingUnderWatch : public Starting {
 protected:
  ~StartingUnderWatch() noexcept override { support::beforeProxyThread = nullptr; }
};

TEST_F(StartingUnderWatch, keeps_other_workers_of_the_name_out) {
  std::atomic<int> starts{0};
  support::beforeProxyThread = [&] {
    ++starts;
    happensMeanwhile([&] { return starts > 1; });
  };
  std::thread first([&] { newWorker()->connectEndpoint(); });
  std::thread second([&] { newWorker()->connectEndpoint(); });
  first.join();
  second.join();
  EXPECT_EQ(1, starts);
}

TEST_F(StartingUnderWatch, keeps_the_end_of_another_proxy_waiting) {
  ProxyControl control;
  const Worker other = support::newWorker({}, dir.ipcEndpoint(), "another name");
  other->connectEndpoint();
  control.waitForCalls(1);
  bool logged = true;
  support::beforeProxyThread = [&] {
    control.end(ETERM);
    logged = happensMeanwhile([&] { return !log.lines().empty(); });
  };
  newWorker()->connectEndpoint();
  EXPECT_FALSE(logged);
  closingLines();
}

TEST_F(StartingUnderWatch, keeps_other_workers_out_until_it_has_connected) {
  const Worker worker = newWorker();
  const Worker another = newWorker();
  std::thread starter;
  std::atomic<bool> connected{false};
  bool connectedMeanwhile = true;
  whileLogging("Error : Tavrik::MQWrapper::registerReceiver() : ", [&] {
    starter = std::thread([&] {
      another->connectEndpoint();
      connected = true;
    });
    connectedMeanwhile = happensMeanwhile([&] { return connected.load(); });
  });
  TransportFaults faults;
  faults.fail("zmq_connect", EDOM);
  EXPECT_THROW(worker->connectEndpoint(), std::runtime_error);
  starter.join();
  EXPECT_FALSE(connectedMeanwhile);
}

TEST_F(Starting, makes_a_thread_with_default_attributes) {
  newWorker()->connectEndpoint();
  EXPECT_FALSE(support::proxyThreadHadAttributes());
}

TEST_F(Starting, needs_no_client_endpoint) {
  ProxyControl control;
  const Worker worker = support::newWorker({}, back);
  const TransportFaults watch;
  worker->connectEndpoint();
  control.waitForCalls(1);
  EXPECT_EQ(support::afterMaking({"5", "6", "5"}, {"zmq_setsockopt 57 0", "zmq_bind " + back,
                                                   "zmq_connect " + back}),
            watch.texts());
}

// Ending.

class Ending : public Proxy {};

TEST_F(Ending, takes_the_proxy_out_of_the_registry_and_logs_it) {
  ProxyControl control;
  const Worker worker = newWorker();
  worker->connectEndpoint();
  control.waitForCalls(1);
  AsyncRouterDealerMsgHandle handle;
  handle.setIdentity("client");
  Message message = messageOf({"a"});
  message.setHandle(&handle);
  EXPECT_EQ(1, worker->send(&message)) << "registered while it runs";

  control.end(ETERM);
  const Log lines = closingLines();
  ASSERT_EQ(2U, lines.size());
  EXPECT_EQ(debugLine("Error : proxythreadfun should not come here  ret : -1 error Context was "
                      "terminated !!!!"),
            lines[1]);
  expectNoProxy(*worker);
}

TEST_F(Ending, tells_how_long_the_last_run_took) {
  ProxyControl control;
  const Worker worker = newWorker();
  worker->connectEndpoint();
  control.end(EINTR, 5000000);
  control.end(ETERM, 2345678);
  EXPECT_EQ(debugLine("Error : proxythreadfun : 2 345"), closingLines()[0]);
}

TEST_F(Ending, an_interruption_does_not_end_it) {
  ProxyControl control;
  const Worker worker = newWorker();
  worker->connectEndpoint();
  control.waitForCalls(1);
  void* const router = control.router();
  control.end(EINTR);
  control.waitForCalls(2);
  EXPECT_EQ(router, control.router()) << "again over the same sockets";
  Message message = messageOf({"a"});
  EXPECT_EQ(0, worker->receive(&message, 0)) << "it is still registered";
  EXPECT_EQ(Log{}, log.lines());
  control.end(EINTR, 0, 0);  // the error tells, not the result
  control.waitForCalls(3);
  control.end(ETERM);
  closingLines();
}

TEST_F(Ending, another_worker_starts_it_again_and_the_old_ones_find_it) {
  ProxyControl control;
  const Worker worker = newWorker();
  worker->connectEndpoint();
  control.waitForCalls(1);
  Message message = messageOf({"a"});
  EXPECT_EQ(0, worker->receive(&message, 0));
  control.end(ETERM);
  closingLines();
  EXPECT_THROW(worker->receive(&message, 0), std::logic_error);

  // The ended proxy's sockets stay bound, so the next one needs other endpoints.
  const Worker another = support::newWorker({dir.ipcEndpoint()}, dir.ipcEndpoint());
  another->connectEndpoint();
  control.waitForCalls(2);
  EXPECT_EQ(0, worker->receive(&message, 0)) << "by the name";
  EXPECT_EQ(0, another->receive(&message, 0));
}

TEST_F(Ending, closes_nothing) {
  ProxyControl control;
  const Worker worker = newWorker();
  worker->connectEndpoint();
  control.waitForCalls(1);
  control.end(ETERM);
  closingLines();
  int type = -1;
  std::size_t size = sizeof type;
  EXPECT_EQ(0, zmq_getsockopt(control.router(), ZMQ_TYPE, &type, &size));
  EXPECT_EQ(ZMQ_ROUTER, type);
  EXPECT_EQ(0, zmq_getsockopt(control.dealer(), ZMQ_TYPE, &type, &size));
  EXPECT_EQ(ZMQ_DEALER, type);
}

TEST_F(Ending, leaves_the_proxies_of_other_names_alone) {
  ProxyControl control;
  const Worker worker = newWorker();
  worker->connectEndpoint();
  control.waitForCalls(1);
  const std::string otherBack = dir.ipcEndpoint();
  const Worker other = support::newWorker({}, otherBack, "another name");
  other->connectEndpoint();
  control.waitForCalls(2);
  control.end(ETERM);
  closingLines();
  expectNoProxy(*worker);
  Message message;
  EXPECT_EQ(0, other->receive(&message, 0));
  const Worker third = support::newWorker({}, otherBack, "another name");
  const TransportFaults watch;
  third->connectEndpoint();
  EXPECT_EQ(0, count(watch.texts(), "zmq_socket 6")) << "its proxy is registered still";
}

TEST_F(Ending, is_out_of_the_registry_when_it_is_logged) {
  ProxyControl control;
  const Worker worker = newWorker();
  worker->connectEndpoint();
  std::atomic<bool> refused{false};
  std::atomic<bool> looked{false};
  whileLogging(closingLine, [&] {
    Message message;
    try {
      worker->receive(&message, 0);
    } catch (const std::logic_error&) {
      refused = true;
    }
    looked = true;
  });
  control.end(ETERM);
  while (!looked) std::this_thread::yield();
  EXPECT_TRUE(refused);
}

TEST_F(Ending, keeps_workers_from_starting_it_again_until_it_is_logged) {
  ProxyControl control;
  newWorker()->connectEndpoint();
  const Worker another = support::newWorker({}, dir.ipcEndpoint());
  std::atomic<bool> connected{false};
  bool connectedMeanwhile = true;
  std::thread starter;
  std::atomic<bool> looked{false};
  whileLogging(closingLine, [&] {
    starter = std::thread([&] {
      another->connectEndpoint();
      connected = true;
    });
    connectedMeanwhile = happensMeanwhile([&] { return connected.load(); });
    looked = true;
  });
  control.end(ETERM);
  while (!looked) std::this_thread::yield();
  starter.join();
  EXPECT_FALSE(connectedMeanwhile);
}

TEST_F(Ending, a_start_record_for_an_unknown_name_is_freed_and_logged) {
  struct StartRecord {
    void* router;
    void* dealer;
    char* name;
  };
  ProxyControl control;
  control.end(ETERM);
  auto* const record = static_cast<StartRecord*>(std::malloc(sizeof(StartRecord)));
  *record = {nullptr, nullptr, strdup("nobody")};
  EXPECT_EQ(nullptr, tavrik::proxythreadfun(record));
  EXPECT_EQ(2U, log.lines().size());
}

}  // namespace
