#include <support/failing_allocator.hpp>
#include <support/parts.hpp>
#include <support/pattern_test.hpp>
#include <support/plain_socket.hpp>
#include <support/router_dealer.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>

#include <pthread.h>
#include <zmq.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::string_literals;
using support::afterMaking;
using support::Calls;
using support::debugLine;
using support::Frames;
using support::infoLine;
using support::Log;
using support::messageOf;
using support::newWorker;
using support::Parts;
using support::partsOf;
using support::patience;
using support::PlainSocket;
using support::testName;
using support::tosPrefix;
using support::TransportFaults;
using support::Worker;
using tavrik::AsyncRouterDealerMsgHandle;
using tavrik::AsyncRouterDealerMsgPattern;
using tavrik::Message;
using tavrik::MsgHandle;

std::string identityIn(const Calls& calls) {
  const std::string before = "zmq_setsockopt 5 \"";
  for (const std::string& call : calls) {
    if (call.compare(0, before.size(), before) != 0) continue;
    return call.substr(before.size(), call.size() - before.size() - 1);
  }
  return "none";
}

std::string ownThread() {
  return std::to_string(static_cast<unsigned long long>(pthread_self()));
}

class RouterDealer : public support::PatternTest {
 protected:
  RouterDealer() : PatternTest("AsyncRouterDealerMsgPattern", -27) {
    client.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front);
    worker.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front);
    worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back);
  }
  ~RouterDealer() noexcept override {}  // the patterns' own may throw

  const std::string constructorPrefix = classPrefix + "AsyncRouterDealerMsgPattern() : ";
  const std::string receivePrefix = constructorPrefix;  // receive has none of its own
  const std::string sendPrefix = classPrefix + "send() : ";
  const std::string connectPrefix = classPrefix + "connectEndpoint() : ";
  std::string front = dir.ipcEndpoint();
  std::string back = dir.ipcEndpoint();
  AsyncRouterDealerMsgPattern client{testName(), ASYNC_DEALER_CLIENT};
  AsyncRouterDealerMsgPattern worker{testName(), ASYNC_DEALER_WORKER};
};

TEST_F(RouterDealer, refuses_every_other_role) {
  for (const int role : {0, 1, 2, 3, 6, -1}) {
    SCOPED_TRACE(role);
    expectRefusal("Invalid Role specifiedtavrik:-23", constructorPrefix,
                  [&] { AsyncRouterDealerMsgPattern("x", static_cast<role_t>(role)); });
  }
}

TEST_F(RouterDealer, checks_the_name_before_the_role_and_logs_it_in_the_base_only) {
  expectRefusal("Invalid Channel name specifiedtavrik:-1",
                "Error : Tavrik::MsgPattern::MsgPattern() : ", [] {
                  AsyncRouterDealerMsgPattern("", REQ_CLIENT);
                });
}

// Properties.

TEST_F(RouterDealer, refuses_an_endpoint_with_an_asterisk_before_anything_else) {
  const std::string text = "Invalid Endpoint : tcp://*:1tavrik:-26";
  expectSetRefused(client, ASYNC_DEALER_CLIENT_ENDPOINT, "tcp://*:1", text);
  expectSetRefused(worker, ASYNC_DEALER_CLIENT_ENDPOINT, "tcp://*:1", text);
  expectSetRefused(worker, ASYNC_DEALER_WORKER_ENDPOINT, "tcp://*:1", text);
  EXPECT_EQ(front, client.getProperty(ASYNC_DEALER_CLIENT_ENDPOINT));
  EXPECT_EQ(back, worker.getProperty(ASYNC_DEALER_WORKER_ENDPOINT));
}

