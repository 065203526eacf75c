#include <support/counted_handle.hpp>
#include <support/failing_allocator.hpp>
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/private_member.hpp>
#include <support/request_reply.hpp>
#include <support/signal_storm.hpp>
#include <support/temp_dir.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/tavrik_channel.hpp>
#include <tavrik/tavrik_stats.hpp>

#include <zmq.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <utility>
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
using support::TransportFaults;
using tavrik::channel_poll;
using tavrik::Message;
using tavrik::TavrikChannel;

const std::string channelPrefix = "Error : Tavrik::TavrikChannel::TavrikChannel() : ";
const std::string factoryPrefix = "Error : Tavrik::MsgPatternFactory::createMsgPattern() : ";
const std::string efsm = "Operation cannot be accomplished in current state";

uint32_t livingChannels() {
  TavrikChannel probe("probe", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  probe.initializeStatsMonitoring();
  tavrikStatistics stats{};
  probe.getTavrikStats(&stats);
  return stats.connections - 1;
}

TEST(ChannelConstruction, keeps_name_pattern_and_role) {
  const TavrikChannel channel("thermostat", REQUEST_REPLY_PATTERN, REP_SERVER);
  EXPECT_EQ("thermostat", channel.getName());
  EXPECT_EQ(REQUEST_REPLY_PATTERN, channel.getPattern());
  EXPECT_EQ(REP_SERVER, channel.getRole());
}

TEST(ChannelConstruction, takes_a_name_of_255_characters) {
  const std::string name(255, 'n');
  EXPECT_EQ(name, TavrikChannel(name, REQUEST_REPLY_PATTERN, REQ_CLIENT).getName());
}

TEST(ChannelConstruction, refuses_a_longer_name_before_anything_else) {
  LogCapture log;
  const uint32_t before = livingChannels();
  const std::string text = "Channel name cannot exceed 255 characterstavrik:-2";
  EXPECT_FAILURE(std::logic_error, text,
                 TavrikChannel(std::string(256, 'n'), static_cast<pattern_t>(9), PUBLISHER));
  EXPECT_EQ((Log{debugLine(channelPrefix + text)}), log.lines());
  EXPECT_EQ(before, livingChannels());
}

TEST(ChannelConstruction, refuses_an_empty_name_and_each_floor_logs_it) {
  LogCapture log;
  const uint32_t before = livingChannels();
  const std::string text = "Invalid Channel name specifiedtavrik:-1";
  EXPECT_FAILURE(std::logic_error, text, TavrikChannel("", REQUEST_REPLY_PATTERN, REQ_CLIENT));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MsgPattern::MsgPattern() : " + text),
                 debugLine(factoryPrefix + text), debugLine(channelPrefix + text)}),
            log.lines());
  EXPECT_EQ(before, livingChannels());
}

TEST(ChannelConstruction, refuses_a_pattern_that_does_not_exist) {
  LogCapture log;
  const std::string text = "Invalid Message Patterntavrik:-10";
  EXPECT_FAILURE(std::logic_error, text, TavrikChannel("x", static_cast<pattern_t>(3), REQ_CLIENT));
  EXPECT_EQ((Log{debugLine(factoryPrefix + text), debugLine(channelPrefix + text)}), log.lines());
}

TEST(ChannelConstruction, refuses_a_role_of_another_pattern) {
  LogCapture log;
  const std::string text = "Invalid Role specifiedtavrik:-12";
  EXPECT_FAILURE(std::logic_error, text, TavrikChannel("x", REQUEST_REPLY_PATTERN, SUBSCRIBER));
  EXPECT_EQ(
      (Log{debugLine("Error : Tavrik::RequestReplyMsgPattern::RequestReplyMsgPattern() : " + text),
           debugLine(factoryPrefix + text), debugLine(channelPrefix + text)}),
      log.lines());
}

TEST(ChannelConstruction, without_memory_makes_no_channel_and_counts_none) {
  LogCapture log;
  const uint32_t before = livingChannels();
  int failing = 1;
  for (bool made = false; !made; ++failing) {
    const std::string name(100, 'n');
    const support::AllocationFailure failure(failing);
    try {
      const TavrikChannel channel(name, REQUEST_REPLY_PATTERN, REQ_CLIENT);
      made = true;
    } catch (const std::bad_alloc&) {
    }
    ASSERT_NE(made, failure.happened());
  }
  EXPECT_GT(failing, 3);
  EXPECT_EQ(before, livingChannels());
}

