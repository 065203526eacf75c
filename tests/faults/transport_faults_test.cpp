// Every place where the transport can fail: the text, the code, what is cleaned up and in which
// order, and what is logged.
#include <support/failing_allocator.hpp>
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <support/transport_faults.hpp>
#include <support/transport_socket.hpp>
#include <tavrik/error.hpp>
#include <tavrik/tavrik.h>

#include <zmq.h>

#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using support::debugLine;
using support::errorLine;
using support::Log;
using support::LogCapture;
using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using support::PlainSocket;
using support::TempDir;
using support::TransportFaults;
using support::TransportSocket;
using tavrik::Message;
using tavrik::MQWrapper;

using Calls = std::vector<std::string>;

// How a text of the transport ends. Every one of them decodes to a large negative number.
std::string zeromq(int code) {
  std::string marked = "zeromq:" + std::to_string(code);
  EXPECT_EQ(-code, decode_error("any text" + marked));
  EXPECT_LE(decode_error("any text" + marked), -16777216);
  return marked;
}

// Errors that the machine would not produce by itself, so that a text or code can come from
// nowhere else.
constexpr int firstError = EDOM;    // 33, "Numerical argument out of domain"
constexpr int secondError = EXDEV;  // 18, "Invalid cross-device link"
const std::string firstText = "Numerical argument out of domain";
const std::string secondText = "Invalid cross-device link";

class TransportFailure : public testing::Test {
 protected:
  LogCapture log;
  TempDir dir;
  MQWrapper& transport = *MQWrapper::getInstance();
};

TEST_F(TransportFailure, creating_a_socket) {
  TransportFaults faults;
  faults.fail("zmq_socket", firstError);
  const std::string text = "Failed to create ZeroMQ Socket : " + firstText + zeromq(0x1010021);
  EXPECT_FAILURE(std::runtime_error, text, transport.createEndpt(ZMQ_REQ));
  EXPECT_EQ((Calls{"zmq_socket 3"}), faults.texts());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::createEndpt() : " + text)}), log.lines());
}

TEST_F(TransportFailure, an_error_number_of_zeromqs_own_is_marked) {
  TransportFaults faults;
  faults.fail("zmq_socket", ETERM);
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to create ZeroMQ Socket : Context was terminated" + zeromq(0x1018035),
                 transport.createEndpt(ZMQ_REQ));
}

struct KeepAlive {
  std::string option;
  std::string description;
  int site;
  int notClosedSite;
};

void PrintTo(const KeepAlive& row, std::ostream* out) {
  *out << row.option;
}

class KeepAliveFailure : public TransportFailure, public testing::WithParamInterface<KeepAlive> {
 protected:
  static const Calls& inOrder() {
    static const Calls calls{"zmq_socket 5", "zmq_setsockopt 34 1", "zmq_setsockopt 36 7200",
                             "zmq_setsockopt 37 75", "zmq_setsockopt 35 9"};
    return calls;
  }

  // The calls up to the failing option, and the close that follows.
  static Calls expectedCalls() {
    Calls expected;
    for (const std::string& call : inOrder()) {
      expected.push_back(call);
      if (call == GetParam().option) break;
    }
    expected.emplace_back("zmq_close");
    return expected;
  }
};

TEST_P(KeepAliveFailure, closes_the_socket_and_reports_the_option) {
  TransportFaults faults;
  faults.fail(GetParam().option, firstError);
  const std::string text =
      GetParam().description + firstText + zeromq(GetParam().site | firstError);
  EXPECT_FAILURE(std::runtime_error, text, transport.createEndpt(ZMQ_DEALER));
  EXPECT_EQ(expectedCalls(), faults.texts());
  EXPECT_EQ(faults.calls()[1].object, faults.calls().back().object) << "closed another socket";
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::createEndpt() : " + text)}), log.lines());
}

