#include <support/counted_handle.hpp>
#include <support/failing_allocator.hpp>
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <tavrik/message.hpp>

#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using namespace std::string_literals;
using support::CountedHandle;
using support::debugLine;
using support::Log;
using support::LogCapture;
using support::messageOf;
using support::Parts;
using support::partsOf;
using tavrik::AsyncRouterDealerMsgHandle;
using tavrik::Message;
using tavrik::MsgHandle;

const std::string outOfBounds = "Message part index out of boundstavrik:-5";
const std::string invalidNumber = "Invalid part numbertavrik:-5";

struct FreeHandle {
  void operator()(const MsgHandle* handle) const { tavrik::freeMsgHandle(handle); }
};
using OwnedHandle = std::unique_ptr<MsgHandle, FreeHandle>;

std::string identityOf(const Message& message) {
  const OwnedHandle handle(message.getHandle());
  return handle ? dynamic_cast<AsyncRouterDealerMsgHandle&>(*handle).getIdentity() : "none";
}

AsyncRouterDealerMsgHandle handleOf(const std::string& identity) {
  AsyncRouterDealerMsgHandle handle;
  handle.setIdentity(identity);
  return handle;
}

TEST(Message, starts_empty) {
  const Message message;
  EXPECT_EQ(0, message.getnumParts());
  EXPECT_EQ(nullptr, message.getHandle());
  EXPECT_TRUE(message.isMsgFreeAllowed());
  EXPECT_EQ(0U, Message().getRefCount());
}

TEST(Message, is_made_with_empty_parts) {
  const Message message(3);
  EXPECT_EQ((Parts{"", "", ""}), partsOf(message));
  EXPECT_EQ(nullptr, message.getHandle());
  EXPECT_TRUE(message.isMsgFreeAllowed());
  EXPECT_EQ(0U, Message(3).getRefCount());
}

TEST(Message, may_be_made_with_no_parts) {
  EXPECT_EQ(0, Message(0).getnumParts());
}

TEST(Message, keeps_zero_bytes_through_every_way_of_writing) {
  const std::string binary = "a\0b\0"s;
  Message message(2);
  message.setPart(0, binary);
  message[1] = binary;
  message.insertPart(1, binary);
  EXPECT_EQ((Parts{binary, binary, binary}), partsOf(message));

  const Message copy(message);
  EXPECT_EQ((Parts{binary, binary, binary}), partsOf(copy));
  Message assigned;
  assigned = message;
  EXPECT_EQ((Parts{binary, binary, binary}), partsOf(assigned));
  message.removePart(0);
  EXPECT_EQ((Parts{binary, binary}), partsOf(message));
}

TEST(Message, insert_puts_a_part_before_the_index) {
  Message message = messageOf({"a", "c"});
  EXPECT_EQ(0, message.insertPart(1, "b"));
  EXPECT_EQ(0, message.insertPart(0, "0"));
  EXPECT_EQ((Parts{"0", "a", "b", "c"}), partsOf(message));
}

TEST(Message, insert_at_the_count_appends) {
  Message message;
  EXPECT_EQ(0, message.insertPart(0, "a"));
  EXPECT_EQ(0, message.insertPart(1, "b"));
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
}

TEST(Message, insert_past_the_count_fails_and_changes_nothing) {
  LogCapture log;
  Message message = messageOf({"a"});
  EXPECT_FAILURE(std::logic_error, invalidNumber, message.insertPart(2, "b"));
  EXPECT_EQ((Parts{"a"}), partsOf(message));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::insertPart() : " + invalidNumber)}),
            log.lines());
}

TEST(Message, insert_refuses_the_largest_index) {
  LogCapture log;
  Message message;
  EXPECT_FAILURE(std::logic_error, invalidNumber, message.insertPart(0xffffffffU, "b"));
}

TEST(Message, remove_moves_later_parts_down) {
  Message message = messageOf({"a", "b", "c"});
  EXPECT_EQ(0, message.removePart(1));
  EXPECT_EQ((Parts{"a", "c"}), partsOf(message));
}

TEST(Message, remove_at_the_count_fails_and_changes_nothing) {
  LogCapture log;
  Message message = messageOf({"a"});
  EXPECT_FAILURE(std::logic_error, invalidNumber, message.removePart(1));
  EXPECT_EQ((Parts{"a"}), partsOf(message));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::removePart() : " + invalidNumber)}),
            log.lines());
}

