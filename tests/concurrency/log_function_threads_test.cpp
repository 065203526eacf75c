// The log function exchanged while other threads use the library. Meant to run under the thread
// sanitizer too, which reports a line that reaches a function before what the function reads.
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/request_reply.hpp>
#include <support/router_dealer.hpp>
#include <support/together.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/typed_channels.hpp>

#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace {

using namespace support;
using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;

const std::string refusal =
    "Failed to get messagepart : Operation cannot be accomplished in current statezeromq:17727539";

// One of the log functions. It reads what is written just before it is installed.
template <int Number>
struct Sink {
  static inline std::string expected;
  static inline std::atomic<int> lines{0};
  static inline std::atomic<int> strange{0};

  static void take(int level, const char* text) {
    const std::string line = text;
    const bool ends = line.size() >= expected.size() &&
                      line.compare(line.size() - expected.size(), line.npos, expected) == 0;
    if (level != TAVRIK_LOG_DEBUG || !ends) ++strange;
    ++lines;
  }

  static void install() {
    if (expected.empty()) expected = refusal;
    tavrik_Install_Logfn(take);
  }
};

class LogFunctionThreadsTest : public testing::Test {
 protected:
  ~LogFunctionThreadsTest() override { tavrik_Install_Logfn(syslog_Logfn); }

  static void exchange(tavrik::TavrikChannel& server, tavrik::TavrikChannel& client) {
    char subject[SUBJECT_BUFFER_SIZE];
    Message message = messageOf({"text"});
    ASSERT_EQ(1, client.send("ask", &message));
    ASSERT_EQ(1, server.receive(subject, &message, patience));
    ASSERT_EQ(1, server.send("reply", &message));
    ASSERT_EQ(1, client.receive(subject, &message, patience));
  }

  // Receives out of turn, which logs one line.
  static void fail(tavrik::TavrikChannel& client) {
    char subject[SUBJECT_BUFFER_SIZE];
    Message message;
    EXPECT_THROW(client.receive(subject, &message, 0), std::runtime_error);
  }
};

TEST_F(LogFunctionThreadsTest, EachLineReachesOneOfTheFunctionsThatAreExchangedInTraffic) {
  constexpr int pairs = 3;
  constexpr int rounds = 300;
  std::atomic<int> busy{pairs};
  Sink<0>::install();
  together(pairs + 1, [&](int i) {
    if (i == pairs) {
      while (busy > 0) {
        Sink<1>::install();
        Sink<2>::install();
      }
      return;
    }
    RequestReply pair;
    AsyncRouterDealerChannel worker(testName() + std::to_string(i), ASYNC_DEALER_WORKER);
    AsyncRouterDealerChannel client(testName() + std::to_string(i), ASYNC_DEALER_CLIENT);
    worker.setServerEndPoint(pair.dir.ipcEndpoint());
    client.setServerEndPoint(worker.getProperty(ASYNC_DEALER_NEXT_CLIENT_ENDPOINT));
    worker.setWorkerEndPoint(pair.dir.ipcEndpoint());
    char subject[SUBJECT_BUFFER_SIZE];
    Message message;
    EXPECT_EQ(0, pair.server.receive(subject, &message, 0));
    EXPECT_EQ(0, worker.receive(subject, &message, 1));
    for (int n = 0; n < rounds; ++n) {
      exchange(pair.server, pair.client);
      exchange(worker, client);
      fail(pair.client);
    }
    --busy;
  });
  EXPECT_EQ(pairs * rounds, Sink<0>::lines + Sink<1>::lines + Sink<2>::lines);
  EXPECT_EQ(0, Sink<0>::strange + Sink<1>::strange + Sink<2>::strange);
  EXPECT_GT(Sink<1>::lines, 0);
  EXPECT_GT(Sink<2>::lines, 0);
}

}  // namespace