TEST_P(KeepAliveFailure, takes_the_error_before_the_socket_is_closed) {
  TransportFaults faults;
  faults.fail(GetParam().option, firstError);
  faults.disturb("zmq_close", secondError);
  EXPECT_FAILURE(std::runtime_error,
                 GetParam().description + firstText + zeromq(GetParam().site | firstError),
                 transport.createEndpt(ZMQ_DEALER));
}

TEST_P(KeepAliveFailure, reports_a_failed_close_too_with_its_error_in_the_code) {
  TransportFaults faults;
  faults.fail(GetParam().option, firstError);
  faults.fail("zmq_close", secondError);
  const std::string text = GetParam().description + firstText +
                           "\nFailed to close ZMQ socket : " + secondText +
                           zeromq(GetParam().notClosedSite | secondError);
  EXPECT_FAILURE(std::runtime_error, text, transport.createEndpt(ZMQ_DEALER));
  EXPECT_EQ(expectedCalls(), faults.texts());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::createEndpt() : " + text)}), log.lines());
}

INSTANTIATE_TEST_SUITE_P(
    EachOption, KeepAliveFailure,
    testing::Values(
        KeepAlive{"zmq_setsockopt 34 1",
                  "Failed to configure TCP Keepalive mode on socket : ", 0x1020000, 0x1130000},
        KeepAlive{"zmq_setsockopt 36 7200",
                  "Failed to configure TCP Keepalive idle value on socket : ", 0x1030000,
                  0x1140000},
        KeepAlive{"zmq_setsockopt 37 75",
                  "Failed to configure TCP Keepalive interval value on socket : ", 0x1040000,
                  0x1150000},
        KeepAlive{"zmq_setsockopt 35 9",
                  "Failed to configure TCP Keepalive count on socket : ", 0x1050000, 0x1160000}));

TEST_F(TransportFailure, a_whole_socket_is_made_in_this_order) {
  TransportFaults watch;
  void* const socket = transport.createEndpt(ZMQ_DEALER);
  EXPECT_EQ((Calls{"zmq_socket 5", "zmq_setsockopt 34 1", "zmq_setsockopt 36 7200",
                   "zmq_setsockopt 37 75", "zmq_setsockopt 35 9"}),
            watch.texts());
  transport.deleteEndpt(socket);
}

TEST_F(TransportFailure, setting_the_linger_period_leaves_the_socket_open) {
  const TransportSocket socket(ZMQ_REQ);
  TransportFaults faults;
  faults.fail("zmq_setsockopt", firstError);
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to  set ZeroMQ Socket Linger Period : " + firstText + zeromq(0x1060021),
                 transport.deleteEndpt(socket));
  EXPECT_EQ((Calls{"zmq_setsockopt 17 0"}), faults.texts());
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(TransportFailure, closing_a_socket) {
  const TransportSocket socket(ZMQ_REQ);
  TransportFaults faults;
  faults.fail("zmq_close", firstError);
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to  close ZeroMQ Socket : " + firstText + zeromq(0x10c0021),
                 transport.deleteEndpt(socket));
  EXPECT_EQ((Calls{"zmq_setsockopt 17 0", "zmq_close"}), faults.texts());
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(TransportFailure, setting_an_option) {
  const TransportSocket socket(ZMQ_SUB);
  TransportFaults faults;
  faults.fail("zmq_setsockopt", firstError);
  const std::string text = "Failed to set ZeroMQ Socket Option : " + firstText + zeromq(0x1070021);
  EXPECT_FAILURE(std::runtime_error, text,
                 transport.setOption(socket, tavrik::OPT_SUBSCRIBE, "news"));
  EXPECT_EQ((Calls{"zmq_setsockopt 6 \"news\""}), faults.texts());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::setOption() : " + text)}), log.lines());
}