TEST(Message, get_at_the_count_fails) {
  LogCapture log;
  const Message message = messageOf({"a"});
  EXPECT_FAILURE(std::logic_error, outOfBounds, message.getPart(1));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::getPart() : " + outOfBounds)}), log.lines());
}

TEST(Message, subscript_at_the_count_fails) {
  LogCapture log;
  Message message = messageOf({"a"});
  EXPECT_FAILURE(std::logic_error, outOfBounds, message[1]);
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::operator []() : " + outOfBounds)}),
            log.lines());
}

TEST(Message, set_at_the_count_fails_and_adds_nothing) {
  LogCapture log;
  Message message = messageOf({"a"});
  EXPECT_FAILURE(std::logic_error, outOfBounds, message.setPart(1, "b"));
  EXPECT_EQ((Parts{"a"}), partsOf(message));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::setPart() : " + outOfBounds)}), log.lines());
}

TEST(Message, without_parts_refuses_every_index_but_insertion_at_0) {
  LogCapture log;
  Message message(0);
  EXPECT_FAILURE(std::logic_error, invalidNumber, message.removePart(0));
  EXPECT_FAILURE(std::logic_error, outOfBounds, message.getPart(0));
  EXPECT_FAILURE(std::logic_error, outOfBounds, message[0]);
  EXPECT_FAILURE(std::logic_error, outOfBounds, message.setPart(0, "x"));
  EXPECT_EQ(0, message.insertPart(0, "x"));
  EXPECT_EQ((Parts{"x"}), partsOf(message));
}

TEST(Message, shrinks_from_the_end_and_grows_with_empty_parts) {
  Message message = messageOf({"a", "b", "c", "d", "e"});
  EXPECT_EQ(0, message.setnumParts(2));
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  EXPECT_EQ(0, message.setnumParts(5));
  EXPECT_EQ((Parts{"a", "b", "", "", ""}), partsOf(message));
}

TEST(Message, subscript_changes_the_part_itself) {
  Message message(1);
  message[0] = "changed";
  EXPECT_EQ("changed", message.getPart(0));
}

TEST(Message, a_part_read_is_a_copy) {
  Message message = messageOf({"a"});
  std::string part = message.getPart(0);
  part = "b";
  EXPECT_EQ("a", message.getPart(0));
}

TEST(Message, a_copy_has_parts_and_handle_but_fresh_bookkeeping) {
  Message message = messageOf({"a", "b"});
  const auto handle = handleOf("client");
  message.setHandle(&handle);
  message.deferMsgFree(1);
  message.incrRefCount();

  Message copy(message);
  EXPECT_EQ((Parts{"a", "b"}), partsOf(copy));
  EXPECT_EQ("client", identityOf(copy));
  EXPECT_TRUE(copy.isMsgFreeAllowed());
  EXPECT_EQ(0U, copy.getRefCount());
}

TEST(Message, a_copy_is_independent) {
  Message message = messageOf({"a"});
  Message copy(message);
  copy[0] = "b";
  EXPECT_EQ("a", message.getPart(0));
}

TEST(Message, assignment_takes_parts_and_handle_and_keeps_bookkeeping) {
  Message source = messageOf({"a", "b"});
  const auto handle = handleOf("client");
  source.setHandle(&handle);
  source.incrRefCount();

  Message target = messageOf({"1", "2", "3"});
  const auto old = handleOf("old");
  target.setHandle(&old);
  target.deferMsgFree(1);
  target.incrRefCount();
  target.incrRefCount();
  EXPECT_EQ(&target, &(target = source));

  EXPECT_EQ((Parts{"a", "b"}), partsOf(target));
  EXPECT_EQ("client", identityOf(target));
  EXPECT_FALSE(target.isMsgFreeAllowed());
  EXPECT_EQ(2U, target.getRefCount());
}

TEST(Message, assignment_grows_the_target) {
  Message target = messageOf({"1"});
  target = messageOf({"a", "b", "c"});
  EXPECT_EQ((Parts{"a", "b", "c"}), partsOf(target));
}

