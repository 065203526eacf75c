#include <support/counted_handle.hpp>
#include <support/failure.hpp>
#include <support/parts.hpp>
#include <tavrik/message.hpp>

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;
using namespace support;
using tavrik::Message;
using tavrik::MsgHandle;

const std::string member = "Error : Tavrik::Message::";

TEST(MessageTest, StartsWithoutPartsAndHandle) {
  const Message message;
  EXPECT_EQ(Parts{}, partsOf(message));
  EXPECT_EQ(nullptr, message.getHandle());
  EXPECT_TRUE(message.isMsgFreeAllowed());
  EXPECT_EQ(0U, Message().getRefCount());
}

TEST(MessageTest, StartsWithTheGivenNumberOfEmptyParts) {
  EXPECT_EQ(Parts{}, partsOf(Message(0)));
  const Message message(3);
  EXPECT_EQ((Parts{"", "", ""}), partsOf(message));
  EXPECT_EQ(nullptr, message.getHandle());
  EXPECT_TRUE(message.isMsgFreeAllowed());
  EXPECT_EQ(0U, Message(3).getRefCount());
}

TEST(MessageTest, KeepsZeroBytesInEveryOperation) {
  const std::string binary = "a\0b\0"s;
  Message message(2);
  message.setPart(0, binary);
  message[1] = binary;
  message.insertPart(1, binary);
  EXPECT_EQ((Parts{binary, binary, binary}), partsOf(message));

  EXPECT_EQ((Parts{binary, binary, binary}), partsOf(Message(message)));
  Message assigned;
  assigned = message;
  EXPECT_EQ((Parts{binary, binary, binary}), partsOf(assigned));
  message.removePart(0);
  EXPECT_EQ((Parts{binary, binary}), partsOf(message));
}

TEST(MessageTest, InsertPartPutsThePartBeforeTheIndex) {
  Message message = messageOf({"a", "c"});
  EXPECT_EQ(0, message.insertPart(1, "b"));
  EXPECT_EQ(0, message.insertPart(0, "0"));
  EXPECT_EQ((Parts{"0", "a", "b", "c"}), partsOf(message));
}

TEST(MessageTest, InsertPartAtCountAppends) {
  Message message;
  EXPECT_EQ(0, message.insertPart(0, "a"));
  EXPECT_EQ(0, message.insertPart(1, "b"));
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
}

TEST(MessageTest, RemovePartMovesLaterPartsDown) {
  Message message = messageOf({"a", "b", "c"});
  EXPECT_EQ(0, message.removePart(1));
  EXPECT_EQ((Parts{"a", "c"}), partsOf(message));
}

// A member that takes an index.
struct Indexed {
  std::string name;
  std::string text;
  unsigned int beyondCount;  // the distance from the part count to the first invalid index
  std::function<void(Message&, unsigned int)> call;
};

TEST(MessageTest, EveryMemberRefusesAnIndexBeyondItsRange) {
  const LogCapture log;
  const std::string invalidNumber = "Invalid part numbertavrik:-5";
  const std::string outOfBounds = "Message part index out of boundstavrik:-5";
  const std::vector<Indexed> members = {
      {"insertPart", invalidNumber, 1, [](Message& m, unsigned int i) { m.insertPart(i, "x"); }},
      {"removePart", invalidNumber, 0, [](Message& m, unsigned int i) { m.removePart(i); }},
      {"getPart", outOfBounds, 0, [](Message& m, unsigned int i) { m.getPart(i); }},
      {"operator []", outOfBounds, 0, [](Message& m, unsigned int i) { m[i] = "x"; }},
      {"setPart", outOfBounds, 0, [](Message& m, unsigned int i) { m.setPart(i, "x"); }},
  };
  for (const Indexed& row : members) {
    for (const Parts& parts : {Parts{}, Parts{"a"}}) {
      const unsigned int first = static_cast<unsigned int>(parts.size()) + row.beyondCount;
      for (const unsigned int index : {first, 0xffffffffU}) {
        Message message = messageOf(parts);
        EXPECT_LOGGED_FAILURE(std::logic_error, row.text, {member + row.name + "() : "},
                              row.call(message, index));
        EXPECT_EQ(parts, partsOf(message));
      }
    }
  }
}

TEST(MessageTest, SetNumPartsRemovesFromTheEndAndAddsEmptyParts) {
  Message message = messageOf({"a", "b", "c", "d", "e"});
  EXPECT_EQ(0, message.setnumParts(2));
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  EXPECT_EQ(0, message.setnumParts(5));
  EXPECT_EQ((Parts{"a", "b", "", "", ""}), partsOf(message));
}

TEST(MessageTest, CopyHasPartsAndHandleAndStartsItsOwnBookkeeping) {
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
  copy[0] = "changed";
  EXPECT_EQ("a", message.getPart(0));
}

TEST(MessageTest, AssignmentTakesPartsAndHandleAndKeepsBookkeeping) {
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
  target = messageOf({"a", "b", "c"});
  EXPECT_EQ((Parts{"a", "b", "c"}), partsOf(target));
  EXPECT_EQ("none", identityOf(target));
}

TEST(MessageTest, AssignmentToItselfKeepsPartsAndDropsHandle) {
  Message message = messageOf({"a", "b"});
  const auto handle = handleOf("client");
  message.setHandle(&handle);
  const Message& itself = message;
  message = itself;
  EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  EXPECT_EQ(nullptr, message.getHandle());
}