TEST_F(TransportFailure, each_option_goes_out_under_its_number_and_in_its_form) {
  const TransportSocket socket(ZMQ_SUB);
  TransportFaults watch;
  for (const auto& [option, value] :
       std::vector<std::pair<tavrik::option_t, std::string>>{{tavrik::OPT_SUBSCRIBE, "1"},
                                                             {tavrik::OPT_UNSUBSCRIBE, "1"},
                                                             {tavrik::OPT_SNDHWM, "7"},
                                                             {tavrik::OPT_TOS, "8"},
                                                             {tavrik::OPT_RCVHWM, "9"}}) {
    transport.setOption(socket, option, value);
  }
  watch.fail("zmq_setsockopt 5", firstError);  // not an option of this kind of socket
  EXPECT_THROW(transport.setOption(socket, tavrik::OPT_IDENTITY, "me"), std::runtime_error);
  EXPECT_EQ((Calls{"zmq_setsockopt 6 \"1\"", "zmq_setsockopt 7 \"1\"", "zmq_setsockopt 23 7",
                   "zmq_setsockopt 57 8", "zmq_setsockopt 24 9", "zmq_setsockopt 5 \"me\""}),
            watch.texts());
}

TEST_F(TransportFailure, an_option_outside_the_table_goes_out_as_number_0_with_its_text) {
  const TransportSocket socket(ZMQ_SUB);
  TransportFaults watch;
  for (const char* const value : {"7", "1234"}) {
    EXPECT_THROW(transport.setOption(socket, static_cast<tavrik::option_t>(6), value),
                 std::runtime_error);
  }
  EXPECT_EQ((Calls{"zmq_setsockopt 0 of 1", "zmq_setsockopt 0 of 4"}), watch.texts());
}

TEST_F(TransportFailure, binding) {
  const TransportSocket socket(ZMQ_REP);
  TransportFaults faults;
  faults.fail("zmq_bind", firstError);
  const std::string text = "Failed to bind ZeroMQ Socket : " + firstText +
                           " : End Point : inproc://x" + zeromq(0x1090021);
  EXPECT_FAILURE(std::runtime_error, text, transport.registerSender(socket, "inproc://x"));
  EXPECT_EQ((Calls{"zmq_bind inproc://x"}), faults.texts());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerSender() : " + text)}), log.lines());
}

TEST_F(TransportFailure, connecting) {
  const TransportSocket socket(ZMQ_REQ);
  TransportFaults faults;
  faults.fail("zmq_connect", firstError);
  const std::string text = "Failed to connect ZeroMQ Socket : " + firstText +
                           " : End Point : inproc://x" + zeromq(0x10a0021);
  EXPECT_FAILURE(std::runtime_error, text, transport.registerReceiver(socket, "inproc://x"));
  EXPECT_EQ((Calls{"zmq_connect inproc://x"}), faults.texts());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerReceiver() : " + text)}),
            log.lines());
}

TEST_F(TransportFailure, polling) {
  const TransportSocket socket(ZMQ_PULL);
  tavrik_pollitem_t item = {socket, TAVRIK_POLLIN, 5};
  TransportFaults faults;
  faults.fail("zmq_poll", firstError);
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to poll on zmq_items : " + firstText + zeromq(0x1110021),
                 transport.poll(&item, 1, 70));
  EXPECT_EQ((Calls{"zmq_poll 1 70"}), faults.texts());
  EXPECT_EQ(5, item.revents);
  EXPECT_EQ(Log{}, log.lines());
}

// Sends over a pair whose other end is plain.
class SendFailure : public TransportFailure {
 protected:
  SendFailure() {
    const std::string endpoint = dir.ipcEndpoint();
    peer.bind(endpoint);
    transport.registerReceiver(socket, endpoint);
  }

  void expectFailure(const std::string& text) {
    EXPECT_FAILURE(std::runtime_error, text, transport.send(socket, &message));
    EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  }

  static std::string logged(const std::string& text) {
    return "Error : Tavrik::MQWrapper::send() : " + text;
  }

  PlainSocket peer{ZMQ_PAIR};
  TransportSocket socket{ZMQ_PAIR};
  Message message = messageOf({"a", "b"});
};

TEST_F(SendFailure, a_whole_message_makes_these_calls) {
  TransportFaults watch;
  EXPECT_EQ(2, transport.send(socket, &message));
  EXPECT_EQ((Calls{"zmq_msg_init_size 1", "zmq_msg_send 3", "zmq_msg_close",  //
                   "zmq_msg_init_size 1", "zmq_msg_send 1", "zmq_msg_close"}),
            watch.texts());
}

