#include <support/parts.hpp>
#include <support/pattern_test.hpp>
#include <support/plain_socket.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/request_reply_msg_pattern.hpp>

#include <zmq.h>

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using support::afterMaking;
using support::Calls;
using support::debugLine;
using support::Frames;
using support::Log;
using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using support::PlainSocket;
using support::tosPrefix;
using support::TransportFaults;
using tavrik::Message;
using tavrik::RequestReplyMsgPattern;

// Every property that belongs to other patterns, and two that exist nowhere.
const std::vector<unsigned> foreignProperties = {1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, ~0U};

class RequestReplyPattern : public support::PatternTest {
 protected:
  RequestReplyPattern() : PatternTest("RequestReplyMsgPattern", -14) {}
  ~RequestReplyPattern() noexcept override {}  // the patterns' own may throw

  std::string endpoint = dir.ipcEndpoint();
  RequestReplyMsgPattern server{"pattern", REP_SERVER};
  RequestReplyMsgPattern client{"pattern", REQ_CLIENT};
};

TEST_F(RequestReplyPattern, refuses_every_other_role) {
  for (const int role : {2, 3, 4, 5, 6, -1}) {
    SCOPED_TRACE(role);
    expectRefusal("Invalid Role specifiedtavrik:-12", classPrefix + "RequestReplyMsgPattern() : ",
                  [&] { RequestReplyMsgPattern("x", static_cast<role_t>(role)); });
  }
}

TEST_F(RequestReplyPattern, checks_the_name_before_the_role_and_logs_it_in_the_base_only) {
  expectRefusal(
      "Invalid Channel name specifiedtavrik:-1",
      "Error : Tavrik::MsgPattern::MsgPattern() : ", [] { RequestReplyMsgPattern("", PUBLISHER); });
}

TEST_F(RequestReplyPattern, client_connects_a_req_socket_after_its_type_of_service) {
  client.setProperty(CHANNEL_TOS_PRIORITY, "16");
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  const TransportFaults watch;
  client.connectEndpoint();
  EXPECT_EQ(afterMaking({"3"}, {"zmq_setsockopt 57 16", "zmq_connect " + endpoint}), watch.texts());
}

TEST_F(RequestReplyPattern, server_binds_a_rep_socket_after_its_type_of_service) {
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  const TransportFaults watch;
  server.connectEndpoint();
  EXPECT_EQ(afterMaking({"4"}, {"zmq_setsockopt 57 0", "zmq_bind " + endpoint}), watch.texts());
}

TEST_F(RequestReplyPattern, connects_only_once) {
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  server.connectEndpoint();
  const TransportFaults watch;
  server.connectEndpoint();
  EXPECT_EQ(Calls{}, watch.texts());
}

TEST_F(RequestReplyPattern, keeps_the_last_endpoint_set_before_the_first_use) {
  EXPECT_EQ(0, server.setProperty(REQ_REP_SERVER_ENDPOINT, dir.ipcEndpoint()));
  EXPECT_EQ(0, server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint));
  EXPECT_EQ(endpoint, server.getProperty(REQ_REP_SERVER_ENDPOINT));
  const TransportFaults watch;
  server.connectEndpoint();
  EXPECT_EQ("zmq_bind " + endpoint, watch.texts().back());
}

TEST_F(RequestReplyPattern, reads_the_empty_text_when_no_endpoint_is_set_and_stores_it) {
  class Open : public RequestReplyMsgPattern {
   public:
    Open() : RequestReplyMsgPattern("x", REQ_CLIENT) {}
    using MsgPattern::properties;
  } pattern;
  EXPECT_EQ("", pattern.getProperty(REQ_REP_SERVER_ENDPOINT));
  EXPECT_EQ(1U, pattern.properties.count(REQ_REP_SERVER_ENDPOINT));
  EXPECT_EQ("", server.getProperty(REQ_REP_SERVER_ENDPOINT));
}

