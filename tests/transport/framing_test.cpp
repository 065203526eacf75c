#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/private_member.hpp>
#include <support/request_reply.hpp>
#include <support/signal_storm.hpp>
#include <support/temp_dir.hpp>
#include <support/transport_faults.hpp>
#include <support/transport_socket.hpp>

#include <zmq.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::string_literals;
using support::debugLine;
using support::Frames;
using support::Log;
using support::LogCapture;
using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using support::PlainSocket;
using support::TempDir;
using support::TransportSocket;
using tavrik::Message;
using tavrik::MQWrapper;

// A socket of the transport with a plain one at its other end.
class Framing : public testing::Test {
 protected:
  Framing() {
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

  LogCapture log;
  TempDir dir;
  MQWrapper& transport = *MQWrapper::getInstance();
  PlainSocket peer{ZMQ_PAIR};
  TransportSocket socket{ZMQ_PAIR};
};

TEST_F(Framing, sends_each_part_as_one_frame_in_order) {
  EXPECT_EQ((Frames{"a", "b", "c"}), sent({"a", "b", "c"}));
}

TEST_F(Framing, sends_a_single_part_as_a_single_frame) {
  EXPECT_EQ((Frames{"a"}), sent({"a"}));
}

TEST_F(Framing, sends_empty_parts) {
  EXPECT_EQ((Frames{"a", "", "b"}), sent({"a", "", "b"}));
  EXPECT_EQ((Frames{""}), sent({""}));
  EXPECT_EQ((Frames{"", ""}), sent({"", ""}));
}

TEST_F(Framing, sends_zero_bytes) {
  EXPECT_EQ((Frames{"a\0b\0"s}), sent({"a\0b\0"s}));
}

TEST_F(Framing, sends_a_megabyte) {
  std::string large(1 << 20, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 31 >> 3);
  EXPECT_EQ((Frames{large, "tail"}), sent({large, "tail"}));
}

TEST_F(Framing, sends_nothing_for_a_message_without_parts) {
  Message empty;
  EXPECT_EQ(0, transport.send(socket, &empty));
  EXPECT_EQ((Frames{"next"}), sent({"next"})) << "something went before it";
}

TEST_F(Framing, receives_each_frame_as_one_part_in_order) {
  EXPECT_EQ((Parts{"a", "b", "c"}), received({"a", "b", "c"}));
  EXPECT_EQ((Parts{"a"}), received({"a"}));
  EXPECT_EQ((Parts{"a", "", "b\0"s}), received({"a", "", "b\0"s}));
  EXPECT_EQ((Parts{""}), received({""}));
}

TEST_F(Framing, receives_a_megabyte) {
  const std::string large(1 << 20, 'x');
  EXPECT_EQ((Parts{large, "tail"}), received({large, "tail"}));
}

TEST_F(Framing, receives_hundreds_of_frames) {
  Frames frames;
  for (int i = 0; i < 500; ++i) frames.push_back(std::to_string(i));
  EXPECT_EQ(frames, received(frames));
}

TEST_F(Framing, receiving_leaves_handle_and_bookkeeping_alone) {
  tavrik::AsyncRouterDealerMsgHandle handle;
  handle.setIdentity("client");
  Message message;
  message.setHandle(&handle);
  message.deferMsgFree(1);
  message.incrRefCount();
  peer.send({"a"});
  ASSERT_EQ(1, transport.receive(socket, &message, patience));
  const tavrik::MsgHandle* const kept = message.getHandle();
  EXPECT_NE(nullptr, kept);
  tavrik::freeMsgHandle(kept);
  EXPECT_FALSE(message.isMsgFreeAllowed());
  EXPECT_EQ(1U, message.getRefCount());
}

// Messages of a monitored channel, counted by way of its socket.
class Counting : public testing::Test {
 protected:
  Counting() {
    tavrik_pollitem_t item = {&pair.server, TAVRIK_POLLIN, 0};
    tavrik::channel_poll(&item, 1, 0);
    pair.server.initializeStatsMonitoring();
  }

  tavrikStatistics counted() {
    tavrikStatistics stats = {};
    pair.server.getTavrikStats(&stats);
    return stats;
  }