TEST_F(RouterDealer, a_client_keeps_the_last_endpoint_set) {
  EXPECT_EQ(0, client.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://a"));
  EXPECT_EQ(0, client.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://a"));
  EXPECT_EQ(0, client.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://b"));
  EXPECT_EQ("inproc://b", client.getProperty(ASYNC_DEALER_CLIENT_ENDPOINT));
}

TEST_F(RouterDealer, a_worker_collects_client_endpoints_and_keeps_the_last_worker_endpoint) {
  EXPECT_EQ(0, worker.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://second"));
  expectSetRefused(worker, ASYNC_DEALER_CLIENT_ENDPOINT, front,
                   "Dealer Endpoint already set : " + front + "tavrik:-42");
  EXPECT_EQ(0, worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, "inproc://back"));
  EXPECT_EQ("inproc://back", worker.getProperty(ASYNC_DEALER_WORKER_ENDPOINT));
  const auto next = [&] { return worker.getProperty(ASYNC_DEALER_NEXT_CLIENT_ENDPOINT); };
  EXPECT_EQ(front, next());
  EXPECT_EQ("inproc://second", next());
  EXPECT_EQ("", next());
  EXPECT_EQ(front, next());
}

TEST_F(RouterDealer, endpoints_are_compared_as_they_stand) {
  for (const char* const other : {"inproc://a", "inproc://A", "inproc://ab"}) {
    EXPECT_EQ(0, worker.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, other));
  }
}

TEST_F(RouterDealer, reading_an_unset_endpoint_stores_the_empty_text) {
  class Open : public AsyncRouterDealerMsgPattern {
   public:
    explicit Open(role_t channelRole) : AsyncRouterDealerMsgPattern("x", channelRole) {}
    using MsgPattern::properties;
  };
  using Properties = std::map<channel_prop_t, std::string>;
  Open freshClient(ASYNC_DEALER_CLIENT);
  freshClient.getProperty(CHANNEL_TOS_PRIORITY);
  freshClient.getProperty(ASYNC_DEALER_CLIENT_SNDHWM);
  EXPECT_EQ(Properties{}, freshClient.properties) << "but for type of service and mark";
  freshClient.getProperty(ASYNC_DEALER_CLIENT_ENDPOINT);
  EXPECT_EQ((Properties{{ASYNC_DEALER_CLIENT_ENDPOINT, ""}}), freshClient.properties);
  Open freshWorker(ASYNC_DEALER_WORKER);
  freshWorker.getProperty(ASYNC_DEALER_WORKER_ENDPOINT);
  EXPECT_EQ((Properties{{ASYNC_DEALER_WORKER_ENDPOINT, ""}}), freshWorker.properties);
}

TEST_F(RouterDealer, an_unset_endpoint_reads_as_the_empty_text) {
  AsyncRouterDealerMsgPattern freshClient("x", ASYNC_DEALER_CLIENT);
  AsyncRouterDealerMsgPattern freshWorker("x", ASYNC_DEALER_WORKER);
  EXPECT_EQ("", freshClient.getProperty(ASYNC_DEALER_CLIENT_ENDPOINT));
  EXPECT_EQ("", freshWorker.getProperty(ASYNC_DEALER_WORKER_ENDPOINT));
  EXPECT_EQ("", freshWorker.getProperty(ASYNC_DEALER_NEXT_CLIENT_ENDPOINT));
}

TEST_F(RouterDealer, a_role_that_came_to_be_undefined_takes_no_client_endpoint) {
  class Changed : public AsyncRouterDealerMsgPattern {
   public:
    Changed() : AsyncRouterDealerMsgPattern("x", ASYNC_DEALER_CLIENT) { role = PUBLISHER; }
  } changed;
  expectSetRefused(changed, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://a",
                   "Channel Role not defined : tavrik:-23");
  expectSetRefused(changed, ASYNC_DEALER_CLIENT_ENDPOINT, "*", "Invalid Endpoint : *tavrik:-26");
}

TEST_F(RouterDealer, the_mark_is_the_clients_and_keeps_its_text) {
  EXPECT_EQ("1000", client.getProperty(ASYNC_DEALER_CLIENT_SNDHWM));
  for (const char* const value : {"1", "1000", "12abc", "4294967297"}) {
    EXPECT_EQ(0, client.setProperty(ASYNC_DEALER_CLIENT_SNDHWM, value));
    EXPECT_EQ(value, client.getProperty(ASYNC_DEALER_CLIENT_SNDHWM));
  }
}

TEST_F(RouterDealer, checks_the_marks_role_before_its_value_before_the_connection) {
  client.setProperty(ASYNC_DEALER_CLIENT_SNDHWM, "7");
  for (const std::string value :
       {"0", "1001", "abc", "", "-1", "0x10", "2147483649", "4294967296"}) {
    expectSetRefused(client, ASYNC_DEALER_CLIENT_SNDHWM, value,
                     "Invalid value for prop ASYNC_DEALER_CLIENT_SNDHWM: " + value + "tavrik:-24");
  }
  client.connectEndpoint();
  worker.connectEndpoint();
  expectSetRefused(worker, ASYNC_DEALER_CLIENT_SNDHWM, "0",
                   "Invalid role with prop ASYNC_DEALER_CLIENT_SNDHWM: 0tavrik:-23");
  expectSetRefused(client, ASYNC_DEALER_CLIENT_SNDHWM, "0",
                   "Invalid value for prop ASYNC_DEALER_CLIENT_SNDHWM: 0tavrik:-24");
  expectSetRefused(client, ASYNC_DEALER_CLIENT_SNDHWM, "5",
                   "channel is already connected5tavrik:-25");
  EXPECT_EQ("7", client.getProperty(ASYNC_DEALER_CLIENT_SNDHWM));
}

TEST_F(RouterDealer, refuses_to_set_other_properties) {
  expectNotSettable(worker, {0, 1, 2, 3, 8, 9, 10, 11, 12, ~0U});
  expectNotSettable(client, {0, 1, 2, 3, 8, 9, 10, 11, 12, ~0U});
  expectNotSettable(client, {ASYNC_DEALER_WORKER_ENDPOINT});
}

TEST_F(RouterDealer, refuses_to_read_other_properties) {
  expectNotReadable(client, {0, 1, 2, 3, 8, 9, 10, 12, ~0U});
  expectNotReadable(worker, {0, 1, 2, 3, 8, 9, 10, 12, ~0U});
  expectNotReadable(client, {ASYNC_DEALER_WORKER_ENDPOINT, ASYNC_DEALER_NEXT_CLIENT_ENDPOINT});
  expectNotReadable(worker, {ASYNC_DEALER_CLIENT_ENDPOINT, ASYNC_DEALER_CLIENT_SNDHWM});
}

TEST_F(RouterDealer, connected_refuses_silently_but_the_type_of_service_and_the_mark) {
  client.connectEndpoint();
  worker.connectEndpoint();
  for (AsyncRouterDealerMsgPattern* const pattern : {&client, &worker}) {
    for (const unsigned prop : {0U, 1U, 2U, 3U, 4U, 5U, 8U, 9U, 10U, 11U, 12U, ~0U}) {
      EXPECT_EQ(-32, pattern->setProperty(static_cast<channel_prop_t>(prop), "*")) << prop;
    }
  }
  EXPECT_EQ(Log{}, log.lines());
  const std::string text = "channel is already connected16tavrik:-11";
  EXPECT_FAILURE(std::logic_error, text, client.setProperty(CHANNEL_TOS_PRIORITY, "16"));
  EXPECT_EQ((Log{debugLine(tosPrefix + text), debugLine(setPrefix + text)}), log.lines());
}

TEST_F(RouterDealer, has_the_type_of_service_of_every_pattern) {
  EXPECT_EQ("0", worker.getProperty(CHANNEL_TOS_PRIORITY));
  EXPECT_EQ(0, worker.setProperty(CHANNEL_TOS_PRIORITY, "16"));
  EXPECT_EQ("16", worker.getProperty(CHANNEL_TOS_PRIORITY));
  EXPECT_THROW(worker.setProperty(CHANNEL_TOS_PRIORITY, "256"), std::logic_error);
}

// Connecting a client.

TEST_F(RouterDealer, setting_the_endpoint_does_not_connect) {
  const TransportFaults watch;
  client.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front + "x");
  worker.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front + "x");
  worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back + "x");
  EXPECT_EQ(Calls{}, watch.texts());
}

