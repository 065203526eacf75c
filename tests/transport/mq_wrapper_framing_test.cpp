// Messages on and off sockets, and polling.
#include <support/counted_handle.hpp>
#include <support/failure.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/request_reply.hpp>
#include <support/signal_storm.hpp>
#include <support/temp_dir.hpp>
#include <support/test_peer.hpp>
#include <support/transport_faults.hpp>
#include <support/transport_socket.hpp>

#include <zmq.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::string_literals;
using namespace support;
using tavrik::Message;
using tavrik::MQWrapper;

const std::string domain = "Numerical argument out of domain";       // EDOM
const std::string unavailable = "Resource temporarily unavailable";  // EAGAIN
const std::string notClosed = "Failed to close  ZeroMQ messagepart : Invalid cross-device link";

std::string zeromq(int code) {
  return "zeromq:" + std::to_string(code);
}

// A socket of the transport that is connected to a plain one.
class FramingTest : public testing::Test {
 protected:
  FramingTest() {
    const std::string endpoint = dir.ipcEndpoint();
    peer.bind(endpoint);
    transport.registerReceiver(socket, endpoint);
  }

  Frames sent(const Parts& parts) {
    Message message = messageOf(parts);
    EXPECT_EQ(static_cast<int>(parts.size()), transport.send(socket, &message));
    EXPECT_EQ(parts, partsOf(message)) << "sending changed the message";
    return peer.receive();
  }

  Parts received(const Frames& frames) {
    peer.send(frames);
    Message message(3);
    EXPECT_EQ(static_cast<int>(frames.size()), transport.receive(socket, &message, patience));
    return partsOf(message);
  }

  // Sends a message to the transport's socket and waits until it has arrived.
  void arrive(const Frames& frames) {
    peer.send(frames);
    tavrik_pollitem_t item = {socket, TAVRIK_POLLIN, 0};
    ASSERT_EQ(1, transport.poll(&item, 1, patience));
  }

  LogCapture log;
  TempDir dir;
  MQWrapper& transport = *MQWrapper::getInstance();
  PlainSocket peer{ZMQ_PAIR};
  TransportSocket socket{ZMQ_PAIR};
};

TEST_F(FramingTest, SendsAndReceivesOneFramePerPart) {
  std::string large(1 << 20, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 31 >> 3);
  Parts many;
  for (int i = 0; i < 500; ++i) many.push_back(std::to_string(i));
  for (const Parts& parts : {Parts{"a"}, Parts{"a", "b", "c"}, Parts{""}, Parts{"", ""},
                             Parts{"a", "", "b\0"s}, Parts{large, "tail"}, many}) {
    EXPECT_EQ(parts, sent(parts));
    EXPECT_EQ(parts, received(parts));
  }
}

TEST_F(FramingTest, SendsNothingForAMessageWithoutParts) {
  Message empty;
  EXPECT_EQ(0, transport.send(socket, &empty));
  EXPECT_EQ((Frames{"next"}), sent({"next"})) << "the first message that arrives";
}

TEST_F(FramingTest, ReceivingKeepsHandleAndBookkeeping) {
  const auto handle = handleOf("client");
  Message message;
  message.setHandle(&handle);
  message.deferMsgFree(1);
  message.incrRefCount();
  peer.send({"a"});
  ASSERT_EQ(1, transport.receive(socket, &message, patience));
  EXPECT_EQ("client", identityOf(message));
  EXPECT_FALSE(message.isMsgFreeAllowed());
  EXPECT_EQ(1U, message.getRefCount());
}

// The application may add a part from another layer while the message is sent.
TEST_F(FramingTest, CountsThePartsAgainWithEachFrame) {
  static Message* growing = nullptr;
  Message message = messageOf({"a", "b"});
  growing = &message;
  onFrameSent = [] {
    if (growing->getnumParts() == 2) growing->insertPart(2, "c");
  };
  EXPECT_EQ(3, transport.send(socket, &message));
  onFrameSent = nullptr;
  EXPECT_EQ((Frames{"a", "b", "c"}), peer.receive());
}

