#include <support/failing_allocator.hpp>
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <tavrik/message_handle.hpp>

#include <gtest/gtest.h>
#include <string>
#include <typeinfo>

namespace {

using namespace std::string_literals;
using support::debugLine;
using support::Log;
using support::LogCapture;
using tavrik::AsyncRouterDealerMsgHandle;
using tavrik::freeMsgHandle;
using tavrik::MsgHandle;

TEST(AsyncRouterDealerMsgHandle, starts_with_an_empty_identity) {
  EXPECT_EQ("", AsyncRouterDealerMsgHandle().getIdentity());
}

TEST(AsyncRouterDealerMsgHandle, keeps_a_copy_of_the_identity) {
  AsyncRouterDealerMsgHandle handle;
  std::string identity = "first";
  handle.setIdentity(identity);
  identity = "changed";
  EXPECT_EQ("first", handle.getIdentity());
  handle.setIdentity("second");
  EXPECT_EQ("second", handle.getIdentity());
}

TEST(AsyncRouterDealerMsgHandle, clones_into_the_same_kind_with_the_same_bytes) {
  const std::string identity = "\0client\0\xff"s;
  AsyncRouterDealerMsgHandle handle;
  handle.setIdentity(identity);
  const MsgHandle* const clone = handle.clone();
  handle.setIdentity("changed");
  ASSERT_STREQ(typeid(AsyncRouterDealerMsgHandle).name(), typeid(*clone).name());
  EXPECT_EQ(identity, dynamic_cast<const AsyncRouterDealerMsgHandle*>(clone)->getIdentity());
  freeMsgHandle(clone);
}

TEST(AsyncRouterDealerMsgHandle, logs_a_failed_clone_and_leaks_nothing) {
  LogCapture log;
  AsyncRouterDealerMsgHandle handle;
  handle.setIdentity(std::string(100, 'x'));
  for (const int failing : {1, 2}) {  // the object, its identity
    SCOPED_TRACE(failing);
    log.clear();
    EXPECT_FAILURE(std::bad_alloc, "std::bad_alloc", {
      const support::AllocationFailure failure(failing);
      freeMsgHandle(handle.clone());
    });
    EXPECT_EQ(
        (Log{debugLine("Error : Tavrik::AsyncRouterDealerMsgHandle::clone() : std::bad_alloc")}),
        log.lines());
  }
}

class NotingHandle : public MsgHandle {
 public:
  explicit NotingHandle(bool& flag) : destroyed(flag) {}
  ~NotingHandle() override { destroyed = true; }
  MsgHandle* clone() const override { return new NotingHandle(destroyed); }

 private:
  bool& destroyed;
};

TEST(FreeMsgHandle, destroys_through_the_virtual_destructor) {
  bool destroyed = false;
  freeMsgHandle(new NotingHandle(destroyed));
  EXPECT_TRUE(destroyed);
}

TEST(FreeMsgHandle, ignores_null) {
  freeMsgHandle(nullptr);
}

}  // namespace