TEST_F(RouterDealer, a_client_connects_a_dealer_with_an_identity_of_its_own) {
  const TransportFaults watch;
  const time_t before = time(nullptr);
  client.connectEndpoint();
  const time_t after = time(nullptr);
  const std::string identity = identityIn(watch.texts());
  EXPECT_EQ(afterMaking({"5"}, {"zmq_setsockopt 5 \"" + identity + "\"", "zmq_setsockopt 57 0",
                                "zmq_connect " + front}),
            watch.texts());
  // The number is the first of the generator when it is seeded with the second.
  std::vector<std::string> possible;
  for (time_t second = before; second <= after; ++second) {
    srand(static_cast<unsigned int>(second));
    possible.push_back(testName() + "_" + ownThread() + "_" + std::to_string(rand()));
  }
  EXPECT_EQ(1, support::count(possible, identity)) << identity;
}

TEST_F(RouterDealer, a_client_gets_what_was_set_before) {
  client.setProperty(CHANNEL_TOS_PRIORITY, "184");
  client.setProperty(ASYNC_DEALER_CLIENT_SNDHWM, "77");
  const TransportFaults watch;
  client.connectEndpoint();
  EXPECT_EQ(
      afterMaking({"5"}, {"zmq_setsockopt 5 \"" + identityIn(watch.texts()) + "\"",
                          "zmq_setsockopt 23 77", "zmq_setsockopt 57 184", "zmq_connect " + front}),
      watch.texts());
}