TEST(ChannelConstruction, opens_no_socket) {
  const TavrikChannel warmUp("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  const TransportFaults watch;
  {
    TavrikChannel channel("x", REQUEST_REPLY_PATTERN, REP_SERVER);
    channel.setProperty(REQ_REP_SERVER_ENDPOINT, support::inprocEndpoint());
  }
  EXPECT_EQ(std::vector<std::string>{}, watch.texts());
}

class Channel : public testing::Test {
 protected:
  Channel() { std::memset(subject, '#', sizeof subject); }

  bool subjectIsUnwritten() const {
    return std::string(subject, sizeof subject) == std::string(sizeof subject, '#');
  }

  LogCapture log;
  support::RequestReply pair;
  TavrikChannel& server = pair.server;
  TavrikChannel& client = pair.client;
  char subject[SUBJECT_BUFFER_SIZE];
};

TEST_F(Channel, exchanges_request_and_reply) {
  Message message = messageOf({"living room", "now"});
  EXPECT_EQ(0, server.receive(subject, &message, 0)) << "the server is there first";
  message = messageOf({"living room", "now"});
  EXPECT_EQ(2, client.send("temperature", &message));
  EXPECT_EQ((Parts{"living room", "now"}), partsOf(message));

  Message request;
  EXPECT_EQ(2, server.receive(subject, &request, patience));
  EXPECT_STREQ("temperature", subject);
  EXPECT_EQ((Parts{"living room", "now"}), partsOf(request));
  Message reply = messageOf({"21.5"});
  EXPECT_EQ(1, server.send("reading", &reply));

  EXPECT_EQ(1, client.receive(subject, &message, patience));
  EXPECT_STREQ("reading", subject);
  EXPECT_EQ((Parts{"21.5"}), partsOf(message));
  EXPECT_EQ(Log{}, log.lines()) << "success logs nothing";
}

// The client's other end is plain, so that its frames can be seen.
class ChannelOnTheWire : public Channel {
 protected:
  ChannelOnTheWire() { peer.bind(pair.endpoint); }

  // Has the client ask, and the peer answer with these frames.
  int receiveFrames(const Frames& frames, Message& message) {
    Message request;
    EXPECT_EQ(0, client.send("ask", &request));
    peer.receive();
    peer.send(frames);
    return client.receive(subject, &message, patience);
  }

  PlainSocket peer{ZMQ_REP};
};

TEST_F(ChannelOnTheWire, sends_the_subject_as_the_first_frame) {
  Message message = messageOf({"a", "", "b\0c"s});
  EXPECT_EQ(3, client.send("subject", &message));
  EXPECT_EQ((Frames{"subject", "a", "", "b\0c"s}), peer.receive());
}

TEST_F(ChannelOnTheWire, sends_a_message_of_no_parts_as_the_subject_alone) {
  Message message;
  EXPECT_EQ(0, client.send("alone", &message));
  EXPECT_EQ((Frames{"alone"}), peer.receive());
  EXPECT_EQ(0, message.getnumParts());
}

TEST_F(ChannelOnTheWire, sends_an_empty_subject) {
  Message message = messageOf({"a"});
  EXPECT_EQ(1, client.send("", &message));
  EXPECT_EQ((Frames{"", "a"}), peer.receive());
}

TEST_F(ChannelOnTheWire, sends_a_subject_of_255_characters) {
  const std::string longest(255, 's');
  Message message = messageOf({"a"});
  EXPECT_EQ(1, client.send(longest.c_str(), &message));
  EXPECT_EQ((Frames{longest, "a"}), peer.receive());
}

TEST_F(ChannelOnTheWire, sends_a_megabyte) {
  const std::string large(1 << 20, 'L');
  Message message = messageOf({large});
  EXPECT_EQ(1, client.send("large", &message));
  EXPECT_EQ((Frames{"large", large}), peer.receive());
}

TEST_F(ChannelOnTheWire, receives_the_first_frame_as_the_subject) {
  Message message = messageOf({"old"});
  EXPECT_EQ(2, receiveFrames({"subject", "a", ""}, message));
  EXPECT_STREQ("subject", subject);
  EXPECT_EQ((Parts{"a", ""}), partsOf(message));
}

TEST_F(ChannelOnTheWire, receives_a_single_frame_as_a_subject_without_parts) {
  Message message = messageOf({"old"});
  EXPECT_EQ(0, receiveFrames({"alone"}, message));
  EXPECT_STREQ("alone", subject);
  EXPECT_EQ(0, message.getnumParts());
}

TEST_F(ChannelOnTheWire, receives_an_empty_subject) {
  Message message;
  EXPECT_EQ(1, receiveFrames({"", "a"}, message));
  EXPECT_STREQ("", subject);
}

TEST_F(ChannelOnTheWire, receives_a_megabyte) {
  const std::string large(1 << 20, 'L');
  Message message;
  EXPECT_EQ(1, receiveFrames({"large", large}, message));
  EXPECT_EQ((Parts{large}), partsOf(message));
}

TEST_F(ChannelOnTheWire, receives_subjects_up_to_255_characters_whole_and_cuts_longer_ones) {
  for (const std::size_t length : {253U, 254U, 255U, 256U, 300U}) {
    SCOPED_TRACE(length);
    Message message;
    EXPECT_EQ(2, receiveFrames({std::string(length, 's'), "a", "b"}, message));
    EXPECT_EQ(std::string(std::min<std::size_t>(length, 255), 's'), subject);
    EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  }
}

TEST_F(ChannelOnTheWire, ends_a_received_subject_at_its_first_nul) {
  Message message;
  EXPECT_EQ(1, receiveFrames({"ab\0cd"s, "part"}, message));
  EXPECT_STREQ("ab", subject);
  EXPECT_EQ("ab\0\0\0\0"s, std::string(subject, 6)) << "nothing of the rest is copied";
  EXPECT_EQ('#', subject[6]);
}

TEST_F(Channel, send_refuses_bad_arguments_and_leaves_the_message_alone) {
  Message message = messageOf({"kept"});
  EXPECT_EQ(-1, client.send(nullptr, &message));
  EXPECT_EQ(-1, client.send("x", nullptr));
  EXPECT_EQ(-1, client.send(std::string(256, 's').c_str(), &message));
  EXPECT_EQ((Parts{"kept"}), partsOf(message));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(Channel, receive_refuses_bad_arguments_and_leaves_everything_alone) {
  Message message = messageOf({"kept"});
  EXPECT_EQ(-1, server.receive(nullptr, &message, 0));
  EXPECT_EQ(-1, server.receive(subject, nullptr, 0));
  EXPECT_EQ(-1, server.receive(subject, &message, -2));
  EXPECT_EQ((Parts{"kept"}), partsOf(message));
  EXPECT_TRUE(subjectIsUnwritten());
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(Channel, receive_with_timeout_0_returns_at_once) {
  Message message = messageOf({"old"});
  EXPECT_EQ(0, server.receive(subject, &message, 0));
  EXPECT_EQ(0, message.getnumParts());
  EXPECT_TRUE(subjectIsUnwritten());
}

TEST_F(Channel, receive_waits_for_the_timeout) {
  Message message;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(0, server.receive(subject, &message, 50));
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, std::chrono::milliseconds(49));
  EXPECT_LT(elapsed, std::chrono::milliseconds(patience));
  EXPECT_TRUE(subjectIsUnwritten());
}

TEST_F(Channel, every_wait_hands_its_timeout_to_the_transport) {
  Message message;
  void* data = nullptr;
  unsigned int size = 0;
  tavrik_pollitem_t item = {&server, TAVRIK_POLLIN, 0};
  tavrik_pollitem_t patternItem = {support::patternOf(server), TAVRIK_POLLIN, 0};
  const std::vector<std::pair<const char*, std::function<void()>>> waits = {
      {"receive", [&] { server.receive(subject, &message, 50); }},
      {"receiveBinary", [&] { server.receiveBinary(subject, &data, &size, 50); }},
      {"pattern_poll", [&] { tavrik::pattern_poll(&patternItem, 1, 50); }},
      {"channel_poll", [&] { channel_poll(&item, 1, 50); }},
      {"tavrik_receivemsg", [&] { tavrik_receivemsg(&server, subject, &message, 50); }},
      {"tavrik_receiveBinary", [&] { tavrik_receiveBinary(&server, subject, &data, &size, 50); }},
      {"tavrik_poll", [&] { tavrik_poll(&item, 1, 50); }},
  };
  for (const auto& [name, wait] : waits) {
    const TransportFaults watch;
    wait();
    EXPECT_EQ("zmq_poll 1 50", watch.texts().back()) << name;
  }
}

TEST_F(Channel, a_signal_ends_a_wait_and_the_channel_stays_usable) {
  Message message;
  void* data = nullptr;
  unsigned int size = 0;
  tavrik_pollitem_t item = {&server, TAVRIK_POLLIN, 0};
  const std::vector<std::pair<int, std::function<int()>>> waits = {
      {0, [&] { return server.receive(subject, &message, -1); }},
      {0, [&] { return server.receiveBinary(subject, &data, &size, -1); }},
      {0, [&] { return tavrik_receivemsg(&server, subject, &message, -1); }},
      {0, [&] { return tavrik_receiveBinary(&server, subject, &data, &size, -1); }},
      {-17891332, [&] { return tavrik_poll(&item, 1, -1); }},
  };
  EXPECT_EQ(17891332, 0x1110000 | EINTR);
  for (const auto& [result, wait] : waits) {
    {
      const support::SignalStorm storm;
      EXPECT_EQ(result, wait());
    }
    EXPECT_TRUE(subjectIsUnwritten());
    message = messageOf({"x"});
    EXPECT_EQ(1, client.send("ask", &message));
    EXPECT_EQ(1, server.receive(subject, &message, patience));
    EXPECT_EQ(1, server.send("answer", &message));
    EXPECT_EQ(1, client.receive(subject, &message, patience));
    std::memset(subject, '#', sizeof subject);
  }
}

TEST_F(Channel, sending_and_receiving_leave_the_reply_handle_alone) {
  int alive = 0;
  Message request = messageOf({"x"});
  Message received;
  {
    const support::CountedHandle handle(alive);
    request.setHandle(&handle);
    received.setHandle(&handle);
  }
  client.send("ask", &request);
  server.receive(subject, &received, patience);
  EXPECT_EQ(2, alive);
}

TEST_F(Channel, receive_for_ever_ends_with_a_message) {
  const int pollsBefore = support::pollsEntered();
  std::thread serving([this] {
    char heard[SUBJECT_BUFFER_SIZE];
    Message message;
    EXPECT_EQ(1, server.receive(heard, &message, -1));
    EXPECT_STREQ("ask", heard);
  });
  while (support::pollsEntered() == pollsBefore) std::this_thread::yield();
  Message message = messageOf({"a"});
  EXPECT_EQ(1, client.send("ask", &message));
  serving.join();
}

TEST_F(Channel, a_failed_send_gives_the_message_back_unchanged) {
  Message message = messageOf({"a", "b"});
  const std::string text = "Failed to send messagepart : " + efsm + "zeromq:17530931";
  EXPECT_EQ(17530931, 0x10b8033);
  EXPECT_FAILURE(std::runtime_error, text, server.send("x", &message));
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::send() : " + text)}), log.lines())
      << "send logs nothing itself";
}

TEST_F(Channel, a_send_that_cannot_connect_gives_the_message_back_unchanged) {
  TavrikChannel lost("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  Message message = messageOf({"a", "b"});
  EXPECT_THROW(lost.send("x", &message), std::runtime_error);
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
}

TEST_F(Channel, a_failed_send_of_no_parts_leaves_no_parts) {
  Message message;
  EXPECT_THROW(server.send("x", &message), std::runtime_error);
  EXPECT_EQ(0, message.getnumParts());
}

TEST_F(Channel, without_memory_a_send_gives_the_message_back_unchanged) {
  Message first;
  EXPECT_EQ(0, client.send("connects the client", &first));
  const Parts parts = {std::string(100, 'a'), std::string(100, 'b')};
  int failing = 1;
  for (bool over = false; !over; ++failing) {
    SCOPED_TRACE(failing);
    Message message = messageOf(parts);
    {
      const support::AllocationFailure failure(failing);
      // Out of turn, so that it can be tried any number of times.
      EXPECT_ANY_THROW(client.send("a subject too long to be stored in place", &message));
      over = !failure.happened();
    }
    EXPECT_EQ(parts, partsOf(message));
  }
  EXPECT_GT(failing, 3);
}

TEST_F(Channel, a_failed_receive_passes_through_unlogged_by_the_channel) {
  Message message = messageOf({"old"});
  const std::string text = "Failed to get messagepart : " + efsm + "zeromq:17727539";
  EXPECT_EQ(17727539, 0x10e8033);
  EXPECT_FAILURE(std::runtime_error, text, client.receive(subject, &message, 0));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::receive() : " + text)}), log.lines());
  EXPECT_TRUE(subjectIsUnwritten());
}

TEST_F(Channel, sends_and_receives_a_buffer) {
  std::string data = "raw\0bytes"s;
  void* buffer = nullptr;
  unsigned int size = 0;
  EXPECT_EQ(0, server.receiveBinary(subject, &buffer, &size, 0));
  EXPECT_EQ(1, client.sendBinary("file", data.data(), static_cast<unsigned int>(data.size())));
  ASSERT_EQ(1, server.receiveBinary(subject, &buffer, &size, patience));
  EXPECT_STREQ("file", subject);
  EXPECT_EQ(data, std::string(static_cast<char*>(buffer), size));
  std::free(buffer);
}

TEST_F(Channel, sends_and_receives_an_empty_buffer) {
  char nothing = 0;
  void* buffer = nullptr;
  unsigned int size = 99;
  EXPECT_EQ(0, server.receiveBinary(subject, &buffer, &size, 0));
  EXPECT_EQ(1, client.sendBinary("empty", &nothing, 0));
  EXPECT_EQ(1, server.receiveBinary(subject, &buffer, &size, patience));
  EXPECT_EQ(0U, size);
  EXPECT_NE(nullptr, buffer);
  std::free(buffer);
}

TEST_F(ChannelOnTheWire, sends_a_buffer_as_one_frame_after_the_subject) {
  std::string data = "a\0b"s;
  EXPECT_EQ(1, client.sendBinary("file", data.data(), 3));
  EXPECT_EQ((Frames{"file", data}), peer.receive());
}

TEST_F(ChannelOnTheWire, receives_only_the_last_of_several_parts_into_a_buffer) {
  Message request;
  client.send("ask", &request);
  peer.receive();
  peer.send({"subject", "one", "two", "three!"});
  void* buffer = nullptr;
  unsigned int size = 0;
  ASSERT_EQ(3, client.receiveBinary(subject, &buffer, &size, patience));
  EXPECT_STREQ("subject", subject);
  EXPECT_EQ("three!", std::string(static_cast<char*>(buffer), size));
  std::free(buffer);
}

TEST_F(ChannelOnTheWire, receives_a_subject_alone_into_no_buffer) {
  Message request;
  client.send("ask", &request);
  peer.receive();
  peer.send({"alone"});
  void* buffer = &subject;
  unsigned int size = 77;
  EXPECT_EQ(0, client.receiveBinary(subject, &buffer, &size, patience));
  EXPECT_STREQ("alone", subject);
  EXPECT_EQ(&subject, buffer);
  EXPECT_EQ(77U, size);
}

TEST_F(Channel, buffer_functions_refuse_bad_arguments) {
  char data[] = "x";
  EXPECT_EQ(-1, client.sendBinary(nullptr, data, 1));
  EXPECT_EQ(-1, client.sendBinary("x", nullptr, 1));
  EXPECT_EQ(-1, client.sendBinary(std::string(256, 's').c_str(), data, 1));
  EXPECT_EQ(1, client.sendBinary(std::string(255, 's').c_str(), data, 1));
  void* buffer = data;
  unsigned int size = 77;
  EXPECT_EQ(-1, server.receiveBinary(nullptr, &buffer, &size, 0));
  EXPECT_EQ(-1, server.receiveBinary(subject, nullptr, &size, 0));
  EXPECT_EQ(-1, server.receiveBinary(subject, &buffer, nullptr, 0));
  EXPECT_EQ(-1, server.receiveBinary(subject, &buffer, &size, -2));
  EXPECT_EQ(data, buffer);
  EXPECT_EQ(77U, size);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(Channel, a_buffer_that_does_not_come_in_time_is_not_written) {
  void* buffer = subject;
  unsigned int size = 77;
  EXPECT_EQ(0, server.receiveBinary(subject, &buffer, &size, 0));
  EXPECT_EQ(subject, buffer);
  EXPECT_EQ(77U, size);
  EXPECT_TRUE(subjectIsUnwritten());
}

TEST_F(Channel, a_failed_send_of_a_buffer_is_logged) {
  char data[] = "x";
  const std::string text = "Failed to send messagepart : " + efsm + "zeromq:17530931";
  EXPECT_FAILURE(std::runtime_error, text, server.sendBinary("x", data, 1));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::send() : " + text),
                 debugLine("Error : Tavrik::TavrikChannel::sendBinary() : " + text)}),
            log.lines());
}

TEST_F(Channel, a_failed_receive_of_a_buffer_is_logged) {
  void* buffer = nullptr;
  unsigned int size = 0;
  const std::string text = "Failed to get messagepart : " + efsm + "zeromq:17727539";
  EXPECT_FAILURE(std::runtime_error, text, client.receiveBinary(subject, &buffer, &size, 0));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::receive() : " + text),
                 debugLine("Error : Tavrik::TavrikChannel::receiveBinary() : " + text)}),
            log.lines());
}

