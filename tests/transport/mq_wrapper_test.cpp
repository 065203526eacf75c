#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <support/transport_socket.hpp>

#include <zmq.h>

#include <cerrno>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace {

using support::debugLine;
using support::Frames;
using support::Log;
using support::LogCapture;
using support::PlainSocket;
using support::TempDir;
using support::TransportSocket;
using tavrik::MQWrapper;

class MQWrapperTest : public testing::Test {
 protected:
  static int number(void* socket, int option) {
    int value = -1;
    std::size_t size = sizeof value;
    EXPECT_EQ(0, zmq_getsockopt(socket, option, &value, &size)) << zmq_strerror(errno);
    return value;
  }

  LogCapture log;
  TempDir dir;
  MQWrapper& transport = *MQWrapper::getInstance();
};

TEST_F(MQWrapperTest, is_one_per_process) {
  EXPECT_EQ(&transport, MQWrapper::getInstance());
}

TEST_F(MQWrapperTest, makes_sockets_with_keep_alive) {
  const TransportSocket socket(ZMQ_DEALER);
  EXPECT_EQ(ZMQ_DEALER, number(socket, ZMQ_TYPE));
  EXPECT_EQ(1, number(socket, ZMQ_TCP_KEEPALIVE));
  EXPECT_EQ(7200, number(socket, ZMQ_TCP_KEEPALIVE_IDLE));
  EXPECT_EQ(75, number(socket, ZMQ_TCP_KEEPALIVE_INTVL));
  EXPECT_EQ(9, number(socket, ZMQ_TCP_KEEPALIVE_CNT));
}

TEST_F(MQWrapperTest, refuses_an_unknown_socket_type) {
  const std::string text = "Failed to create ZeroMQ Socket : Invalid argumentzeromq:16842774";
  EXPECT_EQ(16842774, 0x1010000 | EINVAL);
  EXPECT_FAILURE(std::runtime_error, text, transport.createEndpt(99));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::createEndpt() : " + text)}), log.lines());
}

TEST_F(MQWrapperTest, sender_binds_and_receiver_connects) {
  const std::string endpoint = dir.ipcEndpoint();
  const TransportSocket bound(ZMQ_PAIR);
  const TransportSocket connected(ZMQ_PAIR);
  EXPECT_EQ(0, transport.registerSender(bound, endpoint));
  EXPECT_EQ(0, transport.registerReceiver(connected, endpoint));
  tavrik::Message message = support::messageOf({"hello"});
  EXPECT_EQ(1, transport.send(connected, &message));
  EXPECT_EQ(1, transport.receive(bound, &message, support::patience));
}

TEST_F(MQWrapperTest, binding_a_bound_endpoint_fails_naming_it) {
  const TransportSocket first(ZMQ_REP);
  const TransportSocket second(ZMQ_REP);
  // Not ipc: a path can be taken over while its owner lives.
  const std::string inproc = support::inprocEndpoint();
  transport.registerSender(first, inproc);
  const std::string text =
      "Failed to bind ZeroMQ Socket : Address already in use : End Point : " + inproc +
      "zeromq:" + std::to_string(0x1090000 | EADDRINUSE);
  EXPECT_FAILURE(std::runtime_error, text, transport.registerSender(second, inproc));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerSender() : " + text)}), log.lines());
}

TEST_F(MQWrapperTest, connecting_to_nonsense_fails_naming_it) {
  const TransportSocket socket(ZMQ_REQ);
  const std::string text =
      "Failed to connect ZeroMQ Socket : Invalid argument : End Point : nonsensezeromq:" +
      std::to_string(0x10a0000 | EINVAL);
  EXPECT_FAILURE(std::runtime_error, text, transport.registerReceiver(socket, "nonsense"));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerReceiver() : " + text)}),
            log.lines());
}

