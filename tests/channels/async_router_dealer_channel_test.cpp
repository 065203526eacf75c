// Router/dealer channels at work, in C++ and through the C interface.
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/router_dealer.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/typed_channels.hpp>

#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using support::testName;
using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;

class RouterDealerChannels : public testing::Test {
 protected:
  RouterDealerChannels() {
    client.setServerEndPoint(front);
    worker.setServerEndPoint(front);
    worker.setWorkerEndPoint(back);
    // The first use connects the worker and starts the proxy.
    tavrik_pollitem_t item = {&worker, TAVRIK_POLLIN, 0};
    tavrik::channel_poll(&item, 1, 0);
  }

  support::LogCapture log;
  support::TempDir dir;
  std::string front = dir.ipcEndpoint();
  std::string back = dir.ipcEndpoint();
  AsyncRouterDealerChannel client{testName(), ASYNC_DEALER_CLIENT};
  AsyncRouterDealerChannel worker{testName(), ASYNC_DEALER_WORKER};
  char subject[SUBJECT_BUFFER_SIZE] = "";
};

TEST_F(RouterDealerChannels, exchange_request_and_reply) {
  Message message = messageOf({"a", "b"});
  EXPECT_EQ(2, client.send("ask", &message));
  Message request;
  EXPECT_EQ(2, worker.receive(subject, &request, patience));
  EXPECT_STREQ("ask", subject);
  EXPECT_EQ((Parts{"a", "b"}), partsOf(request));

  EXPECT_EQ(2, worker.send("answer", &request));
  EXPECT_EQ((Parts{"a", "b"}), partsOf(request));
  EXPECT_EQ(2, client.receive(subject, &message, patience));
  EXPECT_STREQ("answer", subject);
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  EXPECT_EQ(support::Log{}, log.lines());
}

TEST_F(RouterDealerChannels, send_many_requests_before_any_reply) {
  constexpr unsigned int many = 100;
  for (unsigned int i = 0; i < many; ++i) {
    Message message = messageOf({std::to_string(i)});
    EXPECT_EQ(1, client.send("ask", &message));
  }
  for (unsigned int i = 0; i < many; ++i) {
    Message message;
    ASSERT_EQ(1, worker.receive(subject, &message, patience));
    EXPECT_EQ(1, worker.send("answer", &message));
  }
  for (unsigned int i = 0; i < many; ++i) {
    Message message;
    ASSERT_EQ(1, client.receive(subject, &message, patience));
    EXPECT_EQ((Parts{std::to_string(i)}), partsOf(message));
  }
}

TEST_F(RouterDealerChannels, count_each_message_once_identity_or_not) {
  client.initializeStatsMonitoring();
  worker.initializeStatsMonitoring();
  Message message = messageOf({"a"});
  client.send("ask", &message);
  worker.receive(subject, &message, patience);
  worker.send("answer", &message);
  worker.send("answer", &message);
  client.receive(subject, &message, patience);
  tavrikStatistics stats = {};
  client.getTavrikStats(&stats);
  EXPECT_EQ(1U, stats.sentCount);
  EXPECT_EQ(1U, stats.rcvdCount);
  worker.getTavrikStats(&stats);
  EXPECT_EQ(2U, stats.sentCount);
  EXPECT_EQ(1U, stats.rcvdCount);
}

TEST_F(RouterDealerChannels, carry_a_subject_alone) {
  Message message;
  EXPECT_EQ(0, client.send("ping", &message));
  tavrik_pollitem_t item = {&worker, TAVRIK_POLLIN, 0};
  ASSERT_EQ(1, tavrik::channel_poll(&item, 1, patience));
  EXPECT_EQ(0, worker.receive(subject, &message, 0));
  EXPECT_STREQ("ping", subject);
  EXPECT_EQ(0, worker.send("pong", &message)) << "the handle came with it";
}

TEST_F(RouterDealerChannels, a_refused_reply_gives_the_message_back_unchanged) {
  Message message = messageOf({"a", "b"});
  EXPECT_FAILURE(std::logic_error, "Message handle is NULLtavrik:-28",
                 worker.send("answer", &message));
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
}

TEST_F(RouterDealerChannels, a_worker_that_only_looks_leaves_message_and_subject_empty) {
  AsyncRouterDealerChannel another(testName(), ASYNC_DEALER_WORKER);
  another.setWorkerEndPoint(back);
  Message message = messageOf({"old"});
  EXPECT_EQ(0, another.receive(subject, &message, 0));
  EXPECT_EQ(0, message.getnumParts());
  EXPECT_STREQ("", subject);
  EXPECT_EQ(0, another.setWorkerEndPoint(back)) << "it has not connected";
}

TEST_F(RouterDealerChannels, a_client_whose_queue_is_full_fails_at_once) {
  AsyncRouterDealerChannel lonely("lonely", ASYNC_DEALER_CLIENT);
  lonely.setServerEndPoint(dir.ipcEndpoint());  // nobody binds it
  lonely.setProperty(ASYNC_DEALER_CLIENT_SNDHWM, "3");
  Message message = messageOf({"a"});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(1, lonely.send("ask", &message));
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to send messagepart : Resource temporarily unavailablezeromq:17498123",
                 lonely.send("ask", &message));
  EXPECT_EQ((Parts{"a"}), partsOf(message));
}