TEST_F(Channel, refuses_a_long_property_value_before_the_pattern_sees_it) {
  EXPECT_EQ(-1, client.setProperty(REQ_REP_SERVER_ENDPOINT, std::string(256, '*')));
  EXPECT_EQ(-1, client.setProperty(PUB_SUB_SUBSCRIBE_FILTER, std::string(256, 'x')));
  EXPECT_EQ(Log{}, log.lines());
  EXPECT_EQ(pair.endpoint, client.getProperty(REQ_REP_SERVER_ENDPOINT));
  const std::string longest(255, 'x');
  EXPECT_EQ(0, client.setProperty(REQ_REP_SERVER_ENDPOINT, longest));
  EXPECT_EQ(longest, client.getProperty(REQ_REP_SERVER_ENDPOINT));
}

TEST_F(Channel, passes_the_patterns_answers_about_properties_on) {
  const std::string text = "Invalid property - cannot be set : xtavrik:-14";
  EXPECT_FAILURE(std::logic_error, text, client.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "x"));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::RequestReplyMsgPattern::setProperty() : " + text)}),
            log.lines())
      << "the channel adds no line of its own";
  Message message;
  server.receive(subject, &message, 0);
  EXPECT_EQ(-1, server.setProperty(REQ_REP_SERVER_ENDPOINT, "inproc://other"));
  EXPECT_EQ(pair.endpoint, server.getProperty(REQ_REP_SERVER_ENDPOINT));
}