TEST_F(RequestReplyPattern, takes_any_endpoint_without_an_asterisk) {
  EXPECT_EQ(0, client.setProperty(REQ_REP_SERVER_ENDPOINT, ""));
  EXPECT_EQ(0, client.setProperty(REQ_REP_SERVER_ENDPOINT, "nonsense"));
  EXPECT_EQ("nonsense", client.getProperty(REQ_REP_SERVER_ENDPOINT));
}

TEST_F(RequestReplyPattern, refuses_an_endpoint_with_an_asterisk_and_keeps_the_old_one) {
  for (RequestReplyMsgPattern* const pattern : {&server, &client}) {
    pattern->setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
    expectSetRefused(*pattern, REQ_REP_SERVER_ENDPOINT, "tcp://*:5555",
                     "Invalid Endpoint : tcp://*:5555tavrik:-13");
    EXPECT_EQ(endpoint, pattern->getProperty(REQ_REP_SERVER_ENDPOINT));
  }
}

TEST_F(RequestReplyPattern, refuses_to_set_other_properties_naming_the_value) {
  expectNotSettable(client, foreignProperties);
}

TEST_F(RequestReplyPattern, refuses_to_read_other_properties) {
  expectNotReadable(client, foreignProperties);
}

TEST_F(RequestReplyPattern, stores_the_type_of_service) {
  EXPECT_EQ("0", client.getProperty(CHANNEL_TOS_PRIORITY));
  EXPECT_EQ(0, client.setProperty(CHANNEL_TOS_PRIORITY, "255"));
  EXPECT_EQ("255", client.getProperty(CHANNEL_TOS_PRIORITY));
}

TEST_F(RequestReplyPattern, a_bad_type_of_service_is_logged_by_base_and_pattern) {
  const std::string text = "Invalid value for prop CHANNEL_TOS_PRIORITY: 256tavrik:-9";
  EXPECT_FAILURE(std::logic_error, text, client.setProperty(CHANNEL_TOS_PRIORITY, "256"));
  EXPECT_EQ((Log{debugLine(tosPrefix + text), debugLine(setPrefix + text)}), log.lines());
}

TEST_F(RequestReplyPattern, connected_refuses_everything_silently_but_the_type_of_service) {
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  client.connectEndpoint();
  EXPECT_EQ(-1, client.setProperty(REQ_REP_SERVER_ENDPOINT, dir.ipcEndpoint()));
  EXPECT_EQ(-1, client.setProperty(REQ_REP_SERVER_ENDPOINT, "tcp://*:5555"));
  for (const unsigned property : foreignProperties) {
    EXPECT_EQ(-1, client.setProperty(static_cast<channel_prop_t>(property), "x")) << property;
  }
  EXPECT_EQ(Log{}, log.lines());
  EXPECT_EQ(endpoint, client.getProperty(REQ_REP_SERVER_ENDPOINT));

  const std::string text = "channel is already connected16tavrik:-11";
  EXPECT_FAILURE(std::logic_error, text, client.setProperty(CHANNEL_TOS_PRIORITY, "16"));
  EXPECT_EQ((Log{debugLine(tosPrefix + text), debugLine(setPrefix + text)}), log.lines());
}

TEST_F(RequestReplyPattern, without_an_endpoint_fails_to_connect_and_counts_as_connected) {
  const std::string connectText =
      "Failed to connect ZeroMQ Socket : Invalid argument : End Point : zeromq:17432598";
  EXPECT_EQ(17432598, 0x10a0000 | EINVAL);
  EXPECT_FAILURE(std::runtime_error, connectText, client.connectEndpoint());
  const std::string bindText =
      "Failed to bind ZeroMQ Socket : Invalid argument : End Point : zeromq:17367062";
  EXPECT_EQ(17367062, 0x1090000 | EINVAL);
  EXPECT_FAILURE(std::runtime_error, bindText, server.connectEndpoint());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerReceiver() : " + connectText),
                 debugLine("Error : Tavrik::MQWrapper::registerSender() : " + bindText)}),
            log.lines())
      << "the pattern adds no line of its own";
  EXPECT_EQ(-1, client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint));
  EXPECT_EQ(-1, server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint));
}