TEST(Message, assignment_from_a_message_without_handle_drops_the_handle) {
  int alive = 0;
  Message target;
  {
    const CountedHandle handle(alive);
    target.setHandle(&handle);
  }
  EXPECT_EQ(1, alive);
  target = Message(1);
  EXPECT_EQ(0, alive);
  EXPECT_EQ(nullptr, target.getHandle());
}

TEST(Message, assigned_to_itself_keeps_its_parts_and_loses_its_handle) {
  Message message = messageOf({"a", "b"});
  const auto handle = handleOf("client");
  message.setHandle(&handle);
  const Message& itself = message;
  message = itself;
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  EXPECT_EQ(nullptr, message.getHandle());
}

TEST(Message, stores_a_copy_of_the_handle) {
  Message message;
  auto handle = handleOf("first");
  message.setHandle(&handle);
  handle.setIdentity("second");
  EXPECT_EQ("first", identityOf(message));
}

TEST(Message, hands_out_a_new_copy_of_the_handle_each_time) {
  int alive = 0;
  Message message;
  {
    const CountedHandle handle(alive);
    message.setHandle(&handle);
  }
  const OwnedHandle one(message.getHandle());
  const OwnedHandle two(message.getHandle());
  EXPECT_NE(one, two);
  EXPECT_EQ(3, alive);
}

TEST(Message, replacing_the_handle_destroys_the_old_one) {
  int alive = 0;
  Message message;
  {
    const CountedHandle handle(alive);
    message.setHandle(&handle);
    message.setHandle(&handle);
  }
  EXPECT_EQ(1, alive);
  message.setHandle(nullptr);
  EXPECT_EQ(0, alive);
  EXPECT_EQ(nullptr, message.getHandle());
}

TEST(Message, destroys_its_handle_with_itself) {
  int alive = 0;
  {
    Message message;
    const CountedHandle handle(alive);
    message.setHandle(&handle);
  }
  EXPECT_EQ(0, alive);
}

// A handle that tells where the message keeps it, so that a test can pass that very pointer.
class StoredHandle : public MsgHandle {
 public:
  explicit StoredHandle(const MsgHandle*& latest) : made(latest) { made = this; }
  MsgHandle* clone() const override { return new StoredHandle(made); }

 private:
  const MsgHandle*& made;
};

TEST(Message, setting_the_stored_handle_itself_changes_nothing) {
  const MsgHandle* latest = nullptr;
  Message message;
  {
    const StoredHandle handle(latest);
    message.setHandle(&handle);
  }
  const MsgHandle* const stored = latest;
  message.setHandle(stored);
  EXPECT_EQ(stored, latest) << "the handle was cloned again";
  const OwnedHandle copy(message.getHandle());
  EXPECT_NE(nullptr, copy);
}

TEST(Message, defer_free_flag_is_set_by_any_non_zero_value) {
  Message message;
  message.deferMsgFree(-7);
  EXPECT_FALSE(message.isMsgFreeAllowed());
  message.deferMsgFree(1);
  EXPECT_FALSE(message.isMsgFreeAllowed());
  message.deferMsgFree(0);
  EXPECT_TRUE(message.isMsgFreeAllowed());
}

TEST(Message, reference_count_goes_up_and_down_and_wraps_below_zero) {
  Message message;
  message.incrRefCount();
  message.incrRefCount();
  EXPECT_EQ(2U, message.getRefCount());
  message.decrRefCount();
  EXPECT_EQ(1U, message.getRefCount());
  message.decrRefCount();
  message.decrRefCount();
  EXPECT_EQ(0xffffffffU, message.getRefCount());
}

// Longer than any string that fits without an allocation.
const std::string longText(100, 'x');

TEST(MessageWithoutMemory, a_failed_constructor_is_logged) {
  LogCapture log;
  EXPECT_FAILURE(std::bad_alloc, "std::bad_alloc", {
    const support::AllocationFailure failure(1);
    Message message(3);
  });
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::Message() : std::bad_alloc")}), log.lines());
}

TEST(MessageWithoutMemory, a_failed_copy_is_logged_and_leaks_nothing) {
  LogCapture log;
  const Message message = messageOf({longText, longText});
  for (const int failing : {1, 2, 3}) {  // the list, the first part, the second part
    SCOPED_TRACE(failing);
    log.clear();
    EXPECT_FAILURE(std::bad_alloc, "std::bad_alloc", {
      const support::AllocationFailure failure(failing);
      const Message copy(message);
    });
    EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::Message() : std::bad_alloc")}), log.lines());
  }
}