TEST(MessageTest, OwnsOneCloneOfItsHandleAndReturnsFurtherClones) {
  int alive = 0;
  {
    Message message;
    {
      const CountedHandle handle(alive);
      message.setHandle(&handle);
      message.setHandle(&handle);
      EXPECT_EQ(2, alive) << "this one, and the message's";
    }
    const MsgHandle* const one = message.getHandle();
    const MsgHandle* const two = message.getHandle();
    EXPECT_NE(one, two);
    EXPECT_EQ(3, alive);
    tavrik::freeMsgHandle(one);
    tavrik::freeMsgHandle(two);
    EXPECT_EQ(1, alive);
  }
  EXPECT_EQ(0, alive);
}

TEST(MessageTest, DestroysItsHandleWhenNullOrAMessageWithoutHandleIsAssigned) {
  int alive = 0;
  const CountedHandle handle(alive);
  Message message;
  message.setHandle(&handle);
  message.setHandle(nullptr);
  EXPECT_EQ(1, alive);
  EXPECT_EQ(nullptr, message.getHandle());
  message.setHandle(&handle);
  message = Message(1);
  EXPECT_EQ(1, alive);
  EXPECT_EQ(nullptr, message.getHandle());
}

// A handle that reveals where the latest clone is, so that a test can pass the message its own.
class StoredHandle : public MsgHandle {
 public:
  explicit StoredHandle(const MsgHandle*& latest) : made(latest) { made = this; }
  MsgHandle* clone() const override { return new StoredHandle(made); }

 private:
  const MsgHandle*& made;
};

TEST(MessageTest, SetHandleToTheStoredHandleItselfChangesNothing) {
  const MsgHandle* latest = nullptr;
  Message message;
  message.setHandle(std::make_unique<StoredHandle>(latest).get());
  const MsgHandle* const stored = latest;
  message.setHandle(stored);
  EXPECT_EQ(stored, latest) << "the handle was cloned again";
  const MsgHandle* const copy = message.getHandle();
  EXPECT_NE(nullptr, copy);
  tavrik::freeMsgHandle(copy);
}

TEST(MessageTest, AnyNonZeroValueSetsTheDeferFreeFlag) {
  Message message;
  for (const int value : {-7, 1}) {
    message.deferMsgFree(value);
    EXPECT_FALSE(message.isMsgFreeAllowed());
  }
  message.deferMsgFree(0);
  EXPECT_TRUE(message.isMsgFreeAllowed());
}

TEST(MessageTest, ReferenceCountWrapsBelowZero) {
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

// A handle that can be cloned a given number of times.
class ScarceHandle : public MsgHandle {
 public:
  explicit ScarceHandle(int clones) : left(clones) {}
  MsgHandle* clone() const override {
    if (left == 0) throw std::runtime_error("no more");
    return new ScarceHandle(left - 1);
  }

 private:
  int left;
};

TEST(MessageTest, AssignmentTakesPartsAndDropsItsHandleBeforeItClones) {
  const LogCapture log;
  Message source = messageOf({"new"});
  const ScarceHandle handle(1);
  source.setHandle(&handle);
  Message target = messageOf({"old", "old"});
  int alive = 0;
  target.setHandle(std::make_unique<CountedHandle>(alive).get());
  EXPECT_LOGGED_FAILURE(std::runtime_error, "no more", {member + "Opearator=() : "},
                        target = source);
  EXPECT_EQ((Parts{"new"}), partsOf(target));
  EXPECT_EQ(0, alive);
  EXPECT_EQ(nullptr, target.getHandle());
}

class MessageOutOfMemoryTest : public testing::Test {
 protected:
  const std::string longText = std::string(100, 'x');  // not stored in the string object itself
  const LogCapture log;
  const Message source = messageOf({longText, longText});
  const tavrik::AsyncRouterDealerMsgHandle handle = handleOf("client");
};

TEST_F(MessageOutOfMemoryTest, ConstructorsLogUnderTheClassName) {
  EXPECT_OUT_OF_MEMORY(1, {member + "Message() : "}, Message(3));
  for (const int nth : {1, 2, 3}) {  // the list, the first part, the second part
    EXPECT_OUT_OF_MEMORY(nth, {member + "Message() : "}, const Message copy(source));
  }
}

TEST_F(MessageOutOfMemoryTest, CopyLogsAFailedCloneOfTheHandleToo) {
  Message message;
  message.setHandle(&handle);
  EXPECT_OUT_OF_MEMORY(
      1,
      (Prefixes{"Error : Tavrik::AsyncRouterDealerMsgHandle::clone() : ", member + "Message() : "}),
      const Message copy(message));
}

TEST_F(MessageOutOfMemoryTest, AssignmentKeepsThePartsAssignedSoFar) {
  Message target = messageOf({"old", "old"});
  EXPECT_OUT_OF_MEMORY(2, {member + "Opearator=() : "}, target = source);
  EXPECT_EQ((Parts{longText, "old"}), partsOf(target));
}

TEST_F(MessageOutOfMemoryTest, GrowthAndInsertionChangeNothing) {
  Message message = messageOf({"a"});
  EXPECT_OUT_OF_MEMORY(1, {member + "setnumParts() : "}, message.setnumParts(100));
  EXPECT_OUT_OF_MEMORY(1, {member + "insertPart() : "}, message.insertPart(0, "b"));
  EXPECT_EQ((Parts{"a"}), partsOf(message));
}

TEST_F(MessageOutOfMemoryTest, GetPartIsLogged) {
  EXPECT_OUT_OF_MEMORY(1, {member + "getPart() : "}, source.getPart(0));
}

TEST_F(MessageOutOfMemoryTest, SetHandleLeavesNoHandle) {
  Message message;
  message.setHandle(&handle);
  EXPECT_OUT_OF_MEMORY(1, {"Error : Tavrik::AsyncRouterDealerMsgHandle::clone() : "},
                       message.setHandle(&handle));
  EXPECT_EQ(nullptr, message.getHandle());
}

}  // namespace