TEST_F(RequestReplyPattern, without_a_socket_stays_unconnected) {
  client.setProperty(REQ_REP_SERVER_ENDPOINT, dir.ipcEndpoint());
  {
    TransportFaults faults;
    faults.fail("zmq_socket", EMFILE);
    EXPECT_THROW(client.connectEndpoint(), std::runtime_error);
  }
  EXPECT_EQ(0, client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint));
}

TEST_F(RequestReplyPattern, a_refused_type_of_service_leaves_it_connected_and_unbound) {
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  TransportFaults faults;
  faults.fail("zmq_setsockopt 57", EINVAL);
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to set ZeroMQ Socket Option : Invalid argumentzeromq:17235990",
                 server.connectEndpoint());
  EXPECT_EQ("zmq_setsockopt 57 0", faults.texts().back());
  EXPECT_EQ(-1, server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint));
}

TEST_F(RequestReplyPattern, first_send_and_first_receive_connect) {
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  Message message = messageOf({"ask", "1"});
  Message request;
  EXPECT_EQ(0, server.receive(&request, 0));
  EXPECT_EQ(2, client.send(&message));
  EXPECT_EQ(2, server.receive(&request, patience));
  EXPECT_EQ((Parts{"ask", "1"}), partsOf(request));
  Message reply = messageOf({"answer"});
  EXPECT_EQ(1, server.send(&reply));
  EXPECT_EQ(1, client.receive(&message, patience));
  EXPECT_EQ((Parts{"answer"}), partsOf(message));
  EXPECT_EQ(Log{}, log.lines()) << "success logs nothing";
}

TEST_F(RequestReplyPattern, breaking_the_turns_is_the_transports_error) {
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  Message message = messageOf({"x"});
  const std::string sendText =
      "Failed to send messagepart : Operation cannot be accomplished in current statezeromq:" +
      std::to_string(0x10b8033);
  EXPECT_FAILURE(std::runtime_error, sendText, server.send(&message));
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to get messagepart : Operation cannot be accomplished in current "
                 "statezeromq:" +
                     std::to_string(0x10e8033),
                 client.receive(&message, 0));
  message = messageOf({"x"});
  EXPECT_EQ(1, client.send(&message));
  EXPECT_FAILURE(std::runtime_error, sendText, client.send(&message));
}

TEST_F(RequestReplyPattern, hands_bad_arguments_to_the_transport) {
  server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  Message message;
  EXPECT_EQ(-1, server.send(nullptr));
  EXPECT_EQ(-1, server.receive(nullptr, 0));
  EXPECT_EQ(-1, server.receive(&message, -2));
}

TEST_F(RequestReplyPattern, speaks_req_and_rep_to_plain_peers) {
  PlainSocket plainServer(ZMQ_REP);
  plainServer.bind(endpoint);
  client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  Message message = messageOf({"ask", "", "1"});
  client.send(&message);
  EXPECT_EQ((Frames{"ask", "", "1"}), plainServer.receive());
  plainServer.send({"answer"});
  EXPECT_EQ(1, client.receive(&message, patience));

  const std::string other = dir.ipcEndpoint();
  server.setProperty(REQ_REP_SERVER_ENDPOINT, other);
  EXPECT_EQ(0, server.receive(&message, 0));
  PlainSocket plainClient(ZMQ_REQ);
  plainClient.connect(other);
  plainClient.send({"ask"});
  EXPECT_EQ(1, server.receive(&message, patience));
  message = messageOf({"answer", "2"});
  server.send(&message);
  EXPECT_EQ((Frames{"answer", "2"}), plainClient.receive());
}

}  // namespace