TEST(MessageWithoutMemory, a_failed_clone_in_a_copy_is_logged_by_both) {
  LogCapture log;
  Message message;
  const auto handle = handleOf("client");
  message.setHandle(&handle);
  EXPECT_FAILURE(std::bad_alloc, "std::bad_alloc", {
    const support::AllocationFailure failure(1);
    const Message copy(message);
  });
  EXPECT_EQ((Log{debugLine("Error : Tavrik::AsyncRouterDealerMsgHandle::clone() : std::bad_alloc"),
                 debugLine("Error : Tavrik::Message::Message() : std::bad_alloc")}),
            log.lines());
}

TEST(MessageWithoutMemory, a_failed_assignment_is_logged_under_its_misspelt_name) {
  LogCapture log;
  const Message source = messageOf({longText});
  Message target;
  EXPECT_FAILURE(std::bad_alloc, "std::bad_alloc", {
    const support::AllocationFailure failure(1);
    target = source;
  });
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::Opearator=() : std::bad_alloc")}),
            log.lines());
}

TEST(MessageWithoutMemory, a_failed_assignment_keeps_the_parts_assigned_so_far) {
  LogCapture log;
  const Message source = messageOf({longText, longText});
  Message target = messageOf({"old", "old"});
  {
    const support::AllocationFailure failure(2);
    EXPECT_THROW(target = source, std::bad_alloc);
  }
  EXPECT_EQ((Parts{longText, "old"}), partsOf(target));
}

// A handle that can be copied so many times.
class ScarceHandle : public MsgHandle {
 public:
  explicit ScarceHandle(int copies) : left(copies) {}
  MsgHandle* clone() const override {
    if (left == 0) throw std::runtime_error("no more");
    return new ScarceHandle(left - 1);
  }

 private:
  int left;
};

TEST(Message, assignment_takes_the_parts_before_the_handle_and_drops_its_own_first) {
  LogCapture log;
  Message source = messageOf({"new"});
  const ScarceHandle handle(1);
  source.setHandle(&handle);
  Message target = messageOf({"old", "old"});
  int alive = 0;
  {
    const CountedHandle own(alive);
    target.setHandle(&own);
  }
  EXPECT_FAILURE(std::runtime_error, "no more", target = source);
  EXPECT_EQ((Parts{"new"}), partsOf(target));
  EXPECT_EQ(0, alive);
  EXPECT_EQ(nullptr, target.getHandle());
}

TEST(MessageWithoutMemory, a_failed_growth_is_logged_and_changes_nothing) {
  LogCapture log;
  Message message = messageOf({"a"});
  EXPECT_FAILURE(std::bad_alloc, "std::bad_alloc", {
    const support::AllocationFailure failure(1);
    message.setnumParts(100);
  });
  EXPECT_EQ((Parts{"a"}), partsOf(message));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::setnumParts() : std::bad_alloc")}),
            log.lines());
}

TEST(MessageWithoutMemory, a_failed_insertion_is_logged_and_changes_nothing) {
  LogCapture log;
  Message message = messageOf({"a"});
  EXPECT_FAILURE(std::bad_alloc, "std::bad_alloc", {
    const support::AllocationFailure failure(1);
    message.insertPart(0, "b");
  });
  EXPECT_EQ((Parts{"a"}), partsOf(message));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::insertPart() : std::bad_alloc")}),
            log.lines());
}

TEST(MessageWithoutMemory, a_failed_read_is_logged) {
  LogCapture log;
  const Message message = messageOf({longText});
  EXPECT_FAILURE(std::bad_alloc, "std::bad_alloc", {
    const support::AllocationFailure failure(1);
    message.getPart(0);
  });
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::getPart() : std::bad_alloc")}), log.lines());
}

TEST(MessageWithoutMemory, a_handle_that_cannot_be_stored_leaves_none) {
  LogCapture log;
  Message message;
  const auto handle = handleOf("client");
  message.setHandle(&handle);
  EXPECT_FAILURE(std::bad_alloc, "std::bad_alloc", {
    const support::AllocationFailure failure(1);
    message.setHandle(&handle);
  });
  EXPECT_EQ(nullptr, message.getHandle());
}

}  // namespace