TEST_F(FramingTest, RefusesNullAndInvalidTimeoutsBeforeItTouchesTheMessage) {
  Message message = messageOf({"kept"});
  EXPECT_EQ(-1, transport.send(nullptr, &message));
  EXPECT_EQ(-1, transport.send(socket, nullptr));
  EXPECT_EQ(-1, transport.receive(nullptr, &message, 0));
  EXPECT_EQ(-1, transport.receive(socket, nullptr, 0));
  EXPECT_EQ(-1, transport.receive(socket, &message, -2));
  EXPECT_EQ(-1, transport.receive(socket, &message, std::numeric_limits<long>::min()));
  EXPECT_EQ((Parts{"kept"}), partsOf(message));
  EXPECT_EQ(Log{}, log.lines());
}

// The calls for one frame.
const Calls frameSentWithMore = {"zmq_msg_init_size 1", "zmq_msg_send 3", "zmq_msg_close"};
const Calls lastFrameSent = {"zmq_msg_init_size 1", "zmq_msg_send 1", "zmq_msg_close"};
const Calls frameReceived = {"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close"};
const Calls moreRead = {"zmq_getsockopt 13 of 4"};

TEST_F(FramingTest, SendNeverBlocks) {
  Message message = messageOf({"a", "b"});
  const TransportFaults watch;
  EXPECT_EQ(2, transport.send(socket, &message));
  EXPECT_EQ(joined({frameSentWithMore, lastFrameSent}), watch.texts());
  const TransportSocket lonely(ZMQ_DEALER);
  EXPECT_LOGGED_FAILURE(std::runtime_error,
                        "Failed to send messagepart : " + unavailable + zeromq(17498123),
                        {"Error : Tavrik::MQWrapper::send() : "}, transport.send(lonely, &message));
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
}

TEST_F(FramingTest, FailedSendLeavesEarlierFramesSentAndLogsTheCleanUpFirst) {
  Message message = messageOf({"a", "b"});
  {
    TransportFaults faults;
    faults.fail("zmq_msg_send", EDOM, 2);
    faults.fail("zmq_msg_close", EXDEV, 2);
    const std::string text = "Failed to send messagepart : " + domain + zeromq(0x10b0021);
    EXPECT_FAILURE(std::runtime_error, text, transport.send(socket, &message));
    EXPECT_EQ(joined({frameSentWithMore, lastFrameSent}), faults.texts());
    EXPECT_EQ((Log{errorLine(notClosed), debugLine("Error : Tavrik::MQWrapper::send() : " + text)}),
              log.lines());
  }
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  // The next send completes the message whose first frame was sent.
  EXPECT_EQ((Frames{"a", "c"}), sent({"c"}));
}

TEST_F(FramingTest, AFrameThatCannotBeMadeIsNeitherSentNorClosed) {
  Message message = messageOf({"a"});
  TransportFaults faults;
  faults.fail("zmq_msg_init_size", ENOMEM);
  EXPECT_LOGGED_FAILURE(
      std::runtime_error,
      "Failed to initialize ZeroMQ messagepart : Cannot allocate memory" + zeromq(0x10d000c),
      {"Error : Tavrik::MQWrapper::send() : "}, transport.send(socket, &message));
  EXPECT_EQ((Calls{"zmq_msg_init_size 1"}), faults.texts());
}

TEST_F(FramingTest, ReceiveWithTimeout0DoesNotWait) {
  Message message = messageOf({"old"});
  const TransportFaults watch;
  EXPECT_EQ(0, transport.receive(socket, &message, 0));
  EXPECT_EQ(Parts{}, partsOf(message));
  EXPECT_EQ(frameReceived, watch.texts());
}