std::string identityOf(const std::string& name) {
  AsyncRouterDealerMsgPattern pattern(name, ASYNC_DEALER_CLIENT);
  pattern.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, support::inprocEndpoint());
  const TransportFaults watch;
  pattern.connectEndpoint();
  return identityIn(watch.texts());
}

TEST_F(RouterDealer, identities_of_one_thread_and_second_are_the_same) {
  std::string first;
  std::string second;
  time_t before = 0;
  do {
    before = time(nullptr);
    first = identityOf("name");
    second = identityOf("name");
  } while (time(nullptr) != before);
  EXPECT_EQ(first, second);
}

TEST_F(RouterDealer, identities_of_different_threads_differ) {
  std::string other;
  std::thread([&] { other = identityOf("name"); }).join();
  EXPECT_NE(identityOf("name"), other);
}

TEST_F(RouterDealer, an_identity_is_cut_to_254_characters) {
  const std::string name(250, 'n');
  const std::string identity = identityOf(name);
  EXPECT_EQ(254U, identity.size());
  EXPECT_EQ((name + "_" + ownThread()).substr(0, 254), identity);
  EXPECT_EQ(254U, identityOf(std::string(255, 'n')).size());
}

TEST_F(RouterDealer, a_client_without_an_endpoint_fails_to_connect_and_counts_as_connected) {
  AsyncRouterDealerMsgPattern lost("x", ASYNC_DEALER_CLIENT);
  const std::string text =
      "Failed to connect ZeroMQ Socket : Invalid argument : End Point : zeromq:17432598";
  EXPECT_FAILURE(std::runtime_error, text, lost.connectEndpoint());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerReceiver() : " + text),
                 debugLine(connectPrefix + text)}),
            log.lines());
  EXPECT_EQ(-32, lost.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front));
}

// Connecting a worker.