  LogCapture log;
  MQWrapper& transport = *MQWrapper::getInstance();
  support::RequestReply pair;
  Message message;
};

TEST_F(Counting, one_for_each_whole_message) {
  pair.client.send("ask", &message);
  void* const socket = support::socketOf(pair.server);
  EXPECT_EQ(1, transport.receive(socket, &message, patience));
  EXPECT_EQ(1U, counted().rcvdCount);
  message = messageOf({"a", "b"});
  EXPECT_EQ(2, transport.send(socket, &message));
  EXPECT_EQ(1U, counted().sentCount);
}

TEST_F(Counting, none_for_a_message_without_parts) {
  EXPECT_EQ(0, transport.send(support::socketOf(pair.server), &message));
  EXPECT_EQ(0U, counted().sentCount);
}

TEST_F(Counting, none_for_a_message_that_failed_on_the_way) {
  message = messageOf({"a", "b"});
  pair.client.send("ask", &message);
  tavrik_pollitem_t item = {&pair.server, TAVRIK_POLLIN, 0};
  ASSERT_EQ(1, tavrik::channel_poll(&item, 1, patience));
  support::TransportFaults faults;
  faults.fail("zmq_msg_recv", EDOM, 2);
  EXPECT_THROW(transport.receive(support::socketOf(pair.server), &message, 0), std::runtime_error);
  EXPECT_EQ(0U, counted().rcvdCount);
}

// A frame more is put onto the message that is being sent, as often as its parts are counted.
TEST_F(Framing, counts_the_parts_again_with_each_frame) {
  static Message* growing = nullptr;
  Message message = messageOf({"a", "b"});
  growing = &message;
  support::onFrameSent = [] {
    if (growing->getnumParts() == 2) growing->insertPart(2, "c");
  };
  const support::TransportFaults watch;
  EXPECT_EQ(3, transport.send(socket, &message));
  support::onFrameSent = nullptr;
  EXPECT_EQ((Frames{"a", "b", "c"}), peer.receive());
}

TEST_F(Framing, refuses_null_and_bad_timeouts_without_touching_the_message) {
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

TEST_F(Framing, does_not_wait_with_timeout_0) {
  Message message = messageOf({"old"});
  const support::TransportFaults watch;
  EXPECT_EQ(0, transport.receive(socket, &message, 0));
  EXPECT_EQ(Parts{}, partsOf(message)) << "a message that was not received may not look received";
  EXPECT_EQ((std::vector<std::string>{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close"}),
            watch.texts());
}

TEST_F(Framing, waits_as_long_as_it_is_told) {
  using std::chrono::milliseconds;
  using std::chrono::steady_clock;
  Message message = messageOf({"old"});
  const auto start = steady_clock::now();
  EXPECT_EQ(0, transport.receive(socket, &message, 50));
  const auto elapsed = steady_clock::now() - start;
  EXPECT_EQ(Parts{}, partsOf(message));
  EXPECT_GE(elapsed, milliseconds(49));
  EXPECT_LT(elapsed, milliseconds(patience));
}

TEST_F(Framing, waits_for_ever_until_a_message_comes) {
  std::atomic<bool> returned{false};
  const int pollsBefore = support::pollsEntered();
  std::thread receiver([&] {
    Message message;
    EXPECT_EQ(1, transport.receive(socket, &message, -1));
    returned = true;
    EXPECT_EQ((Parts{"at last"}), partsOf(message));
  });
  while (support::pollsEntered() == pollsBefore) std::this_thread::yield();
  EXPECT_FALSE(returned);
  peer.send({"at last"});
  receiver.join();
}

TEST_F(Framing, a_signal_ends_the_wait_and_the_socket_stays_usable) {
  Message message = messageOf({"old"});
  {
    const support::SignalStorm storm;
    EXPECT_EQ(0, transport.receive(socket, &message, -1));
  }
  EXPECT_EQ(Parts{}, partsOf(message));
  EXPECT_EQ(Log{}, log.lines());
  EXPECT_EQ((Parts{"after"}), received({"after"}));
  EXPECT_EQ((Frames{"back"}), sent({"back"}));
}

TEST_F(Framing, sending_without_a_peer_fails_at_once) {
  const TransportSocket lonely(ZMQ_DEALER);
  transport.registerSender(lonely, dir.ipcEndpoint());
  Message message = messageOf({"a"});
  const std::string text =
      "Failed to send messagepart : Resource temporarily unavailablezeromq:17498123";
  EXPECT_FAILURE(std::runtime_error, text, transport.send(lonely, &message));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::send() : " + text)}), log.lines());
  EXPECT_EQ((Parts{"a"}), partsOf(message));
}

TEST_F(Framing, sending_past_the_high_water_mark_fails_at_once) {
  const std::string endpoint = dir.ipcEndpoint();
  const TransportSocket sender(ZMQ_DEALER);
  transport.setOption(sender, tavrik::OPT_SNDHWM, "1");
  transport.registerReceiver(sender, endpoint);  // nobody has bound it, so messages queue up
  Message message = messageOf({"a"});
  EXPECT_EQ(1, transport.send(sender, &message));
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to send messagepart : Resource temporarily unavailablezeromq:17498123",
                 transport.send(sender, &message));
}

class Polling : public Framing {
 protected:
  static tavrik_pollitem_t watch(void* socket, uint16_t events = TAVRIK_POLLIN) {
    return {socket, events, 0x7fff};
  }
};

TEST_F(Polling, refuses_bad_arguments) {
  std::array<tavrik_pollitem_t, 17> items;
  items.fill(watch(socket));
  EXPECT_EQ(-1, transport.poll(nullptr, 1, 0));
  EXPECT_EQ(-1, transport.poll(items.data(), 0, 0));
  EXPECT_EQ(-1, transport.poll(items.data(), 17, 0));
  EXPECT_EQ(-1, transport.poll(items.data(), 1, -2));
  EXPECT_EQ(0x7fff, items[0].revents);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(Polling, watches_sixteen_sockets) {
  std::array<tavrik_pollitem_t, 16> items;
  items.fill(watch(socket));
  peer.send({"a"});
  ASSERT_EQ(1, transport.poll(items.data(), 1, patience)) << "it has come before all are asked";
  EXPECT_EQ(16, transport.poll(items.data(), 16, patience));
  for (const tavrik_pollitem_t& item : items) EXPECT_EQ(TAVRIK_POLLIN, item.revents);
}

TEST_F(Polling, reports_which_sockets_are_ready_and_for_what) {
  const TransportSocket idle(ZMQ_PULL);
  transport.registerSender(idle, dir.ipcEndpoint());
  peer.send({"a"});
  tavrik_pollitem_t items[] = {watch(idle), watch(socket, TAVRIK_POLLIN | TAVRIK_POLLOUT)};
  tavrik_pollitem_t once[] = {watch(socket)};
  ASSERT_EQ(1, transport.poll(once, 1, patience));
  EXPECT_EQ(1, transport.poll(items, 2, patience));
  EXPECT_EQ(0, items[0].revents);
  EXPECT_EQ(TAVRIK_POLLIN | TAVRIK_POLLOUT, items[1].revents);
  EXPECT_EQ(TAVRIK_POLLIN, items[0].events);
}

TEST_F(Polling, answers_0_when_time_is_up) {
  using std::chrono::milliseconds;
  using std::chrono::steady_clock;
  tavrik_pollitem_t item = watch(socket);
  EXPECT_EQ(0, transport.poll(&item, 1, 0));
  EXPECT_EQ(0, item.revents);
  const auto start = steady_clock::now();
  EXPECT_EQ(0, transport.poll(&item, 1, 50));
  EXPECT_GE(steady_clock::now() - start, milliseconds(49));
}

TEST_F(Polling, a_record_without_a_socket_is_never_ready) {
  tavrik_pollitem_t items[] = {watch(nullptr), watch(socket)};
  peer.send({"a"});
  EXPECT_EQ(1, transport.poll(items, 2, patience));
  EXPECT_EQ(0, items[0].revents);
}

TEST_F(Polling, a_signal_is_a_failure_without_a_log_line) {
  tavrik_pollitem_t item = watch(socket);
  const support::SignalStorm storm;
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to poll on zmq_items : Interrupted system callzeromq:" +
                     std::to_string(0x1110000 | EINTR),
                 transport.poll(&item, 1, -1));
  EXPECT_EQ(Log{}, log.lines());
}

}  // namespace