TEST_F(FramingTest, ReceiveMakesNoFurtherCallsForAMessageThatHasArrived) {
  arrive({"a", "b"});
  Message message;
  const TransportFaults watch;
  EXPECT_EQ(2, transport.receive(socket, &message, -1));
  EXPECT_EQ(joined({frameReceived, moreRead, frameReceived, moreRead}), watch.texts());
}

TEST_F(FramingTest, ReceiveTreatsAFailedWaitAsNothingReceived) {
  Message message = messageOf({"old"});
  TransportFaults faults;
  faults.fail("zmq_poll", EDOM);
  EXPECT_EQ(0, transport.receive(socket, &message, 70));
  EXPECT_EQ(joined({frameReceived, {"zmq_poll 1 70"}}), faults.texts());
  EXPECT_EQ(Parts{}, partsOf(message));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(FramingTest, ReceiveWithTimeoutMinus1BlocksUntilAMessageArrives) {
  std::atomic<bool> returned{false};
  const int pollsBefore = pollsEntered();
  std::thread receiver([&] {
    Message message;
    EXPECT_EQ(1, transport.receive(socket, &message, -1));
    returned = true;
    EXPECT_EQ((Parts{"at last"}), partsOf(message));
  });
  while (pollsEntered() == pollsBefore) std::this_thread::yield();
  EXPECT_FALSE(returned);
  peer.send({"at last"});
  receiver.join();
}

TEST_F(FramingTest, ASignalEndsTheWaitAndTheSocketStaysUsable) {
  Message message = messageOf({"old"});
  {
    const SignalStorm storm;
    EXPECT_EQ(0, transport.receive(socket, &message, -1));
  }
  EXPECT_EQ(Parts{}, partsOf(message));
  EXPECT_EQ(Log{}, log.lines());
  EXPECT_EQ((Parts{"after"}), received({"after"}));
  EXPECT_EQ((Frames{"back"}), sent({"back"}));
}

TEST_F(FramingTest, AllocationFailureClosesTheReceivedFrame) {
  arrive({std::string(100, 'x')});
  Message message;
  TransportFaults faults;
  EXPECT_OUT_OF_MEMORY(1,
                       (Prefixes{"Error : Tavrik::Message::setnumParts() : ",
                                 "Error : Tavrik::MQWrapper::receive() : "}),
                       transport.receive(socket, &message, 0));
  EXPECT_EQ(frameReceived, faults.texts());
}

// What a call of ZeroMQ does instead of its work, or after it.
struct Injected {
  std::string function;
  int error;
  int nth;
  bool afterItsWork = false;
};

struct ReceiveFailure {
  std::string name;
  Frames arriving;
  std::vector<Injected> injected;
  std::string text;
  int code;
  Calls calls;
  Parts parts;
  Log cleanUp;
};

void PrintTo(const ReceiveFailure& row, std::ostream* out) {
  *out << row.name;
}

const std::string getText = "Failed to get messagepart : ";
const std::string closeText = "Failed to close ZeroMQ messagepart : ";
const Calls secondClose = {"zmq_msg_close"};

const std::vector<ReceiveFailure> receiveFailures = {
    {"FirstFrame",
     {},
     {{"zmq_msg_recv", EDOM, 1}},
     getText + domain,
     0x10e0021,
     frameReceived,
     {},
     {}},
    {"ErrorFromBeforeTheFrameIsClosed",
     {},
     {{"zmq_msg_recv", EDOM, 1}, {"zmq_msg_close", EXDEV, 1, true}},
     getText + domain,
     0x10e0021,
     frameReceived,
     {},
     {}},
    {"SignalBeforeTheWait",
     {},
     {{"zmq_msg_recv", EINTR, 1}},
     getText + "Interrupted system call",
     17694724,
     frameReceived,
     {},
     {}},
    {"CloseOfTheEmptyFrame",
     {},
     {{"zmq_msg_close", EDOM, 1}},
     closeText + domain,
     0x10c0021,
     joined({frameReceived, secondClose}),
     {},
     {}},
    {"CloseHidesTheFailureToReceive",
     {},
     {{"zmq_msg_recv", EDOM, 1}, {"zmq_msg_close", EXDEV, 1}, {"zmq_msg_close", EXDEV, 2}},
     closeText + "Invalid cross-device link",
     0x10c0012,
     joined({frameReceived, secondClose}),
     {},
     {errorLine(notClosed)}},
    {"NothingAfterASuccessfulWait",
     {"a"},
     {{"zmq_msg_recv", EAGAIN, 1}, {"zmq_msg_recv", EAGAIN, 2}},
     getText + unavailable,
     0x10e000b,
     joined({frameReceived, {"zmq_poll 1 -1"}, frameReceived}),
     {},
     {}},
    {"CloseOfAReceivedFrame",
     {"a", "b"},
     {{"zmq_msg_close", EDOM, 1}},
     closeText + domain,
     0x10c0021,
     joined({frameReceived, secondClose}),
     {"a"},
     {}},
    {"MoreFlag",
     {"a", "b"},
     {{"zmq_getsockopt", EDOM, 1}},
     "Failed to get ZMQ_RCVMORE Option : " + domain,
     0x10f0021,
     joined({frameReceived, moreRead}),
     {"a"},
     {}},
    {"LaterFrameAndItsClose",
     {"a", "b"},
     {{"zmq_msg_recv", EAGAIN, 2}, {"zmq_msg_close", EXDEV, 2}},
     getText + unavailable,
     0x10e000b,
     joined({frameReceived, moreRead, frameReceived}),
     {"a"},
     {errorLine(notClosed)}},
};

class ReceiveFailureTest : public FramingTest,
                           public testing::WithParamInterface<ReceiveFailure> {};

TEST_P(ReceiveFailureTest, ReportsTheFirstFailureAndKeepsTheReceivedParts) {
  const ReceiveFailure& row = GetParam();
  if (!row.arriving.empty()) arrive(row.arriving);
  Message message = messageOf({"old"});
  TransportFaults faults;
  for (const Injected& fault : row.injected) {
    if (fault.afterItsWork) {
      faults.disturb(fault.function, fault.error, fault.nth);
    } else {
      faults.fail(fault.function, fault.error, fault.nth);
    }
  }
  const std::string text = row.text + zeromq(row.code);
  EXPECT_FAILURE(std::runtime_error, text, transport.receive(socket, &message, -1));
  EXPECT_EQ(row.calls, faults.texts());
  EXPECT_EQ(row.parts, partsOf(message));
  Log lines = row.cleanUp;
  lines.push_back(debugLine("Error : Tavrik::MQWrapper::receive() : " + text));
  EXPECT_EQ(lines, log.lines());
}

INSTANTIATE_TEST_SUITE_P(Each, ReceiveFailureTest, testing::ValuesIn(receiveFailures),
                         [](const auto& row) { return row.param.name; });

// The messages of a monitored channel are counted by its socket.
class CountingTest : public testing::Test {
 protected:
  CountingTest() {
    tavrik_pollitem_t item = {&pair.server, TAVRIK_POLLIN, 0};
    EXPECT_EQ(0, tavrik::channel_poll(&item, 1, 0));
    socket = TestPeer::socketOf(pair.server);
    pair.server.initializeStatsMonitoring();
  }

  tavrikStatistics counted() {
    tavrikStatistics stats = {};
    pair.server.getTavrikStats(&stats);
    return stats;
  }

  LogCapture log;
  MQWrapper& transport = *MQWrapper::getInstance();
  RequestReply pair;
  void* socket = nullptr;
  Message message;
};

TEST_F(CountingTest, CountsEachWholeMessageOnce) {
  EXPECT_EQ(0, pair.client.send("ask", &message));
  EXPECT_EQ(1, transport.receive(socket, &message, patience));
  EXPECT_EQ(1U, counted().rcvdCount);
  message = messageOf({"a", "b"});
  EXPECT_EQ(2, transport.send(socket, &message));
  EXPECT_EQ(1U, counted().sentCount);
}

TEST_F(CountingTest, DoesNotCountEmptyOrFailedMessages) {
  EXPECT_EQ(0, transport.send(socket, &message));
  EXPECT_EQ(0U, counted().sentCount);
  message = messageOf({"a", "b"});
  EXPECT_EQ(2, pair.client.send("ask", &message));
  TransportFaults faults;
  faults.fail("zmq_msg_recv", EDOM, 3);  // the first one finds nothing yet
  EXPECT_THROW(transport.receive(socket, &message, patience), std::runtime_error);
  EXPECT_EQ(0U, counted().rcvdCount);
}

class PollTest : public FramingTest {
 protected:
  static tavrik_pollitem_t watch(void* socket, uint16_t events = TAVRIK_POLLIN) {
    return {socket, events, 0x7fff};
  }
};

TEST_F(PollTest, RefusesInvalidArguments) {
  std::array<tavrik_pollitem_t, 17> items;
  items.fill(watch(socket));
  EXPECT_EQ(-1, transport.poll(nullptr, 1, 0));
  EXPECT_EQ(-1, transport.poll(items.data(), 0, 0));
  EXPECT_EQ(-1, transport.poll(items.data(), 17, 0));
  EXPECT_EQ(-1, transport.poll(items.data(), 1, -2));
  EXPECT_EQ(0x7fff, items[0].revents);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(PollTest, WatchesUpToSixteenSockets) {
  std::array<tavrik_pollitem_t, 16> items;
  items.fill(watch(socket));
  arrive({"a"});
  EXPECT_EQ(16, transport.poll(items.data(), 16, patience));
  for (const tavrik_pollitem_t& item : items) EXPECT_EQ(TAVRIK_POLLIN, item.revents);
}

TEST_F(PollTest, ReportsTheEventsOfEachSocketAndNoneWithoutASocket) {
  const TransportSocket idle(ZMQ_PULL);
  transport.registerSender(idle, dir.ipcEndpoint());
  arrive({"a"});
  tavrik_pollitem_t items[] = {watch(idle), watch(socket, TAVRIK_POLLIN | TAVRIK_POLLOUT),
                               watch(nullptr)};
  EXPECT_EQ(1, transport.poll(items, 3, patience));
  EXPECT_EQ(0, items[0].revents);
  EXPECT_EQ(TAVRIK_POLLIN | TAVRIK_POLLOUT, items[1].revents);
  EXPECT_EQ(0, items[2].revents);
  EXPECT_EQ(TAVRIK_POLLIN, items[0].events);
}

TEST_F(PollTest, PassesTheTimeoutAndReturns0WhenItExpires) {
  tavrik_pollitem_t item = watch(socket);
  const TransportFaults calls;
  EXPECT_EQ(0, transport.poll(&item, 1, 2));
  EXPECT_EQ((Calls{"zmq_poll 1 2"}), calls.texts());
  EXPECT_EQ(0, item.revents);
}

TEST_F(PollTest, FailureAndSignalAreThrownAndNotLogged) {
  tavrik_pollitem_t item = watch(socket);
  {
    TransportFaults faults;
    faults.fail("zmq_poll", EDOM);
    EXPECT_LOGGED_FAILURE(std::runtime_error,
                          "Failed to poll on zmq_items : " + domain + zeromq(0x1110021), {},
                          transport.poll(&item, 1, 70));
    EXPECT_EQ((Calls{"zmq_poll 1 70"}), faults.texts());
  }
  EXPECT_EQ(0x7fff, item.revents);
  const SignalStorm storm;
  EXPECT_LOGGED_FAILURE(
      std::runtime_error,
      "Failed to poll on zmq_items : Interrupted system call" + zeromq(0x1110000 | EINTR), {},
      transport.poll(&item, 1, -1));
}

}  // namespace