TEST_F(RouterDealer, the_first_worker_starts_the_proxy) {
  worker.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front + "-second");
  worker.setProperty(CHANNEL_TOS_PRIORITY, "184");
  const TransportFaults watch;
  worker.connectEndpoint();
  EXPECT_EQ(afterMaking({"5", "6", "5"}, {"zmq_setsockopt 57 184", "zmq_bind " + front,
                                          "zmq_bind " + front + "-second", "zmq_bind " + back,
                                          "zmq_connect " + back}),
            watch.texts());
  // The type of service goes onto the router and nothing else.
  const auto& calls = watch.calls();
  EXPECT_EQ(calls[6].object, calls[15].object) << "the router's first option and the service";
}

TEST_F(RouterDealer, further_workers_of_the_name_share_the_proxy) {
  worker.connectEndpoint();
  const Worker second = newWorker({}, back);
  const TransportFaults watch;
  second->connectEndpoint();
  EXPECT_EQ(afterMaking({"5"}, {"zmq_connect " + back}), watch.texts());
}

TEST_F(RouterDealer, connects_only_once) {
  client.connectEndpoint();
  worker.connectEndpoint();
  const TransportFaults watch;
  client.connectEndpoint();
  worker.connectEndpoint();
  EXPECT_EQ(Calls{}, watch.texts());
}

TEST_F(RouterDealer, the_proxy_outlives_the_worker_that_started_it) {
  newWorker({front}, back)->connectEndpoint();
  const TransportFaults watch;
  worker.connectEndpoint();
  EXPECT_EQ(afterMaking({"5"}, {"zmq_connect " + back}), watch.texts());
}

// Sending and receiving, with plain sockets around the proxy.

class OnTheWire : public RouterDealer {
 protected:
  Message receivedByWorker() {
    Message message = messageOf({"old"});
    received = worker.receive(&message, patience);
    return message;
  }

  int received = 0;
};

std::string handleIdentity(const Message& message) {
  MsgHandle* const handle = message.getHandle();
  const auto* const own = dynamic_cast<AsyncRouterDealerMsgHandle*>(handle);
  const std::string identity = own != nullptr ? own->getIdentity() : "none";
  tavrik::freeMsgHandle(handle);
  return identity;
}

TEST_F(OnTheWire, a_worker_answers_a_plain_dealer_by_its_identity) {
  worker.connectEndpoint();
  PlainSocket plain(ZMQ_DEALER);
  plain.setOption(ZMQ_IDENTITY, "me\0too"s);
  plain.connect(front);
  plain.send({"ask", "", "1"});
  Message message = receivedByWorker();
  EXPECT_EQ(3, received) << "the identity is not counted";
  EXPECT_EQ((Parts{"ask", "", "1"}), partsOf(message));
  EXPECT_EQ("me\0too"s, handleIdentity(message));

  message.setPart(0, "answer");
  EXPECT_EQ(3, worker.send(&message));
  EXPECT_EQ((Parts{"answer", "", "1"}), partsOf(message)) << "the same as before";
  EXPECT_EQ((Frames{"answer", "", "1"}), plain.receive());
}

TEST_F(OnTheWire, a_plain_dealer_can_work_behind_the_proxy) {
  newWorker({front}, back)->connectEndpoint();
  PlainSocket plain(ZMQ_DEALER);
  plain.connect(back);
  Message message = messageOf({"ask", "1"});
  // What came before the plain worker went to the starter's queue, which is gone.
  do {
    EXPECT_EQ(2, client.send(&message));
  } while (!plain.hasMessage(10));
  const Frames request = plain.receive();
  ASSERT_EQ(3U, request.size());
  EXPECT_EQ(0U, request[0].find(testName() + "_" + ownThread() + "_"));
  EXPECT_EQ((Frames{"ask", "1"}), Frames(request.begin() + 1, request.end()));
  plain.send({request[0], "answer"});
  EXPECT_EQ(1, client.receive(&message, patience));
  EXPECT_EQ((Parts{"answer"}), partsOf(message)) << "the identity is taken off by the router";
  EXPECT_EQ(nullptr, message.getHandle());
}