TEST_F(RouterDealerChannels, of_clients_of_one_thread_and_second_only_the_first_is_heard) {
  const auto newClient = [&] {
    auto channel = std::make_unique<AsyncRouterDealerChannel>("twin", ASYNC_DEALER_CLIENT);
    channel->setServerEndPoint(front);
    return channel;
  };
  Message message;
  std::unique_ptr<AsyncRouterDealerChannel> first;
  std::unique_ptr<AsyncRouterDealerChannel> second;
  time_t before = 0;
  do {
    before = time(nullptr);
    first = newClient();
    message = messageOf({"first"});
    first->send("ask", &message);
    ASSERT_EQ(1, worker.receive(subject, &message, patience)) << "the proxy knows the first";
    second = newClient();
    second->receive(subject, &message, 1);  // connects
  } while (time(nullptr) != before);

  message = messageOf({"second"});
  second->send("ask", &message);
  message = messageOf({"another"});
  client.send("ask", &message);
  ASSERT_EQ(1, worker.receive(subject, &message, patience));
  EXPECT_EQ((Parts{"another"}), partsOf(message));
  EXPECT_EQ(0, worker.receive(subject, &message, 50));
}

// The proxy hands each worker its share in turn, whether the worker asks for it or not.
TEST_F(RouterDealerChannels,
       lose_what_a_worker_that_goes_has_not_answered_until_it_is_asked_again) {
  auto going = std::make_unique<AsyncRouterDealerChannel>(testName(), ASYNC_DEALER_WORKER);
  going->setWorkerEndPoint(back);
  const auto ask = [&](const std::string& request) {
    Message message = messageOf({request});
    EXPECT_EQ(1, client.send("ask", &message));
  };
  std::multiset<std::string> answered;
  const auto answer = [&](AsyncRouterDealerChannel& by, Message& request) {
    EXPECT_EQ(1, by.send("answer", &request));
    EXPECT_EQ(1, client.receive(subject, &request, patience));
    answered.insert(partsOf(request)[0]);
  };
  for (bool sharing = false; !sharing;) {
    ask("whose?");
    tavrik_pollitem_t items[] = {{&worker, TAVRIK_POLLIN, 0}, {going.get(), TAVRIK_POLLIN, 0}};
    ASSERT_EQ(1, tavrik::channel_poll(items, 2, patience));
    sharing = items[1].revents != 0;
    Message request;
    AsyncRouterDealerChannel& by = sharing ? *going : worker;
    by.receive(subject, &request, 0);
    answer(by, request);
  }
  answered.clear();

  const std::vector<std::string> stays = {"0", "2", "4", "6", "8", "10"};
  const std::vector<std::string> goes = {"1", "3", "5", "7", "9"};
  for (int i = 0; i <= 10; ++i) ask(std::to_string(i));
  std::vector<Message> requests(stays.size());
  for (Message& request : requests) ASSERT_EQ(1, worker.receive(subject, &request, patience));
  Message inHand;
  EXPECT_EQ(1, going->receive(subject, &inHand, patience));
  EXPECT_EQ((Parts{"1"}), partsOf(inHand));
  going.reset();
  for (Message& request : requests) answer(worker, request);
  EXPECT_EQ((std::multiset<std::string>(stays.begin(), stays.end())), answered);

  for (const std::string& request : goes) {
    // The proxy notices a little later that a worker has gone; until then more may be lost.
    Message again;
    do {
      ask(request);
    } while (worker.receive(subject, &again, 2000) == 0);
    answer(worker, again);
  }
  std::multiset<std::string> all(stays.begin(), stays.end());
  all.insert(goes.begin(), goes.end());
  EXPECT_EQ(all, answered);
  Message none;
  EXPECT_EQ(0, worker.receive(subject, &none, 0)) << "what was lost stays lost";
}

TEST_F(RouterDealerChannels, carry_buffers_to_a_worker_but_not_back) {
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

TEST_F(RouterDealerChannels, work_through_the_c_interface) {
  EXPECT_EQ(1, tavrik_send(&client, "ask", 1, "a"));
  tavrik_message_t* const request = tavrik_createMessage(0);
  EXPECT_EQ(1, tavrik_receivemsg(&worker, subject, request, patience));
  const tavrik_msghandle_t* const handle = tavrik_getHandle(request);
  ASSERT_NE(nullptr, handle);
  tavrik_message_t* const reply = tavrik_createMessage(0);
  tavrik_insertPart(reply, 0, "b");
  EXPECT_EQ(-28, tavrik_sendmsg(&worker, "answer", reply));
  EXPECT_EQ(1, tavrik_getnumParts(reply));
  EXPECT_EQ(0, tavrik_setHandle(reply, handle));
  tavrik_freeMsgHandle(handle);
  EXPECT_EQ(1, tavrik_sendmsg(&worker, "answer", reply));
  EXPECT_EQ(1, tavrik_receivemsg(&client, subject, request, patience));
  EXPECT_STREQ("answer", subject);
  EXPECT_EQ(-32, tavrik_setProperty(&client, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://x"));
  EXPECT_EQ(-25, tavrik_setProperty(&client, ASYNC_DEALER_CLIENT_SNDHWM, "5"));
  char value[PROPERTY_BUFFER_SIZE];
  EXPECT_EQ(0, tavrik_getProperty(&client, ASYNC_DEALER_CLIENT_SNDHWM, value));
  EXPECT_STREQ("1000", value);
  tavrik_deleteMessage(reply);
  tavrik_deleteMessage(request);
}

}  // namespace
