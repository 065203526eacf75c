#include <support/parts.hpp>
#include <support/pattern_test.hpp>
#include <support/plain_socket.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/request_reply_msg_pattern.hpp>

#include <zmq.h>

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

namespace {

using namespace support;
using tavrik::Message;
using tavrik::RequestReplyMsgPattern;

class RequestReplyMsgPatternTest : public PatternTest {
 protected:
  RequestReplyMsgPatternTest() : PatternTest("RequestReplyMsgPattern") {}
  ~RequestReplyMsgPatternTest() noexcept override {}  // the destructors of patterns may throw

  std::string endpoint = dir.ipcEndpoint();
  RequestReplyMsgPattern server{"pattern", REP_SERVER};
  RequestReplyMsgPattern client{"pattern", REQ_CLIENT};
};

TEST_F(RequestReplyMsgPatternTest, ClientSetsTheTypeOfServiceAndConnects) {
  client.setProperty(CHANNEL_TOS_PRIORITY, "16");
  client.setProperty(REQ_REP_SERVER_ENDPOINT, dir.ipcEndpoint());
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);  // the last one counts
  const TransportFaults watch;
  client.connectEndpoint();
  EXPECT_EQ(joined({making("3"), {"zmq_setsockopt 57 16", "zmq_connect " + endpoint}}),
            watch.texts());
}

TEST_F(RequestReplyMsgPatternTest, ServerSetsTheTypeOfServiceAndBinds) {
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  const TransportFaults watch;
  server.connectEndpoint();
  EXPECT_EQ(joined({making("4"), {"zmq_setsockopt 57 0", "zmq_bind " + endpoint}}), watch.texts());
}

TEST_F(RequestReplyMsgPatternTest, WithoutAnEndpointFailsToConnectAndIsConnectedAfterwards) {
  const std::string transport = "Error : Tavrik::MQWrapper::";
  EXPECT_LOGGED_FAILURE(
      std::runtime_error,
      "Failed to connect ZeroMQ Socket : Invalid argument : End Point : zeromq:17432598",
      {transport + "registerReceiver() : "}, client.connectEndpoint());
  EXPECT_LOGGED_FAILURE(
      std::runtime_error,
      "Failed to bind ZeroMQ Socket : Invalid argument : End Point : zeromq:17367062",
      {transport + "registerSender() : "}, server.connectEndpoint());
  EXPECT_EQ(-1, client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint));
  EXPECT_EQ(-1, server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint));
}

TEST_F(RequestReplyMsgPatternTest, WithoutASocketStaysUnconnected) {
  client.setProperty(REQ_REP_SERVER_ENDPOINT, dir.ipcEndpoint());
  {
    TransportFaults faults;
    faults.fail("zmq_socket", EMFILE);
    EXPECT_THROW(client.connectEndpoint(), std::runtime_error);
  }
  EXPECT_EQ(0, client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint));
}

TEST_F(RequestReplyMsgPatternTest, ARefusedTypeOfServiceLeavesItConnectedAndUnbound) {
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  TransportFaults faults;
  faults.fail("zmq_setsockopt 57", EINVAL);
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to set ZeroMQ Socket Option : Invalid argumentzeromq:17235990",
                 server.connectEndpoint());
  EXPECT_EQ("zmq_setsockopt 57 0", faults.texts().back());
  EXPECT_EQ(-1, server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint));
}

TEST_F(RequestReplyMsgPatternTest, FirstSendAndFirstReceiveConnect) {
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  Message message = messageOf({"ask", "1"});
  Message request;
  EXPECT_EQ(0, server.receive(&request, 0));
  EXPECT_EQ(2, client.send(&message));
  EXPECT_EQ(2, server.receive(&request, patience));
  EXPECT_EQ((Parts{"ask", "1"}), partsOf(request));
  Message reply = messageOf({"reply"});
  EXPECT_EQ(1, server.send(&reply));
  EXPECT_EQ(1, client.receive(&message, patience));
  EXPECT_EQ((Parts{"reply"}), partsOf(message));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(RequestReplyMsgPatternTest, FailuresOfTheTransportPropagateWithoutALineOfItsOwn) {
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  Message message = messageOf({"x"});
  const std::string state = "Operation cannot be accomplished in current statezeromq:";
  const std::string sendText = "Failed to send messagepart : " + state + std::to_string(0x10b8033);
  const std::string sendPrefix = "Error : Tavrik::MQWrapper::send() : ";
  EXPECT_LOGGED_FAILURE(std::runtime_error, sendText, {sendPrefix}, server.send(&message));
  EXPECT_LOGGED_FAILURE(std::runtime_error,
                        "Failed to get messagepart : " + state + std::to_string(0x10e8033),
                        {"Error : Tavrik::MQWrapper::receive() : "}, client.receive(&message, 0));
  message = messageOf({"x"});
  EXPECT_EQ(1, client.send(&message));
  EXPECT_LOGGED_FAILURE(std::runtime_error, sendText, {sendPrefix}, client.send(&message));
}

TEST_F(RequestReplyMsgPatternTest, ExchangesFramesWithPlainReqAndRepSockets) {
  PlainSocket plainServer(ZMQ_REP);
  plainServer.bind(endpoint);
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  Message message = messageOf({"ask", "", "1"});
  EXPECT_EQ(3, client.send(&message));
  EXPECT_EQ((Frames{"ask", "", "1"}), plainServer.receive());
  plainServer.send({"reply"});
  EXPECT_EQ(1, client.receive(&message, patience));

  const std::string other = dir.ipcEndpoint();
  server.setProperty(REQ_REP_SERVER_ENDPOINT, other);
  EXPECT_EQ(0, server.receive(&message, 0));
  PlainSocket plainClient(ZMQ_REQ);
  plainClient.connect(other);
  plainClient.send({"ask"});
  EXPECT_EQ(1, server.receive(&message, patience));
  message = messageOf({"reply", "2"});
  EXPECT_EQ(2, server.send(&message));
  EXPECT_EQ((Frames{"reply", "2"}), plainClient.receive());
}

}  // namespace
