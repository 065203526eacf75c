#include <support/failure.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <support/transport_faults.hpp>
#include <transport/frame.hpp>

#include <zmq.h>

#include <cerrno>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace {

using namespace std::string_literals;
using namespace support;
using tavrik::Frame;

const std::string domain = "Numerical argument out of domain";  // EDOM
const std::string notClosed = "Failed to close  ZeroMQ messagepart : ";

std::string zeromq(int code) {
  return "zeromq:" + std::to_string(code);
}

// Two sockets that are connected before calls are recorded.
struct ConnectedPair {
  ConnectedPair() {
    const std::string endpoint = dir.ipcEndpoint();
    peer.bind(endpoint);
    own.connect(endpoint);
  }

  TempDir dir;
  PlainSocket peer{ZMQ_PAIR};
  PlainSocket own{ZMQ_PAIR};
};

class FrameTest : public testing::Test, protected ConnectedPair {
 protected:
  LogCapture log;
  TransportFaults faults;
};

TEST_F(FrameTest, HoldsACopyOfTheBytesAndIsSentOnce) {
  std::string bytes = "a\0b"s;
  {
    Frame frame(bytes);
    bytes = "changed";
    EXPECT_EQ("a\0b"s, frame.bytes());
    frame.send(own.raw(), ZMQ_DONTWAIT);
    frame.close();
  }
  EXPECT_EQ((Calls{"zmq_msg_init_size 3", "zmq_msg_send 1", "zmq_msg_close"}), faults.texts());
  EXPECT_EQ((Frames{"a\0b"s}), peer.receive());
}

TEST_F(FrameTest, ReceivesWithoutWaiting) {
  Frame frame;
  EXPECT_FALSE(frame.receive(own.raw()));
  EXPECT_EQ(EAGAIN, errno);
  EXPECT_EQ("", frame.bytes());
  peer.send({"a\0b"s});
  ASSERT_TRUE(own.hasMessage(patience));
  EXPECT_TRUE(frame.receive(own.raw()));
  EXPECT_EQ("a\0b"s, frame.bytes());
}

TEST_F(FrameTest, FailedInitializationLeavesNothingToClose) {
  faults.fail("zmq_msg_init_size", ENOMEM);
  EXPECT_FAILURE(
      std::runtime_error,
      "Failed to initialize ZeroMQ messagepart : Cannot allocate memory" + zeromq(0x10d000c),
      Frame("a"));
  EXPECT_EQ((Calls{"zmq_msg_init_size 1"}), faults.texts());
}

TEST_F(FrameTest, FailedSendLeavesTheFrameToTheDestructor) {
  faults.fail("zmq_msg_send", EDOM);
  {
    Frame frame("a");
    EXPECT_FAILURE(std::runtime_error, "Failed to send messagepart : " + domain + zeromq(0x10b0021),
                   frame.send(own.raw(), 0));
    EXPECT_EQ(0, count(faults.texts(), "zmq_msg_close"));
  }
  EXPECT_EQ(1, count(faults.texts(), "zmq_msg_close"));
  EXPECT_EQ(faults.calls().front().object, faults.calls().back().object);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(FrameTest, DestructorTriesASecondTimeToCloseAndLogsAFailure) {
  faults.fail("zmq_msg_close", EDOM, 1);
  faults.fail("zmq_msg_close", EXDEV, 2);
  {
    Frame frame;
    EXPECT_FAILURE(std::runtime_error,
                   "Failed to close ZeroMQ messagepart : " + domain + zeromq(0x10c0021),
                   frame.close());
    EXPECT_EQ(Log{}, log.lines());
  }
  EXPECT_EQ((Calls{"zmq_msg_init", "zmq_msg_close", "zmq_msg_close"}), faults.texts());
  EXPECT_EQ(faults.calls()[1].object, faults.calls()[2].object);
  EXPECT_EQ((Log{errorLine(notClosed + "Invalid cross-device link")}), log.lines());
}

}  // namespace
