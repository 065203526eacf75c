#include <support/counted_handle.hpp>
#include <support/parts.hpp>
#include <support/pattern_test.hpp>
#include <support/plain_socket.hpp>
#include <support/router_dealer.hpp>
#include <support/test_peer.hpp>
#include <support/transport_faults.hpp>

#include <pthread.h>
#include <zmq.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::string_literals;
using namespace support;
using tavrik::AsyncRouterDealerMsgPattern;
using tavrik::Message;

const std::string domain = "Numerical argument out of domainzeromq:";  // EDOM

// The identity that a client has set on its socket.
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

class AsyncRouterDealerMsgPatternTest : public PatternTest {
 protected:
  AsyncRouterDealerMsgPatternTest() : PatternTest("AsyncRouterDealerMsgPattern") {
    client.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front);
    worker.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front);
    worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back);
  }
  ~AsyncRouterDealerMsgPatternTest() noexcept override {}  // the destructors of patterns may throw

  const std::string receivePrefix = classPrefix + "AsyncRouterDealerMsgPattern() : ";
  const std::string sendPrefix = classPrefix + "send() : ";
  std::string front = dir.ipcEndpoint();
  std::string back = dir.ipcEndpoint();
  AsyncRouterDealerMsgPattern client{testName(), ASYNC_DEALER_CLIENT};
  AsyncRouterDealerMsgPattern worker{testName(), ASYNC_DEALER_WORKER};
};

// Properties.

TEST_F(AsyncRouterDealerMsgPatternTest, AClientKeepsTheLastEndpointSet) {
  for (const char* const endpoint : {"inproc://a", "inproc://a", "inproc://b"}) {
    EXPECT_EQ(0, client.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, endpoint));
    EXPECT_EQ(endpoint, client.getProperty(ASYNC_DEALER_CLIENT_ENDPOINT));
  }
}

TEST_F(AsyncRouterDealerMsgPatternTest,
       AWorkerCollectsClientEndpointsAndKeepsTheLastWorkerEndpoint) {
  for (const char* const endpoint : {"inproc://a", "inproc://A", "inproc://ab"}) {
    EXPECT_EQ(0, worker.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, endpoint));
  }
  expectSetRefused(worker, ASYNC_DEALER_CLIENT_ENDPOINT, front,
                   "Dealer Endpoint already set : " + front + "tavrik:-42");
  for (const std::string& expected :
       {front, "inproc://a"s, "inproc://A"s, "inproc://ab"s, ""s, front}) {
    EXPECT_EQ(expected, worker.getProperty(ASYNC_DEALER_NEXT_CLIENT_ENDPOINT));
  }
  EXPECT_EQ(0, worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, "inproc://back"));
  EXPECT_EQ("inproc://back", worker.getProperty(ASYNC_DEALER_WORKER_ENDPOINT));
}

TEST_F(AsyncRouterDealerMsgPatternTest, ARoleThatADerivedClassChangesTakesNoClientEndpoint) {
  TestPeer::setRole(client, PUBLISHER);
  expectSetRefused(client, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://a",
                   "Channel Role not defined : tavrik:-23");
  expectSetRefused(client, ASYNC_DEALER_CLIENT_ENDPOINT, "*", "Invalid Endpoint : *tavrik:-26");
}

// Connecting. The tests of the proxy registry connect workers.

TEST_F(AsyncRouterDealerMsgPatternTest, SettingTheEndpointDoesNotConnect) {
  const TransportFaults watch;
  client.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front + "x");
  worker.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front + "x");
  worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back + "x");
  EXPECT_EQ(Calls{}, watch.texts());
}

TEST_F(AsyncRouterDealerMsgPatternTest, AClientConnectsWithAnIdentityOfNameThreadAndNumber) {
  // The number is the generator's first one after it was seeded with the current second. What is
  // possible is known before there is a connection: ZeroMQ's threads use the generator too.
  const time_t before = time(nullptr);
  std::vector<std::string> possible;
  for (time_t second = before; second < before + patience / 1000; ++second) {
    srand(static_cast<unsigned int>(second));
    possible.push_back(testName() + "_" + ownThread() + "_" + std::to_string(rand()));
  }
  const TransportFaults watch;
  client.connectEndpoint();
  const std::string identity = identityIn(watch.texts());
  EXPECT_EQ(joined({making("5"),
                    {"zmq_setsockopt 5 \"" + identity + "\"", "zmq_setsockopt 57 0",
                     "zmq_connect " + front}}),
            watch.texts());
  EXPECT_EQ(1, count(possible, identity)) << identity;
}