TEST_F(OnTheWire, a_plain_router_sees_the_clients_identity) {
  PlainSocket router(ZMQ_ROUTER);
  router.bind(front);
  const TransportFaults watch;
  client.connectEndpoint();
  Message message = messageOf({"ask"});
  EXPECT_EQ(1, client.send(&message));
  const Frames request = router.receive();
  EXPECT_EQ((Frames{identityIn(watch.texts()), "ask"}), request);
  router.send({request[0], "answer", "1"});
  EXPECT_EQ(2, client.receive(&message, patience));
  EXPECT_EQ((Parts{"answer", "1"}), partsOf(message));
}

TEST_F(OnTheWire, any_worker_of_the_name_may_reply_and_in_any_order) {
  worker.connectEndpoint();
  PlainSocket first(ZMQ_DEALER);
  PlainSocket second(ZMQ_DEALER);
  first.connect(front);
  second.connect(front);
  first.send({"from the first"});
  Message one = receivedByWorker();
  second.send({"from the second"});
  Message two = receivedByWorker();
  const Worker other = newWorker({}, back);
  EXPECT_EQ(1, other->send(&two));
  EXPECT_EQ(1, worker.send(&one));
  EXPECT_EQ((Frames{"from the second"}), second.receive());
  EXPECT_EQ((Frames{"from the first"}), first.receive());
}

TEST_F(OnTheWire, a_handle_moves_from_one_message_to_another) {
  worker.connectEndpoint();
  PlainSocket plain(ZMQ_DEALER);
  plain.connect(front);
  plain.send({"ask"});
  const Message request = receivedByWorker();
  Message reply = messageOf({"answer"});
  MsgHandle* const handle = request.getHandle();
  reply.setHandle(handle);
  tavrik::freeMsgHandle(handle);
  EXPECT_EQ(1, worker.send(&reply));
  EXPECT_EQ(1, worker.send(&reply)) << "a handle may be used again";
  EXPECT_EQ((Frames{"answer"}), plain.receive());
  EXPECT_EQ((Frames{"answer"}), plain.receive());
}

TEST_F(OnTheWire, a_message_of_the_identity_alone_has_no_parts) {
  worker.connectEndpoint();
  PlainSocket router(ZMQ_DEALER);  // speaks to the worker's socket in the proxy's stead
  const std::string other = dir.ipcEndpoint();
  router.bind(other);
  const Worker lonely = newWorker({}, other);
  lonely->connectEndpoint();
  router.send({"identity"});
  Message message = messageOf({"old"});
  EXPECT_EQ(0, lonely->receive(&message, patience));
  EXPECT_EQ(0, message.getnumParts());
  EXPECT_EQ("identity", handleIdentity(message));
}

TEST_F(OnTheWire, a_first_receive_waits_for_a_request_without_limit) {
  PlainSocket plain(ZMQ_DEALER);
  plain.connect(front);  // finds nobody there yet
  plain.send({"ask"});
  Message message;
  EXPECT_EQ(1, worker.receive(&message, -1));
  EXPECT_EQ((Parts{"ask"}), partsOf(message));
}

TEST_F(OnTheWire, sending_frees_the_handle_that_it_reads) {
  class CountedHandle : public AsyncRouterDealerMsgHandle {
   public:
    explicit CountedHandle(int& alive) : count(alive) { ++count; }
    ~CountedHandle() override { --count; }
    MsgHandle* clone() const override { return new CountedHandle(count); }

   private:
    int& count;
  };
  int alive = 0;
  worker.connectEndpoint();
  Message message = messageOf({"a"});
  message.setHandle(std::make_unique<CountedHandle>(alive).get());
  ASSERT_EQ(1, alive);
  worker.send(&message);
  EXPECT_EQ(1, alive) << "the message's own";
}