TEST_F(MQWrapperTest, numbers_are_read_from_the_front_of_the_text) {
  const TransportSocket socket(ZMQ_DEALER);
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_SNDHWM, "1000"));
  EXPECT_EQ(1000, number(socket, ZMQ_SNDHWM));
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_SNDHWM, "12abc"));
  EXPECT_EQ(12, number(socket, ZMQ_SNDHWM));
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_SNDHWM, "abc"));
  EXPECT_EQ(0, number(socket, ZMQ_SNDHWM));
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_SNDHWM, "4294967303"));
  EXPECT_EQ(7, number(socket, ZMQ_SNDHWM)) << "only the low 32 bits count";
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_SNDHWM, "010"));
  EXPECT_EQ(10, number(socket, ZMQ_SNDHWM)) << "base 10, whatever it starts with";
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_SNDHWM, "0x10"));
  EXPECT_EQ(0, number(socket, ZMQ_SNDHWM));
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_SNDHWM, "7"));
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_SNDHWM, ""));
  EXPECT_EQ(0, number(socket, ZMQ_SNDHWM));
}

TEST_F(MQWrapperTest, sets_the_receive_mark_and_the_type_of_service) {
  const TransportSocket socket(ZMQ_DEALER);
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_RCVHWM, "17"));
  EXPECT_EQ(17, number(socket, ZMQ_RCVHWM));
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_TOS, "184"));
  EXPECT_EQ(184, number(socket, ZMQ_TOS));
}

TEST_F(MQWrapperTest, sets_the_identity_with_its_bytes) {
  const TransportSocket socket(ZMQ_DEALER);
  const std::string identity("a\0b", 3);
  EXPECT_EQ(0, transport.setOption(socket, tavrik::OPT_IDENTITY, identity));
  char buffer[256];
  std::size_t size = sizeof buffer;
  ASSERT_EQ(0, zmq_getsockopt(socket, ZMQ_IDENTITY, buffer, &size));
  EXPECT_EQ(identity, std::string(buffer, size));
}

TEST_F(MQWrapperTest, subscribes_and_unsubscribes) {
  const std::string endpoint = dir.ipcEndpoint();
  PlainSocket publisher(ZMQ_XPUB);  // shows the subscriptions as they arrive
  publisher.bind(endpoint);
  const TransportSocket subscriber(ZMQ_SUB);
  transport.registerReceiver(subscriber, endpoint);
  EXPECT_EQ(0, transport.setOption(subscriber, tavrik::OPT_SUBSCRIBE, "news"));
  EXPECT_EQ((Frames{"\1news"}), publisher.receive());
  EXPECT_EQ(0, transport.setOption(subscriber, tavrik::OPT_SUBSCRIBE, ""));
  EXPECT_EQ((Frames{"\1"}), publisher.receive()) << "the empty filter takes everything";
  EXPECT_EQ(0, transport.setOption(subscriber, tavrik::OPT_UNSUBSCRIBE, "news"));
  EXPECT_EQ((Frames{std::string("\0news", 5)}), publisher.receive());
}

TEST_F(MQWrapperTest, an_option_outside_the_table_is_rejected_by_zeromq) {
  const TransportSocket socket(ZMQ_DEALER);
  const std::string text = "Failed to set ZeroMQ Socket Option : Invalid argumentzeromq:" +
                           std::to_string(0x1070000 | EINVAL);
  EXPECT_FAILURE(std::runtime_error, text,
                 transport.setOption(socket, static_cast<tavrik::option_t>(6), "1"));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::setOption() : " + text)}), log.lines());
}

TEST_F(MQWrapperTest, deleting_null_does_nothing) {
  EXPECT_NO_THROW(transport.deleteEndpt(nullptr));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(MQWrapperTest, composes_codes_from_site_and_error_number) {
  errno = 11;
  EXPECT_EQ(17498123, transport.constructErrorCode(0x10b0000));
  errno = 156384765;
  EXPECT_EQ(17530933, transport.constructErrorCode(0x10b0000));
  EXPECT_EQ(17530933, 0x10b8035);
  errno = 156384712;
  EXPECT_EQ(0x10b8000, transport.constructErrorCode(0x10b0000));
  errno = 156384711;
  EXPECT_EQ(0x10b0000 | 156384711, transport.constructErrorCode(0x10b0000));
  errno = 0;
  EXPECT_EQ(0x10b0000, transport.constructErrorCode(0x10b0000));
}

}  // namespace