TEST_F(AsyncRouterDealerMsgPatternTest, AClientAppliesWhatWasSetBefore) {
  client.setProperty(CHANNEL_TOS_PRIORITY, "184");
  client.setProperty(ASYNC_DEALER_CLIENT_SNDHWM, "77");
  const TransportFaults watch;
  client.connectEndpoint();
  EXPECT_EQ(joined({making("5"),
                    {"zmq_setsockopt 5 \"" + identityIn(watch.texts()) + "\"",
                     "zmq_setsockopt 23 77", "zmq_setsockopt 57 184", "zmq_connect " + front}}),
            watch.texts());
}

// The identity of a new client of the name.
std::string newIdentity(const std::string& name) {
  AsyncRouterDealerMsgPattern pattern(name, ASYNC_DEALER_CLIENT);
  pattern.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, inprocEndpoint());
  const TransportFaults watch;
  pattern.connectEndpoint();
  return identityIn(watch.texts());
}

TEST_F(AsyncRouterDealerMsgPatternTest, IdentitiesOfOneThreadAndSecondAreTheSame) {
  std::string first;
  std::string second;
  std::string other;
  time_t before = 0;
  do {
    before = time(nullptr);
    first = newIdentity("name");
    second = newIdentity("name");
    std::thread([&] { other = newIdentity("name"); }).join();
  } while (time(nullptr) != before);
  EXPECT_EQ(first, second);
  EXPECT_NE(first, other);
}

TEST_F(AsyncRouterDealerMsgPatternTest, AnIdentityIsCutTo254Characters) {
  const std::string name(250, 'n');
  EXPECT_EQ((name + "_" + ownThread()).substr(0, 254), newIdentity(name));
  EXPECT_EQ(254U, newIdentity(std::string(255, 'n')).size());
}

TEST_F(AsyncRouterDealerMsgPatternTest, AClientWithoutAnEndpointFailsToConnectAndIsConnected) {
  AsyncRouterDealerMsgPattern lost("x", ASYNC_DEALER_CLIENT);
  EXPECT_LOGGED_FAILURE(
      std::runtime_error,
      "Failed to connect ZeroMQ Socket : Invalid argument : End Point : zeromq:17432598",
      (Prefixes{"Error : Tavrik::MQWrapper::registerReceiver() : ",
                classPrefix + "connectEndpoint() : "}),
      lost.connectEndpoint());
  EXPECT_EQ(-32, lost.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front));
}

// Exchanging messages with plain sockets.

class ExchangeTest : public AsyncRouterDealerMsgPatternTest {
 protected:
  // Receives a request of so many parts.
  Message received(int parts) {
    Message message = messageOf({"old"});
    EXPECT_EQ(parts, worker.receive(&message, patience));
    return message;
  }
};

TEST_F(ExchangeTest, AWorkerRepliesToAPlainDealerByItsIdentity) {
  worker.connectEndpoint();
  PlainSocket plain(ZMQ_DEALER);
  plain.setOption(ZMQ_IDENTITY, "me\0too"s);
  plain.connect(front);
  plain.send({"ask", "", "1"});
  Message message = received(3);
  EXPECT_EQ((Parts{"ask", "", "1"}), partsOf(message));
  EXPECT_EQ("me\0too"s, identityOf(message));

  message.setPart(0, "reply");
  EXPECT_EQ(3, worker.send(&message));
  EXPECT_EQ((Parts{"reply", "", "1"}), partsOf(message)) << "unchanged";
  EXPECT_EQ((Frames{"reply", "", "1"}), plain.receive());
}

TEST_F(ExchangeTest, APlainDealerCanReplyThroughTheProxy) {
  newWorker({front}, back)->connectEndpoint();
  PlainSocket plain(ZMQ_DEALER);
  plain.connect(back);
  Message message = messageOf({"ask", "1"});
  // Requests before the plain worker connected went to the worker that is destroyed.
  do {
    EXPECT_EQ(2, client.send(&message));
  } while (!plain.hasMessage(10));
  const Frames request = plain.receive();
  ASSERT_EQ(3U, request.size());
  EXPECT_EQ(0U, request[0].find(testName() + "_" + ownThread() + "_"));
  EXPECT_EQ((Frames{"ask", "1"}), Frames(request.begin() + 1, request.end()));
  plain.send({request[0], "reply"});
  EXPECT_EQ(1, client.receive(&message, patience));
  EXPECT_EQ((Parts{"reply"}), partsOf(message)) << "without the identity";
  EXPECT_EQ(nullptr, message.getHandle());
}

