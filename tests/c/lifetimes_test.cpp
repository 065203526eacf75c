// Which C function destroys a message or a handle, tested with handles that count themselves.
#include <support/counted_handle.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>

#include <gtest/gtest.h>

namespace {

using support::CountedHandle;

class Lifetimes : public testing::Test {
 protected:
  Lifetimes() {
    const CountedHandle handle(alive);
    tavrik_setHandle(message, &handle);
  }

  int alive = 0;
  tavrik_message_t* message = tavrik_createMessage(0);
};

TEST_F(Lifetimes, AMessageIsDestroyedWithItsLastReference) {
  EXPECT_EQ(1, alive);
  EXPECT_EQ(0, tavrik_deferMsgFree(message, -5)) << "any value but 0 takes a reference";
  tavrik_deleteMessage(message);
  EXPECT_EQ(1, alive);
  EXPECT_EQ(0, tavrik_deferMsgFree(message, 0)) << "0 drops no reference";
  EXPECT_EQ(1, alive);
  tavrik_deleteMessage(message);
  EXPECT_EQ(0, alive);
}

TEST_F(Lifetimes, DeferringDoesNotSetTheFlagOfTheMessageAnd0ClearsIt) {
  tavrik_deferMsgFree(message, 1);
  EXPECT_TRUE(message->isMsgFreeAllowed());
  message->deferMsgFree(1);
  EXPECT_EQ(0, tavrik_deferMsgFree(message, 0));
  EXPECT_TRUE(message->isMsgFreeAllowed());
  tavrik_deleteMessage(message);
  tavrik_deleteMessage(message);
}

TEST_F(Lifetimes, ACopyStartsWithoutAReference) {
  tavrik_message_t* const copy = tavrik_copyMessage(message, 0);
  EXPECT_EQ(2, alive);
  tavrik_deleteMessage(copy);
  EXPECT_EQ(2, alive) << "the count wraps below zero";
  tavrik_deferMsgFree(copy, 1);
  tavrik_deferMsgFree(copy, 1);
  tavrik_deleteMessage(copy);
  EXPECT_EQ(1, alive);
  tavrik_deleteMessage(message);
  EXPECT_EQ(0, alive);
}

TEST_F(Lifetimes, TheCallerOwnsAHandleThatItReads) {
  const tavrik_msghandle_t* const first = tavrik_getHandle(message);
  const tavrik_msghandle_t* const second = tavrik_getHandle(message);
  EXPECT_NE(first, second);
  EXPECT_EQ(3, alive);
  tavrik_freeMsgHandle(first);
  EXPECT_EQ(2, alive);
  tavrik_deleteMessage(message);
  EXPECT_EQ(1, alive);
  tavrik_freeMsgHandle(second);
  EXPECT_EQ(0, alive);
}

TEST_F(Lifetimes, SettingAHandleCopiesItAndDestroysTheOldOne) {
  tavrik_message_t* const reply = tavrik_createMessage(0);
  const tavrik_msghandle_t* const handle = tavrik_getHandle(message);
  EXPECT_EQ(0, tavrik_setHandle(reply, handle));
  EXPECT_EQ(0, tavrik_setHandle(reply, handle));
  EXPECT_EQ(3, alive);
  EXPECT_EQ(0, tavrik_setHandle(reply, nullptr));
  EXPECT_EQ(2, alive);
  tavrik_freeMsgHandle(handle);
  tavrik_deleteMessage(reply);
  tavrik_deleteMessage(message);
  EXPECT_EQ(0, alive);
}

}  // namespace