TEST_F(OnTheWire, receiving_replaces_the_handle_and_receiving_nothing_keeps_it) {
  worker.connectEndpoint();
  PlainSocket plain(ZMQ_DEALER);
  plain.setOption(ZMQ_IDENTITY, "me");
  plain.connect(front);
  AsyncRouterDealerMsgHandle old;
  old.setIdentity("old");
  Message message;
  message.setHandle(&old);
  EXPECT_EQ(0, worker.receive(&message, 0));
  EXPECT_EQ("old", handleIdentity(message));
  plain.send({"ask"});
  EXPECT_EQ(1, worker.receive(&message, patience));
  EXPECT_EQ("me", handleIdentity(message));
}

// First receives.

TEST_F(RouterDealer, a_worker_that_only_looks_does_not_connect) {
  Message message = messageOf({"old"});
  const TransportFaults watch;
  EXPECT_EQ(0, worker.receive(&message, 0));
  EXPECT_EQ(Calls{}, watch.texts());
  EXPECT_EQ(0, message.getnumParts());
  EXPECT_EQ((Log{infoLine("Info : Not creating threads as timeout is 0 and role is worker")}),
            log.lines());
  EXPECT_EQ(0, worker.receive(nullptr, 0));
  EXPECT_EQ(0, worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back)) << "still not connected";
}

TEST_F(RouterDealer, a_first_receive_of_1_only_connects) {
  for (AsyncRouterDealerMsgPattern* const pattern : {&worker, &client}) {
    Message message = messageOf({"old"});
    const TransportFaults watch;
    EXPECT_EQ(0, pattern->receive(&message, 1));
    EXPECT_EQ(0, message.getnumParts());
    EXPECT_EQ(0U, watch.texts().back().find("zmq_connect ")) << "nothing was received";
    EXPECT_EQ(-32, pattern->setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, "x"));
  }
  EXPECT_EQ(Log{}, log.lines());
  Message message;
  const TransportFaults watch;
  EXPECT_EQ(0, client.receive(&message, 1)) << "a second one receives";
  EXPECT_EQ("zmq_poll 1 1", watch.texts().back());
}

TEST_F(RouterDealer, a_first_receive_of_2_receives) {
  for (AsyncRouterDealerMsgPattern* const pattern : {&worker, &client}) {
    Message message;
    const TransportFaults watch;
    EXPECT_EQ(0, pattern->receive(&message, 2));
    EXPECT_EQ("zmq_poll 1 2", watch.texts().back());
  }
}

TEST_F(RouterDealer, a_client_that_only_looks_connects_and_receives) {
  Message message;
  const TransportFaults watch;
  EXPECT_EQ(0, client.receive(&message, 0));
  EXPECT_EQ("zmq_msg_close", watch.texts().back());
  EXPECT_EQ(-32, client.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, "x"));
}

TEST_F(RouterDealer, a_poll_connects_a_worker_whatever_its_timeout) {
  tavrik_pollitem_t item = {&worker, TAVRIK_POLLIN, 0};
  EXPECT_EQ(0, tavrik::pattern_poll(&item, 1, 0));
  EXPECT_EQ(-32, worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back));
}

TEST_F(RouterDealer, hands_bad_arguments_to_the_transport) {
  worker.connectEndpoint();
  Message message = messageOf({"kept"});
  EXPECT_EQ(-1, client.send(nullptr));
  EXPECT_EQ(-1, worker.send(nullptr));
  EXPECT_EQ(-1, client.receive(nullptr, 0));
  EXPECT_EQ(-1, worker.receive(nullptr, 0));
  EXPECT_EQ(-1, worker.receive(&message, -2));
  EXPECT_EQ((Parts{"kept"}), partsOf(message));
}

// Refusals of send and receive.

TEST_F(RouterDealer, a_worker_cannot_send_without_a_handle) {
  Message message = messageOf({"a"});
  expectRefusal("Message handle is NULLtavrik:-28", sendPrefix, [&] { worker.send(&message); });
  EXPECT_EQ((Parts{"a"}), partsOf(message));
}