TEST_F(SendFailure, initialising_a_frame_closes_nothing) {
  TransportFaults faults;
  faults.fail("zmq_msg_init_size", ENOMEM);
  const std::string text =
      "Failed to initialize ZeroMQ messagepart : Cannot allocate memory" + zeromq(0x10d000c);
  expectFailure(text);
  EXPECT_EQ((Calls{"zmq_msg_init_size 1"}), faults.texts());
  EXPECT_EQ((Log{debugLine(logged(text))}), log.lines());
}

TEST_F(SendFailure, sending_a_frame_closes_it_once) {
  TransportFaults faults;
  faults.fail("zmq_msg_send", firstError);
  const std::string text = "Failed to send messagepart : " + firstText + zeromq(0x10b0021);
  expectFailure(text);
  EXPECT_EQ((Calls{"zmq_msg_init_size 1", "zmq_msg_send 3", "zmq_msg_close"}), faults.texts());
  EXPECT_EQ(faults.calls()[1].object, faults.calls()[2].object);
  EXPECT_EQ((Log{debugLine(logged(text))}), log.lines());
}

TEST_F(SendFailure, a_failed_clean_up_is_logged_first_and_the_first_failure_leaves) {
  TransportFaults faults;
  faults.fail("zmq_msg_send", firstError);
  faults.fail("zmq_msg_close", secondError);
  const std::string text = "Failed to send messagepart : " + firstText + zeromq(0x10b0021);
  expectFailure(text);
  EXPECT_EQ((Calls{"zmq_msg_init_size 1", "zmq_msg_send 3", "zmq_msg_close"}), faults.texts());
  EXPECT_EQ((Log{errorLine("Failed to close  ZeroMQ messagepart : " + secondText),
                 debugLine(logged(text))}),
            log.lines());
}

TEST_F(SendFailure, closing_a_frame_is_tried_twice) {
  TransportFaults faults;
  faults.fail("zmq_msg_close", firstError);
  const std::string text = "Failed to close ZeroMQ messagepart : " + firstText + zeromq(0x10c0021);
  expectFailure(text);
  EXPECT_EQ((Calls{"zmq_msg_init_size 1", "zmq_msg_send 3", "zmq_msg_close", "zmq_msg_close"}),
            faults.texts());
  EXPECT_EQ(faults.calls()[2].object, faults.calls()[3].object);
  EXPECT_EQ((Log{debugLine(logged(text))}), log.lines());
}

TEST_F(SendFailure, a_second_failure_to_close_is_logged) {
  TransportFaults faults;
  faults.fail("zmq_msg_close", firstError, 1);
  faults.fail("zmq_msg_close", secondError, 2);
  const std::string text = "Failed to close ZeroMQ messagepart : " + firstText + zeromq(0x10c0021);
  expectFailure(text);
  EXPECT_EQ((Log{errorLine("Failed to close  ZeroMQ messagepart : " + secondText),
                 debugLine(logged(text))}),
            log.lines());
}

TEST_F(SendFailure, on_a_later_frame_leaves_the_frames_before_sent) {
  TransportFaults faults;
  faults.fail("zmq_msg_send", firstError, 2);
  expectFailure("Failed to send messagepart : " + firstText + zeromq(0x10b0021));
  EXPECT_EQ((Calls{"zmq_msg_init_size 1", "zmq_msg_send 3", "zmq_msg_close",  //
                   "zmq_msg_init_size 1", "zmq_msg_send 1", "zmq_msg_close"}),
            faults.texts());
  // The first frame waits for the rest of its message, which the next send supplies.
  Message rest = messageOf({"c"});
  EXPECT_EQ(1, transport.send(socket, &rest));
  EXPECT_EQ((support::Frames{"a", "c"}), peer.receive());
}

