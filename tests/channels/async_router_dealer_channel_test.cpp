// Router/dealer channels exchanging messages through the proxy.
#include <support/failure.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/router_dealer.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/typed_channels.hpp>

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace support;
using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;

class AsyncRouterDealerChannelTest : public testing::Test {
 protected:
  AsyncRouterDealerChannelTest() {
    client.setServerEndPoint(front);
    worker.setServerEndPoint(front);
    worker.setWorkerEndPoint(back);
    // The first poll connects the worker and starts the proxy.
    tavrik_pollitem_t item = {&worker, TAVRIK_POLLIN, 0};
    EXPECT_EQ(0, tavrik::channel_poll(&item, 1, 0));
  }

  // Sends a request of one part.
  static void ask(AsyncRouterDealerChannel& from, const std::string& request) {
    Message message = messageOf({request});
    EXPECT_EQ(1, from.send("ask", &message));
  }

  LogCapture log;
  TempDir dir;
  std::string front = dir.ipcEndpoint();
  std::string back = dir.ipcEndpoint();
  AsyncRouterDealerChannel client{testName(), ASYNC_DEALER_CLIENT};
  AsyncRouterDealerChannel worker{testName(), ASYNC_DEALER_WORKER};
  Message message;
  char subject[SUBJECT_BUFFER_SIZE] = "";
};

TEST_F(AsyncRouterDealerChannelTest, ExchangesRequestsAndRepliesAndCountsEachOnce) {
  client.initializeStatsMonitoring();
  worker.initializeStatsMonitoring();
  message = messageOf({"a", "b"});
  EXPECT_EQ(2, client.send("ask", &message));
  Message request;
  EXPECT_EQ(2, worker.receive(subject, &request, patience));
  EXPECT_STREQ("ask", subject);
  EXPECT_EQ((Parts{"a", "b"}), partsOf(request));

  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(2, worker.send("reply", &request));
    EXPECT_EQ((Parts{"a", "b"}), partsOf(request));
  }
  EXPECT_EQ(2, client.receive(subject, &message, patience));
  EXPECT_STREQ("reply", subject);
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  tavrikStatistics stats = {};
  client.getTavrikStats(&stats);
  EXPECT_EQ(1U, stats.sentCount);
  EXPECT_EQ(1U, stats.rcvdCount);
  worker.getTavrikStats(&stats);
  EXPECT_EQ(2U, stats.sentCount);
  EXPECT_EQ(1U, stats.rcvdCount);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(AsyncRouterDealerChannelTest, OfClientsWithTheSameIdentityOnlyTheFirstIsHeard) {
  const auto newClient = [&] {
    auto channel = std::make_unique<AsyncRouterDealerChannel>("twin", ASYNC_DEALER_CLIENT);
    channel->setServerEndPoint(front);
    return channel;
  };
  std::unique_ptr<AsyncRouterDealerChannel> first;
  std::unique_ptr<AsyncRouterDealerChannel> second;
  time_t before = 0;
  time_t after = 0;
  do {
    // After an attempt in two seconds, the second client may have the identity of the later one.
    while ((before = time(nullptr)) == after) std::this_thread::yield();
    first = newClient();
    ask(*first, "first");
    ASSERT_EQ(1, worker.receive(subject, &message, patience)) << "the proxy knows the first";
    second = newClient();
    EXPECT_EQ(0, second->receive(subject, &message, 1)) << "connects";
    after = time(nullptr);
  } while (after != before);

  // Nothing reads the second one's messages, so its queues fill up.
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to send messagepart : Resource temporarily unavailablezeromq:17498123",
                 for (;;) ask(*second, "second"));
  ask(client, "another");
  ASSERT_EQ(1, worker.receive(subject, &message, patience));
  EXPECT_EQ((Parts{"another"}), partsOf(message));
}

// The proxy gives each worker its share in turn, before the worker asks for it.
TEST_F(AsyncRouterDealerChannelTest, RequestsQueuedForADestroyedWorkerAreLostUntilSentAgain) {
  auto leaving = std::make_unique<AsyncRouterDealerChannel>(testName(), ASYNC_DEALER_WORKER);
  leaving->setWorkerEndPoint(back);
  std::multiset<std::string> replies;
  const auto reply = [&](AsyncRouterDealerChannel& from, Message& request) {
    EXPECT_EQ(1, from.send("reply", &request));
    EXPECT_EQ(1, client.receive(subject, &request, patience));
    replies.insert(partsOf(request)[0]);
  };
  for (bool sharing = false; !sharing;) {
    ask(client, "which worker?");
    tavrik_pollitem_t items[] = {{&worker, TAVRIK_POLLIN, 0}, {leaving.get(), TAVRIK_POLLIN, 0}};
    ASSERT_EQ(1, tavrik::channel_poll(items, 2, patience));
    sharing = items[1].revents != 0;
    AsyncRouterDealerChannel& asked = sharing ? *leaving : worker;
    EXPECT_EQ(1, asked.receive(subject, &message, 0));
    reply(asked, message);
  }
  replies.clear();

  const std::vector<std::string> kept = {"0", "2", "4", "6", "8", "10"};
  const std::vector<std::string> lost = {"1", "3", "5", "7", "9"};
  for (int i = 0; i <= 10; ++i) ask(client, std::to_string(i));
  std::vector<Message> requests(kept.size());
  for (Message& request : requests) ASSERT_EQ(1, worker.receive(subject, &request, patience));
  EXPECT_EQ(1, leaving->receive(subject, &message, patience));
  EXPECT_EQ((Parts{"1"}), partsOf(message));
  leaving.reset();
  for (Message& request : requests) reply(worker, request);
  EXPECT_EQ((std::multiset<std::string>(kept.begin(), kept.end())), replies);

  for (const std::string& request : lost) {
    // The proxy needs a moment to notice that a worker has disconnected. Until then more may be
    // lost.
    do {
      ask(client, request);
    } while (worker.receive(subject, &message, 2000) == 0);
    reply(worker, message);
  }
  std::multiset<std::string> all(kept.begin(), kept.end());
  all.insert(lost.begin(), lost.end());
  EXPECT_EQ(all, replies);
}

TEST_F(AsyncRouterDealerChannelTest, SendsBuffersToAWorkerButNotBack) {
  char data[] = {'a', '\0', 'b'};
  EXPECT_EQ(1, client.sendBinary("file", data, 3));
  void* received = nullptr;
  unsigned int size = 0;
  ASSERT_EQ(1, worker.receiveBinary(subject, &received, &size, patience));
  EXPECT_EQ(std::string(data, 3), std::string(static_cast<char*>(received), size));
  std::free(received);
  EXPECT_FAILURE(std::logic_error, "Message handle is NULLtavrik:-28",
                 worker.sendBinary("file", data, 3));
}

}  // namespace