TEST_F(RouterDealer, a_handle_of_another_kind_names_no_client) {
  class OtherHandle : public MsgHandle {
   public:
    MsgHandle* clone() const override { return new OtherHandle; }
  };
  const OtherHandle other;
  Message message = messageOf({"a"});
  message.setHandle(&other);
  expectRefusal("Message handle is NULLtavrik:-28", sendPrefix, [&] { worker.send(&message); });
}

TEST_F(RouterDealer, a_client_needs_no_handle_and_ignores_one) {
  PlainSocket router(ZMQ_ROUTER);
  router.bind(front);
  AsyncRouterDealerMsgHandle handle;
  handle.setIdentity("ignored");
  Message message = messageOf({"ask"});
  message.setHandle(&handle);
  EXPECT_EQ(1, client.send(&message));
  EXPECT_EQ(2U, router.receive().size());
}

TEST_F(RouterDealer, a_failed_send_gives_the_message_back_unchanged) {
  worker.connectEndpoint();
  AsyncRouterDealerMsgHandle handle;
  handle.setIdentity("somebody");
  Message message = messageOf({"a", "b"});
  message.setHandle(&handle);
  log.clear();
  TransportFaults faults;
  faults.fail("zmq_msg_send", EDOM, 2);
  const std::string text =
      "Failed to send messagepart : Numerical argument out of domainzeromq:17498145";
  EXPECT_FAILURE(std::runtime_error, text, worker.send(&message));
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  EXPECT_EQ(
      (Log{debugLine("Error : Tavrik::MQWrapper::send() : " + text), debugLine(sendPrefix + text)}),
      log.lines());
}

TEST_F(RouterDealer, a_message_that_is_emptied_while_it_is_sent_stays_empty) {
  worker.connectEndpoint();
  AsyncRouterDealerMsgHandle handle;
  handle.setIdentity("somebody");
  static Message message;
  message = messageOf({"a"});
  message.setHandle(&handle);
  support::onFrameSent = [] { message.setnumParts(0); };
  EXPECT_EQ(0, worker.send(&message)) << "no more than the identity went out";
  support::onFrameSent = nullptr;
  EXPECT_EQ(0, message.getnumParts());
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(RouterDealer, without_memory_a_send_gives_the_message_back_unchanged) {
  worker.connectEndpoint();
  AsyncRouterDealerMsgHandle handle;
  handle.setIdentity(std::string(100, 'i'));
  const Parts parts = {std::string(100, 'a'), std::string(100, 'b')};
  int failing = 1;
  for (bool sent = false; !sent; ++failing) {
    Message message = messageOf(parts);
    message.setHandle(&handle);
    {
      const support::AllocationFailure failure(failing);
      try {
        EXPECT_EQ(2, worker.send(&message));
        sent = true;
      } catch (const std::bad_alloc&) {
        EXPECT_TRUE(failure.happened());
      }
    }
    EXPECT_EQ(parts, partsOf(message));
  }
  EXPECT_GT(failing, 4);
}

TEST_F(RouterDealer, the_transports_failures_are_logged_behind_receive) {
  worker.connectEndpoint();
  TransportFaults faults;
  faults.fail("zmq_msg_recv", EDOM);
  Message message;
  const std::string text =
      "Failed to get messagepart : Numerical argument out of domainzeromq:17694753";
  EXPECT_FAILURE(std::runtime_error, text, worker.receive(&message, 0));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::receive() : " + text),
                 debugLine(receivePrefix + text)}),
            log.lines());
}

// Times.

timeval timeOf(long long seconds, long long microseconds) {
  timeval time{};
  time.tv_sec = seconds;
  time.tv_usec = microseconds;
  return time;
}

TEST(TimevalSubtract, truncates_toward_zero_and_tells_the_sign) {
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
      {timeOf(4000000000, 0), timeOf(0, 1), 3999999999, 999999, 0},
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

TEST(ProxyThread, without_a_start_record_returns_at_once) {
  EXPECT_EQ(nullptr, tavrik::proxythreadfun(nullptr));
}

}  // namespace