class ReceiveFailure : public TransportFailure {
 protected:
  ReceiveFailure() {
    const std::string endpoint = dir.ipcEndpoint();
    peer.bind(endpoint);
    transport.registerReceiver(socket, endpoint);
  }

  // Sends a message and waits until it is there.
  void arrive(const support::Frames& frames) {
    peer.send(frames);
    tavrik_pollitem_t item = {socket, TAVRIK_POLLIN, 0};
    ASSERT_EQ(1, transport.poll(&item, 1, patience));
  }

  void expectFailure(const std::string& text, long timeout = 0) {
    EXPECT_FAILURE(std::runtime_error, text, transport.receive(socket, &message, timeout));
  }

  static std::string logged(const std::string& text) {
    return "Error : Tavrik::MQWrapper::receive() : " + text;
  }

  PlainSocket peer{ZMQ_PAIR};
  TransportSocket socket{ZMQ_PAIR};
  Message message = messageOf({"old"});
};

TEST_F(ReceiveFailure, a_whole_message_makes_these_calls) {
  arrive({"a", "b"});
  TransportFaults watch;
  EXPECT_EQ(2, transport.receive(socket, &message, -1));
  EXPECT_EQ((Calls{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_getsockopt 13 of 4",  //
                   "zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_getsockopt 13 of 4"}),
            watch.texts());
}

