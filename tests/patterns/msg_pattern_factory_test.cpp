#include <support/failure.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>
#include <tavrik/msg_pattern_factory.hpp>
#include <tavrik/publish_subscribe_msg_pattern.hpp>
#include <tavrik/request_reply_msg_pattern.hpp>

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <typeinfo>

namespace {

using tavrik::MsgPattern;
using tavrik::MsgPatternFactory;

std::unique_ptr<MsgPattern> make(const std::string& name, int pattern, int role) {
  return std::unique_ptr<MsgPattern>(MsgPatternFactory::getInstance()->createMsgPattern(
      name, static_cast<pattern_t>(pattern), static_cast<role_t>(role)));
}

TEST(MsgPatternFactoryTest, IsOnePerProcess) {
  EXPECT_NE(nullptr, MsgPatternFactory::getInstance());
  EXPECT_EQ(MsgPatternFactory::getInstance(), MsgPatternFactory::getInstance());
}

TEST(MsgPatternFactoryTest, MakesThePatternOfTheNumberInBothRoles) {
  const std::type_info* const types[] = {&typeid(tavrik::RequestReplyMsgPattern),
                                         &typeid(tavrik::PublishSubscribeMsgPattern),
                                         &typeid(tavrik::AsyncRouterDealerMsgPattern)};
  for (const int role : {0, 1, 2, 3, 4, 5}) {
    const auto pattern = make("x", role / 2, role);
    const tavrik::MsgPattern& made = *pattern;
    EXPECT_STREQ(types[role / 2]->name(), typeid(made).name());
  }
}

TEST(MsgPatternFactoryTest, RefusesAnyOtherNumberBeforeTheName) {
  const support::LogCapture log;
  for (const int pattern : {3, 4, 255, -1}) {
    for (const char* const name : {"x", ""}) {
      EXPECT_LOGGED_FAILURE(std::logic_error, "Invalid Message Patterntavrik:-10",
                            {"Error : Tavrik::MsgPatternFactory::createMsgPattern() : "},
                            make(name, pattern, REQ_CLIENT));
    }
  }
}

}  // namespace
