#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>
#include <tavrik/msg_pattern_factory.hpp>
#include <tavrik/publish_subscribe_msg_pattern.hpp>
#include <tavrik/request_reply_msg_pattern.hpp>

#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

using support::debugLine;
using support::Log;
using support::LogCapture;
using tavrik::MsgPattern;
using tavrik::MsgPatternFactory;

const std::string prefix = "Error : Tavrik::MsgPatternFactory::createMsgPattern() : ";

std::unique_ptr<MsgPattern> make(const std::string& name, int pattern, int role) {
  return std::unique_ptr<MsgPattern>(MsgPatternFactory::getInstance()->createMsgPattern(
      name, static_cast<pattern_t>(pattern), static_cast<role_t>(role)));
}

TEST(MsgPatternFactory, is_one_per_process) {
  EXPECT_NE(nullptr, MsgPatternFactory::getInstance());
  EXPECT_EQ(MsgPatternFactory::getInstance(), MsgPatternFactory::getInstance());
}

TEST(MsgPatternFactory, makes_request_reply_patterns) {
  const auto client = make("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  EXPECT_NE(nullptr, dynamic_cast<tavrik::RequestReplyMsgPattern*>(client.get()));
  const auto server = make("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  EXPECT_NE(nullptr, dynamic_cast<tavrik::RequestReplyMsgPattern*>(server.get()));
}

TEST(MsgPatternFactory, makes_publish_subscribe_patterns) {
  const auto publisher = make("x", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER);
  EXPECT_NE(nullptr, dynamic_cast<tavrik::PublishSubscribeMsgPattern*>(publisher.get()));
  const auto subscriber = make("x", PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER);
  EXPECT_NE(nullptr, dynamic_cast<tavrik::PublishSubscribeMsgPattern*>(subscriber.get()));
}

TEST(MsgPatternFactory, makes_router_dealer_patterns) {
  const auto client = make("x", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT);
  EXPECT_NE(nullptr, dynamic_cast<tavrik::AsyncRouterDealerMsgPattern*>(client.get()));
  const auto worker = make("x", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER);
  EXPECT_NE(nullptr, dynamic_cast<tavrik::AsyncRouterDealerMsgPattern*>(worker.get()));
}

TEST(MsgPatternFactory, refuses_any_other_pattern) {
  LogCapture log;
  for (const int pattern : {3, 4, 255, -1}) {
    SCOPED_TRACE(pattern);
    log.clear();
    EXPECT_FAILURE(std::logic_error, "Invalid Message Patterntavrik:-10",
                   make("x", pattern, REQ_CLIENT));
    EXPECT_EQ((Log{debugLine(prefix + "Invalid Message Patterntavrik:-10")}), log.lines());
  }
}

TEST(MsgPatternFactory, refuses_the_pattern_before_the_name) {
  LogCapture log;
  EXPECT_FAILURE(std::logic_error, "Invalid Message Patterntavrik:-10", make("", 3, REQ_CLIENT));
}

TEST(MsgPatternFactory, logs_what_the_base_constructor_throws_after_the_base) {
  LogCapture log;
  const std::string text = "Invalid Channel name specifiedtavrik:-1";
  EXPECT_FAILURE(std::logic_error, text, make("", REQUEST_REPLY_PATTERN, PUBLISHER));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MsgPattern::MsgPattern() : " + text),
                 debugLine(prefix + text)}),
            log.lines());
}

TEST(MsgPatternFactory, logs_what_a_patterns_constructor_throws_after_the_pattern) {
  LogCapture log;
  const std::string text = "Invalid Role specifiedtavrik:-12";
  EXPECT_FAILURE(std::logic_error, text, make("x", REQUEST_REPLY_PATTERN, PUBLISHER));
  EXPECT_EQ(
      (Log{debugLine("Error : Tavrik::RequestReplyMsgPattern::RequestReplyMsgPattern() : " + text),
           debugLine(prefix + text)}),
      log.lines());
}

}  // namespace