TEST_F(ExchangeTest, APlainRouterSeesTheClientsIdentityAndNoHandle) {
  PlainSocket router(ZMQ_ROUTER);
  router.bind(front);
  const TransportFaults watch;
  client.connectEndpoint();
  const auto handle = handleOf("ignored");
  Message message = messageOf({"ask"});
  message.setHandle(&handle);
  EXPECT_EQ(1, client.send(&message));
  const Frames request = router.receive();
  EXPECT_EQ((Frames{identityIn(watch.texts()), "ask"}), request);
  router.send({request[0], "reply", "1"});
  EXPECT_EQ(2, client.receive(&message, patience));
  EXPECT_EQ((Parts{"reply", "1"}), partsOf(message));
}

TEST_F(ExchangeTest, AnyWorkerOfTheNameMayReplyInAnyOrder) {
  worker.connectEndpoint();
  PlainSocket first(ZMQ_DEALER);
  PlainSocket second(ZMQ_DEALER);
  first.connect(front);
  second.connect(front);
  first.send({"from the first"});
  Message one = received(1);
  second.send({"from the second"});
  Message two = received(1);
  const Worker other = newWorker({}, back);
  EXPECT_EQ(1, other->send(&two));
  EXPECT_EQ(1, worker.send(&one));
  EXPECT_EQ((Frames{"from the second"}), second.receive());
  EXPECT_EQ((Frames{"from the first"}), first.receive());
}

TEST_F(ExchangeTest, AHandleCanMoveToAnotherMessageAndBeUsedAgain) {
  worker.connectEndpoint();
  PlainSocket plain(ZMQ_DEALER);
  plain.connect(front);
  plain.send({"ask"});
  const Message request = received(1);
  Message reply = messageOf({"reply"});
  reply.setHandle(std::unique_ptr<tavrik::MsgHandle>(request.getHandle()).get());
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(1, worker.send(&reply));
    EXPECT_EQ((Frames{"reply"}), plain.receive());
  }
}

TEST_F(ExchangeTest, AMessageOfTheIdentityAloneHasNoParts) {
  worker.connectEndpoint();
  PlainSocket proxy(ZMQ_DEALER);  // sends to another worker's socket as the proxy would
  const std::string other = dir.ipcEndpoint();
  proxy.bind(other);
  const Worker lonely = newWorker({}, other);
  lonely->connectEndpoint();
  proxy.send({"identity"});
  Message message = messageOf({"old"});
  EXPECT_EQ(0, lonely->receive(&message, patience));
  EXPECT_EQ(0, message.getnumParts());
  EXPECT_EQ("identity", identityOf(message));
}

TEST_F(ExchangeTest, AFirstReceiveBlocksUntilARequestArrives) {
  PlainSocket plain(ZMQ_DEALER);
  plain.connect(front);  // before anything is bound there
  plain.send({"ask"});
  Message message;
  EXPECT_EQ(1, worker.receive(&message, -1));
  EXPECT_EQ((Parts{"ask"}), partsOf(message));
}

TEST_F(ExchangeTest, SendingFreesItsCloneOfTheHandle) {
  int alive = 0;
  worker.connectEndpoint();
  Message message = messageOf({"a"});
  message.setHandle(std::make_unique<Counted<tavrik::AsyncRouterDealerMsgHandle>>(alive).get());
  ASSERT_EQ(1, alive);
  EXPECT_EQ(1, worker.send(&message));
  EXPECT_EQ(1, alive) << "the message's own";
}

TEST_F(ExchangeTest, ReceivingReplacesTheHandleAndATimeoutKeepsIt) {
  worker.connectEndpoint();
  PlainSocket plain(ZMQ_DEALER);
  plain.setOption(ZMQ_IDENTITY, "me");
  plain.connect(front);
  const auto old = handleOf("old");
  Message message;
  message.setHandle(&old);
  EXPECT_EQ(0, worker.receive(&message, 0));
  EXPECT_EQ("old", identityOf(message));
  plain.send({"ask"});
  EXPECT_EQ(1, worker.receive(&message, patience));
  EXPECT_EQ("me", identityOf(message));
}

// First receives.

TEST_F(AsyncRouterDealerMsgPatternTest, AFirstReceiveOfAWorkerWithTimeout0DoesNotConnect) {
  Message message = messageOf({"old"});
  const TransportFaults watch;
  EXPECT_EQ(0, worker.receive(&message, 0));
  EXPECT_EQ(Calls{}, watch.texts());
  EXPECT_EQ(0, message.getnumParts());
  EXPECT_EQ((Log{infoLine("Info : Not creating threads as timeout is 0 and role is worker")}),
            log.lines());
  EXPECT_EQ(0, worker.receive(nullptr, 0));
  EXPECT_EQ(0, worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back)) << "not connected";
}

