#include <support/counted_handle.hpp>
#include <support/failure.hpp>
#include <tavrik/message_handle.hpp>

#include <gtest/gtest.h>
#include <string>
#include <typeinfo>

namespace {

using namespace std::string_literals;
using support::handleOf;
using tavrik::AsyncRouterDealerMsgHandle;
using tavrik::freeMsgHandle;
using tavrik::MsgHandle;

TEST(AsyncRouterDealerMsgHandleTest, KeepsACopyOfTheIdentity) {
  AsyncRouterDealerMsgHandle handle;
  EXPECT_EQ("", handle.getIdentity());
  std::string identity = "first";
  handle.setIdentity(identity);
  identity = "changed";
  EXPECT_EQ("first", handle.getIdentity());
  handle.setIdentity("second");
  EXPECT_EQ("second", handle.getIdentity());
}

TEST(AsyncRouterDealerMsgHandleTest, CloneHasTheSameTypeAndBytes) {
  const std::string identity = "\0client\0\xff"s;
  auto handle = handleOf(identity);
  const MsgHandle* const clone = handle.clone();
  handle.setIdentity("changed");
  ASSERT_STREQ(typeid(AsyncRouterDealerMsgHandle).name(), typeid(*clone).name());
  EXPECT_EQ(identity, dynamic_cast<const AsyncRouterDealerMsgHandle*>(clone)->getIdentity());
  freeMsgHandle(clone);
}

TEST(AsyncRouterDealerMsgHandleTest, FailedCloneIsLogged) {
  const support::LogCapture log;
  const auto handle = handleOf(std::string(100, 'x'));
  for (const int nth : {1, 2}) {  // the object, its identity
    EXPECT_OUT_OF_MEMORY(nth, {"Error : Tavrik::AsyncRouterDealerMsgHandle::clone() : "},
                         freeMsgHandle(handle.clone()));
  }
}

TEST(FreeMsgHandleTest, DestroysTheDerivedHandleAndIgnoresNull) {
  int alive = 0;
  freeMsgHandle(new support::CountedHandle(alive));
  EXPECT_EQ(0, alive);
  freeMsgHandle(nullptr);
}

}  // namespace