TEST_F(Channel, destruction_closes_the_socket_and_counts_one_less) {
  const uint32_t before = livingChannels();
  auto channel = std::make_unique<TavrikChannel>("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  EXPECT_EQ(before + 1, livingChannels());
  channel->setProperty(REQ_REP_SERVER_ENDPOINT, support::inprocEndpoint());
  Message message;
  channel->receive(subject, &message, 0);
  {
    const TransportFaults watch;
    channel.reset();
    EXPECT_EQ((std::vector<std::string>{"zmq_setsockopt 17 0", "zmq_close"}), watch.texts());
  }
  EXPECT_EQ(before, livingChannels());
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(Channel, destruction_ends_monitoring) {
  auto* const channel = new TavrikChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  channel->initializeStatsMonitoring();
  delete channel;
  EXPECT_FALSE(tavrik::TavrikStats::getInstance()->isBeingMonitored(channel));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(Channel, destruction_that_cannot_close_the_socket_is_logged_and_throws_nothing) {
  auto channel = std::make_unique<TavrikChannel>("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  channel->setProperty(REQ_REP_SERVER_ENDPOINT, support::inprocEndpoint());
  Message message;
  channel->receive(subject, &message, 0);
  TransportFaults faults;
  faults.fail("zmq_close", EDOM);
  channel.reset();
  EXPECT_EQ((Log{debugLine("Error : Tavrik::TavrikChannel::~TavrikChannel() : Failed to  close "
                           "ZeroMQ Socket : Numerical argument out of domainzeromq:17563681")}),
            log.lines());
  zmq_close(const_cast<void*>(faults.calls().back().object));
}

class ChannelPoll : public Channel {
 protected:
  static tavrik_pollitem_t watch(TavrikChannel& channel, uint16_t events = TAVRIK_POLLIN) {
    return {&channel, events, 0x7fff};
  }
};

TEST_F(ChannelPoll, refuses_bad_arguments) {
  std::array<tavrik_pollitem_t, 17> items;
  items.fill(watch(server));
  EXPECT_EQ(-1, channel_poll(nullptr, 1, 0));
  EXPECT_EQ(-1, channel_poll(items.data(), 0, 0));
  EXPECT_EQ(-1, channel_poll(items.data(), 17, 0));
  EXPECT_EQ(-1, channel_poll(items.data(), 1, -2));
  EXPECT_EQ(0x7fff, items[0].revents);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(ChannelPoll, reports_events_and_keeps_the_callers_records) {
  tavrik_pollitem_t items[] = {watch(server), watch(client, TAVRIK_POLLIN | TAVRIK_POLLOUT)};
  EXPECT_EQ(1, channel_poll(items, 2, patience)) << "the client may send";
  EXPECT_EQ(0, items[0].revents);
  EXPECT_EQ(TAVRIK_POLLOUT, items[1].revents);
  Message message;
  client.send("ask", &message);
  EXPECT_EQ(1, channel_poll(items, 2, patience));
  EXPECT_EQ(TAVRIK_POLLIN, items[0].revents);
  EXPECT_EQ(0, items[1].revents);
  EXPECT_EQ(&server, items[0].socket);
  EXPECT_EQ(&client, items[1].socket);
  EXPECT_EQ(TAVRIK_POLLIN, items[0].events);
  EXPECT_EQ(TAVRIK_POLLIN | TAVRIK_POLLOUT, items[1].events);
}

TEST_F(ChannelPoll, connects_channels_that_are_not_connected) {
  tavrik_pollitem_t item = watch(server);
  EXPECT_EQ(0, channel_poll(&item, 1, 0));
  EXPECT_EQ(0, item.revents);
  EXPECT_EQ(-1, server.setProperty(REQ_REP_SERVER_ENDPOINT, "inproc://late"));
}

TEST_F(ChannelPoll, watches_sixteen_channels) {
  std::array<tavrik_pollitem_t, 16> items;
  items.fill(watch(server));
  Message message;
  server.receive(subject, &message, 0);
  client.send("ask", &message);
  ASSERT_EQ(1, channel_poll(items.data(), 1, patience)) << "it has come before all are asked";
  EXPECT_EQ(16, channel_poll(items.data(), 16, patience));
  for (const tavrik_pollitem_t& item : items) EXPECT_EQ(TAVRIK_POLLIN, item.revents);
}

TEST_F(ChannelPoll, fails_on_a_null_channel_and_connects_nothing) {
  tavrik_pollitem_t items[] = {watch(server), {nullptr, TAVRIK_POLLIN, 0x7fff}};
  EXPECT_FAILURE(std::runtime_error, "TavrikChannel object being passed is NULLtavrik:-1",
                 channel_poll(items, 2, 0));
  EXPECT_EQ(&server, items[0].socket);
  EXPECT_EQ(0x7fff, items[0].revents);
  EXPECT_EQ(0, server.setProperty(REQ_REP_SERVER_ENDPOINT, pair.endpoint));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(ChannelPoll, passes_the_transports_failure_on) {
  tavrik_pollitem_t item = watch(server);
  TransportFaults faults;
  faults.fail("zmq_poll", EDOM);
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to poll on zmq_items : Numerical argument out of domainzeromq:17891361",
                 channel_poll(&item, 1, 0));
  EXPECT_EQ(&server, item.socket);
  EXPECT_EQ(Log{}, log.lines());
}

class ChannelStatistics : public Channel {
 protected:
  tavrikStatistics statsOf(TavrikChannel& channel) {
    tavrikStatistics stats = {9, 9, 9, 9};
    channel.getTavrikStats(&stats);
    return stats;
  }

  void expectUnmonitored(TavrikChannel& channel) {
    EXPECT_FAILURE(std::runtime_error, "The channel is not being monitoredtavrik:-8",
                   statsOf(channel));
  }
};

TEST_F(ChannelStatistics, count_messages_sent_and_received) {
  server.initializeStatsMonitoring();
  client.initializeStatsMonitoring();
  Message message;
  server.receive(subject, &message, 0);
  for (int i = 0; i < 3; ++i) {
    client.send("ask", &message);
    server.receive(subject, &message, patience);
    server.send("answer", &message);
    client.receive(subject, &message, patience);
  }
  client.send("ask", &message);
  const tavrikStatistics ofClient = statsOf(client);
  EXPECT_EQ(4U, ofClient.sentCount);
  EXPECT_EQ(3U, ofClient.rcvdCount);
  EXPECT_EQ(0U, ofClient.connectionState);
  EXPECT_EQ(2U, ofClient.connections);
  const tavrikStatistics ofServer = statsOf(server);
  EXPECT_EQ(3U, ofServer.sentCount);
  EXPECT_EQ(3U, ofServer.rcvdCount);
}

TEST_F(ChannelStatistics, count_nothing_that_failed_or_did_not_come) {
  client.initializeStatsMonitoring();
  Message message;
  client.send("ask", &message);
  EXPECT_THROW(client.send("ask", &message), std::runtime_error);
  client.receive(subject, &message, 0);
  EXPECT_EQ(1U, statsOf(client).sentCount);
  EXPECT_EQ(0U, statsOf(client).rcvdCount);
}

TEST_F(ChannelStatistics, each_member_logs_behind_the_registry) {
  const std::string notMonitored = "The channel is not being monitoredtavrik:-8";
  const std::string registry = "Error : Tavrik::TavrikStats::";
  const std::string channel = "Error : Tavrik::TavrikChannel::";

  tavrikStatistics stats = {};
  EXPECT_FAILURE(std::runtime_error, notMonitored, client.getTavrikStats(&stats));
  EXPECT_EQ((Log{debugLine(registry + "incrementRcvdCount() : " + notMonitored),
                 debugLine(channel + "getTavrikStats() : " + notMonitored)}),
            log.lines());
  log.clear();
  EXPECT_FAILURE(std::runtime_error, "Input parameter is NULLtavrik:-1",
                 client.getTavrikStats(nullptr));
  EXPECT_EQ((Log{debugLine(registry + "incrementRcvdCount() : Input parameter is NULLtavrik:-1"),
                 debugLine(channel + "getTavrikStats() : Input parameter is NULLtavrik:-1")}),
            log.lines());
  log.clear();
  EXPECT_FAILURE(std::runtime_error, notMonitored, client.clearTavrikStats());
  EXPECT_EQ((Log{debugLine(registry + "incrementRcvdCount() : " + notMonitored),
                 debugLine(channel + "clearTavrikStats() : " + notMonitored)}),
            log.lines());
  log.clear();
  const std::string notFound = "Channel entry not found in channel_listtavrik:-7";
  EXPECT_FAILURE(std::runtime_error, notFound, client.stopStatsMonitoring());
  EXPECT_EQ((Log{debugLine(registry + "removeChannel() : " + notFound),
                 debugLine(channel + "stopStatsMonitoring() : " + notFound)}),
            log.lines());
  client.initializeStatsMonitoring();
  log.clear();
  const std::string exists = "Channel entry already exists in channel_listtavrik:-6";
  EXPECT_FAILURE(std::runtime_error, exists, client.initializeStatsMonitoring());
  EXPECT_EQ((Log{debugLine(registry + "insertChannel() : " + exists),
                 debugLine(channel + "initializeStatsMonitoring() : " + exists)}),
            log.lines());
}

TEST_F(ChannelStatistics, start_again_from_0) {
  client.initializeStatsMonitoring();
  Message message;
  client.send("ask", &message);
  EXPECT_EQ(1U, statsOf(client).sentCount);
  client.clearTavrikStats();
  EXPECT_EQ(0U, statsOf(client).sentCount);
  EXPECT_EQ(2U, statsOf(client).connections);
  client.stopStatsMonitoring();
  expectUnmonitored(client);
  client.initializeStatsMonitoring();
  EXPECT_EQ(0U, statsOf(client).sentCount);
}

}  // namespace