TEST_F(AsyncRouterDealerMsgPatternTest, AFirstReceiveWithTimeout1OnlyConnects) {
  for (AsyncRouterDealerMsgPattern* const pattern : {&worker, &client}) {
    Message message = messageOf({"old"});
    const TransportFaults watch;
    EXPECT_EQ(0, pattern->receive(&message, 1));
    EXPECT_EQ(0, message.getnumParts());
    EXPECT_EQ(0U, watch.texts().back().find("zmq_connect ")) << "nothing was received";
    EXPECT_EQ(0, pattern->receive(&message, 1));
    EXPECT_EQ("zmq_poll 1 1", watch.texts().back()) << "a second one receives";
  }
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(AsyncRouterDealerMsgPatternTest, AFirstReceiveWithAnotherTimeoutConnectsAndReceives) {
  Message message;
  const TransportFaults watch;
  EXPECT_EQ(0, worker.receive(&message, 2));
  EXPECT_EQ("zmq_poll 1 2", watch.texts().back());
  EXPECT_EQ(0, client.receive(&message, 0));
  EXPECT_EQ("zmq_msg_close", watch.texts().back());
  AsyncRouterDealerMsgPattern another(testName(), ASYNC_DEALER_CLIENT);
  another.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, front);
  EXPECT_EQ(0, another.receive(&message, 2));
  EXPECT_EQ("zmq_poll 1 2", watch.texts().back());
}

TEST_F(AsyncRouterDealerMsgPatternTest, APollConnectsAWorkerWhateverItsTimeout) {
  tavrik_pollitem_t item = {&worker, TAVRIK_POLLIN, 0};
  EXPECT_EQ(0, tavrik::pattern_poll(&item, 1, 0));
  EXPECT_EQ(-32, worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, back));
}

// Failures of send and receive.

TEST_F(AsyncRouterDealerMsgPatternTest, AWorkerCannotSendWithoutTheHandleOfAClient) {
  int alive = 0;
  const CountedHandle other(alive);
  Message message = messageOf({"a"});
  for (const tavrik::MsgHandle* const handle : {static_cast<const tavrik::MsgHandle*>(nullptr),
                                                static_cast<const tavrik::MsgHandle*>(&other)}) {
    message.setHandle(handle);
    EXPECT_LOGGED_FAILURE(std::logic_error, "Message handle is NULLtavrik:-28", {sendPrefix},
                          worker.send(&message));
    EXPECT_EQ((Parts{"a"}), partsOf(message));
  }
}

// A worker with a message that can be sent.
class WorkerSendTest : public AsyncRouterDealerMsgPatternTest {
 protected:
  WorkerSendTest() {
    worker.connectEndpoint();
    message.setHandle(&handle);
    log.clear();
  }

  const Parts parts = {std::string(100, 'a'), std::string(100, 'b')};
  const tavrik::AsyncRouterDealerMsgHandle handle = handleOf(std::string(100, 'i'));
  Message message = messageOf(parts);
};

TEST_F(WorkerSendTest, FailureLeavesTheMessageUnchanged) {
  TransportFaults faults;
  faults.fail("zmq_msg_send", EDOM, 2);
  EXPECT_LOGGED_FAILURE(std::runtime_error, "Failed to send messagepart : " + domain + "17498145",
                        (Prefixes{"Error : Tavrik::MQWrapper::send() : ", sendPrefix}),
                        worker.send(&message));
  EXPECT_EQ(parts, partsOf(message));
}

TEST_F(WorkerSendTest, AllocationFailureLeavesTheMessageUnchanged) {
  const int failed = failEachAllocation([&] { EXPECT_EQ(2, worker.send(&message)); },
                                        [&](bool) { EXPECT_EQ(parts, partsOf(message)); });
  EXPECT_GT(failed, 3);
}

TEST_F(WorkerSendTest, AMessageWithoutPartsIsTheIdentityAlone) {
  message.setnumParts(0);
  EXPECT_EQ(0, worker.send(&message));
  EXPECT_EQ(0, message.getnumParts());
}

TEST_F(WorkerSendTest, AMessageThatIsEmptiedWhileItIsSentStaysEmpty) {
  static Message* emptied = nullptr;
  emptied = &message;
  onFrameSent = [] { emptied->setnumParts(0); };
  EXPECT_EQ(0, worker.send(&message)) << "the identity alone was sent";
  onFrameSent = nullptr;
  EXPECT_EQ(0, message.getnumParts());
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(AsyncRouterDealerMsgPatternTest, AFailedReceiveIsLoggedWithThePrefixOfTheConstructor) {
  worker.connectEndpoint();
  TransportFaults faults;
  faults.fail("zmq_msg_recv", EDOM);
  Message message;
  EXPECT_LOGGED_FAILURE(std::runtime_error, "Failed to get messagepart : " + domain + "17694753",
                        (Prefixes{"Error : Tavrik::MQWrapper::receive() : ", receivePrefix}),
                        worker.receive(&message, 0));
}

}  // namespace