TEST_F(ReceiveFailure, receiving_the_first_frame) {
  TransportFaults faults;
  faults.fail("zmq_msg_recv", firstError);
  const std::string text = "Failed to get messagepart : " + firstText + zeromq(0x10e0021);
  expectFailure(text, -1);
  EXPECT_EQ((Calls{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close"}), faults.texts());
  EXPECT_EQ(Parts{}, partsOf(message));
  EXPECT_EQ((Log{debugLine(logged(text))}), log.lines());
}

TEST_F(ReceiveFailure, takes_the_error_before_the_frame_is_closed) {
  TransportFaults faults;
  faults.fail("zmq_msg_recv", firstError);
  faults.disturb("zmq_msg_close", secondError);
  expectFailure("Failed to get messagepart : " + firstText + zeromq(0x10e0021));
}

TEST_F(ReceiveFailure, a_signal_just_before_the_wait_is_a_failure) {
  TransportFaults faults;
  faults.fail("zmq_msg_recv", EINTR);
  EXPECT_EQ(17694724, 0x10e0000 | EINTR);
  expectFailure("Failed to get messagepart : Interrupted system call" + zeromq(17694724), -1);
}

TEST_F(ReceiveFailure, closing_the_frame_that_nothing_came_into) {
  TransportFaults faults;
  faults.fail("zmq_msg_close", firstError);
  const std::string text = "Failed to close ZeroMQ messagepart : " + firstText + zeromq(0x10c0021);
  expectFailure(text);
  EXPECT_EQ((Calls{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_msg_close"}),
            faults.texts());
  EXPECT_EQ((Log{debugLine(logged(text))}), log.lines());
}

TEST_F(ReceiveFailure, closing_the_frame_hides_the_failure_to_receive) {
  TransportFaults faults;
  faults.fail("zmq_msg_recv", firstError);
  faults.fail("zmq_msg_close", secondError, 1);
  faults.fail("zmq_msg_close", secondError, 2);
  const std::string text = "Failed to close ZeroMQ messagepart : " + secondText + zeromq(0x10c0012);
  expectFailure(text);
  EXPECT_EQ((Log{errorLine("Failed to close  ZeroMQ messagepart : " + secondText),
                 debugLine(logged(text))}),
            log.lines());
}

TEST_F(ReceiveFailure, a_failed_poll_counts_as_nothing_received) {
  TransportFaults faults;
  faults.fail("zmq_poll", firstError);
  EXPECT_EQ(0, transport.receive(socket, &message, 70));
  EXPECT_EQ((Calls{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_poll 1 70"}),
            faults.texts());
  EXPECT_EQ(Parts{}, partsOf(message));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(ReceiveFailure, would_block_after_a_successful_wait_is_a_failure) {
  arrive({"a"});
  TransportFaults faults;
  faults.fail("zmq_msg_recv", EAGAIN, 1);
  faults.fail("zmq_msg_recv", EAGAIN, 2);
  const std::string text =
      "Failed to get messagepart : Resource temporarily unavailable" + zeromq(0x10e000b);
  expectFailure(text, -1);
  EXPECT_EQ((Calls{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_poll 1 -1",  //
                   "zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close"}),
            faults.texts());
  EXPECT_EQ((Log{debugLine(logged(text))}), log.lines());
}

TEST_F(ReceiveFailure, receives_after_a_successful_wait) {
  arrive({"a", "b"});
  TransportFaults faults;
  faults.fail("zmq_msg_recv", EAGAIN);
  EXPECT_EQ(2, transport.receive(socket, &message, -1));
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
}

TEST_F(ReceiveFailure, closing_a_received_frame_keeps_its_part) {
  arrive({"a", "b"});
  TransportFaults faults;
  faults.fail("zmq_msg_close", firstError);
  const std::string text = "Failed to close ZeroMQ messagepart : " + firstText + zeromq(0x10c0021);
  expectFailure(text);
  EXPECT_EQ((Calls{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_msg_close"}),
            faults.texts());
  EXPECT_EQ(faults.calls()[2].object, faults.calls()[3].object);
  EXPECT_EQ((Parts{"a"}), partsOf(message));
  EXPECT_EQ((Log{debugLine(logged(text))}), log.lines());
}

TEST_F(ReceiveFailure, reading_the_more_flag_keeps_the_part) {
  arrive({"a", "b"});
  TransportFaults faults;
  faults.fail("zmq_getsockopt", firstError);
  const std::string text = "Failed to get ZMQ_RCVMORE Option : " + firstText + zeromq(0x10f0021);
  expectFailure(text);
  EXPECT_EQ((Calls{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_getsockopt 13 of 4"}),
            faults.texts());
  EXPECT_EQ((Parts{"a"}), partsOf(message));
  EXPECT_EQ((Log{debugLine(logged(text))}), log.lines());
}

TEST_F(ReceiveFailure, receiving_a_later_frame_keeps_the_parts_before) {
  arrive({"a", "b"});
  TransportFaults faults;
  faults.fail("zmq_msg_recv", EAGAIN, 2);
  const std::string text =
      "Failed to get messagepart : Resource temporarily unavailable" + zeromq(0x10e000b);
  expectFailure(text);
  EXPECT_EQ((Calls{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close", "zmq_getsockopt 13 of 4",  //
                   "zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close"}),
            faults.texts());
  EXPECT_EQ((Parts{"a"}), partsOf(message));
  EXPECT_EQ((Log{debugLine(logged(text))}), log.lines());
}

TEST_F(ReceiveFailure, a_failed_clean_up_is_logged_first_and_the_first_failure_leaves) {
  arrive({"a", "b"});
  TransportFaults faults;
  faults.fail("zmq_msg_recv", firstError, 2);
  faults.fail("zmq_msg_close", secondError, 2);
  const std::string text = "Failed to get messagepart : " + firstText + zeromq(0x10e0021);
  expectFailure(text);
  EXPECT_EQ((Log{errorLine("Failed to close  ZeroMQ messagepart : " + secondText),
                 debugLine(logged(text))}),
            log.lines());
}

TEST_F(ReceiveFailure, a_shortage_of_memory_closes_the_frame) {
  arrive({std::string(100, 'x')});
  TransportFaults faults;
  {
    const support::AllocationFailure failure(1);
    EXPECT_THROW(transport.receive(socket, &message, 0), std::bad_alloc);
    EXPECT_TRUE(failure.happened());
  }
  EXPECT_EQ((Calls{"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close"}), faults.texts());
}

// The transport of the process, made for the first time. CTest runs each of these in a process of
// its own.
class FirstUse : public testing::Test {
 protected:
  void SetUp() override {
    if (support::contextsMade() > 0) GTEST_SKIP() << "needs a process of its own";
  }
};

TEST_F(FirstUse, makes_one_context_with_one_io_thread) {
  TransportFaults watch;
  MQWrapper::getInstance();
  MQWrapper::getInstance();
  EXPECT_EQ((Calls{"zmq_ctx_new", "zmq_ctx_set 1 1"}), watch.texts());
}

TEST_F(FirstUse, without_a_context_fails_and_is_tried_again) {
  LogCapture log;
  TransportFaults faults;
  faults.fail("zmq_ctx_new", EMFILE);
  const std::string text = "Failed to create ZeroMQ Context" + zeromq(0x1000018);
  EXPECT_FAILURE(std::runtime_error, text, MQWrapper::getInstance());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::MQWrapper() : " + text)}), log.lines());
  EXPECT_NE(nullptr, MQWrapper::getInstance());
  EXPECT_EQ((Calls{"zmq_ctx_new", "zmq_ctx_new", "zmq_ctx_set 1 1"}), faults.texts());
}

TEST_F(FirstUse, without_io_threads_fails_leaves_the_context_and_is_tried_again) {
  LogCapture log;
  TransportFaults faults;
  faults.fail("zmq_ctx_set", firstError);
  const std::string text = "Failed to set ZMQ_IO_THREADS : " + firstText + zeromq(0x1120021);
  EXPECT_FAILURE(std::runtime_error, text, MQWrapper::getInstance());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::MQWrapper() : " + text)}), log.lines());
  EXPECT_NE(nullptr, MQWrapper::getInstance());
  EXPECT_EQ((Calls{"zmq_ctx_new", "zmq_ctx_set 1 1", "zmq_ctx_new", "zmq_ctx_set 1 1"}),
            faults.texts());
  EXPECT_NE(faults.calls()[1].object, faults.calls()[3].object);
  zmq_ctx_term(const_cast<void*>(faults.calls()[1].object));
}

// In a process of its own: a transport that has been destroyed is of no use to anybody.
TEST(LastUse, destroying_the_transport_leaves_the_context_alone) {
  EXPECT_EXIT(
      {
        // Never freed: it keeps the context known to whoever looks for leaks at the end.
        static auto& watch = *new TransportFaults;
        MQWrapper* const transport = MQWrapper::getInstance();
        const std::size_t callsBefore = watch.calls().size();
        delete transport;
        std::exit(watch.calls().size() == callsBefore ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

// A log function that comes back into the library must not find the transport locked.
void creatingLogFunction(int, const char*) {
  static bool nested = false;
  if (nested) return;
  nested = true;
  EXPECT_NE(nullptr, MQWrapper::getInstance());
}

TEST_F(FirstUse, is_not_locked_while_its_failure_is_logged) {
  TransportFaults faults;
  faults.fail("zmq_ctx_new", EMFILE);
  tavrik_Install_Logfn(creatingLogFunction);
  EXPECT_THROW(MQWrapper::getInstance(), std::runtime_error);
  tavrik_Install_Logfn(syslog_Logfn);
}

TEST_F(FirstUse, without_memory_releases_the_lock_and_is_tried_again) {
  LogCapture log;
  TransportFaults watch;
  for (int failing = 1;; ++failing) {
    const support::AllocationFailure failure(failing);
    try {
      MQWrapper::getInstance();
      ASSERT_FALSE(failure.happened());
      break;
    } catch (const std::bad_alloc&) {
      ASSERT_TRUE(failure.happened());
    }
  }
  EXPECT_FALSE(log.lines().empty());
  for (const support::LogLine& line : log.lines()) {
    EXPECT_EQ(debugLine("Error : Tavrik::MQWrapper::MQWrapper() : std::bad_alloc"), line);
  }
  // The library leaves the contexts of failed attempts behind; this process does not.
  const auto made = watch.calls();
  for (const support::Call& call : made) {
    const bool last = call.object == made.back().object;
    if (call.object != nullptr && !last) zmq_ctx_term(const_cast<void*>(call.object));
  }
}

}  // namespace
