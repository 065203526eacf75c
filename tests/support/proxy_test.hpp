// What the tests of the proxy share: workers of one name, and whether their proxy runs.
#ifndef TAVRIK_TESTS_SUPPORT_PROXY_TEST_HPP
#define TAVRIK_TESTS_SUPPORT_PROXY_TEST_HPP

#include <support/parts.hpp>
#include <support/pattern_test.hpp>
#include <support/plain_socket.hpp>
#include <support/proxy_control.hpp>
#include <support/router_dealer.hpp>
#include <tavrik/tavrik.h>

#include <zmq.h>

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace support {

// Runs an action in the log function, at the first line that starts with a text. One at a time.
class OnLogLine {
 public:
  OnLogLine(const std::string& lineStart, const std::function<void()>& action) {
    start() = lineStart;
    run() = action;
    tavrik_Install_Logfn([](int, const char* text) {
      if (std::strncmp(text, start().c_str(), start().size()) != 0) return;
      start() = "no other line";
      run()();
    });
  }
  OnLogLine(const OnLogLine&) = delete;
  OnLogLine& operator=(const OnLogLine&) = delete;

 private:
  static std::string& start() {
    static std::string text;
    return text;
  }
  static std::function<void()>& run() {
    static std::function<void()> action;
    return action;
  }
};

class ProxyTest : public PatternTest {
 protected:
  ProxyTest() : PatternTest("AsyncRouterDealerMsgPattern") {}

  Worker newWorker() { return support::newWorker({front}, back); }

  // Both directions fail because no proxy of the worker's name runs.
  void expectNoProxy(tavrik::AsyncRouterDealerMsgPattern& worker) {
    const std::string text = "Thread entry not found in proxythreadstavrik:-29";
    tavrik::Message message = messageOf({"a"});
    const std::string sendPrefix = classPrefix + "send() : ";
    EXPECT_LOGGED_FAILURE(std::logic_error, text, {sendPrefix}, worker.send(&message));
    EXPECT_LOGGED_FAILURE(std::logic_error, text, {sendPrefix}, worker.send(nullptr));
    EXPECT_LOGGED_FAILURE(std::logic_error, text, {constructorPrefix}, worker.receive(&message, 0));
    EXPECT_EQ((Parts{"a"}), partsOf(message));
  }

  // A request of a plain client reaches the worker, and its reply reaches the client.
  void expectProxy(tavrik::AsyncRouterDealerMsgPattern& worker) {
    PlainSocket plain(ZMQ_DEALER);
    plain.connect(front);
    tavrik::Message message;
    int received = 0;
    // Ask until a request arrives: the proxy still gives some to a worker that has just been
    // deleted.
    while (received == 0) {
      plain.send({"ask"});
      received = worker.receive(&message, 100);
    }
    ASSERT_EQ(1, received);
    ASSERT_EQ(1, worker.send(&message));
    EXPECT_EQ((Frames{"ask"}), plain.receive());
  }

  // Waits for the lines that a proxy thread logs when it ends.
  static Log closingLines() {
    while (LogCapture::lines().size() < 2) std::this_thread::yield();
    return LogCapture::lines();
  }

  const std::string constructorPrefix = classPrefix + "AsyncRouterDealerMsgPattern() : ";
  const std::string connectPrefix = classPrefix + "connectEndpoint() : ";
  std::string front = dir.ipcEndpoint();
  std::string back = dir.ipcEndpoint();
};

}  // namespace support

#endif
