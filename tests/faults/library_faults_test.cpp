// Failures that no input causes: functions of the library that throw or return null. This program
// defines those functions itself, and the library's calls reach these definitions.
#include <support/failure.hpp>
#include <support/next_function.hpp>
#include <support/parts.hpp>
#include <support/temp_dir.hpp>
#include <support/test_peer.hpp>
#include <tavrik/tavrik.hpp>

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace support;

// What some of the functions do instead of their work. Empty: their work.
std::function<tavrik::MQWrapper*()> getTransport;
std::function<int()> pollTransport;
std::function<tavrik::MsgPatternFactory*()> getFactory;
std::function<tavrik::MsgPattern*()> createPattern;
std::function<int()> pollPatterns;

// The function that fails, and how.
std::string broken;
std::function<void()> breaking;

void failIfBroken(const std::string& function) {
  if (function == broken) breaking();
}

}  // namespace

// Defines a member that fails if it is the broken one, and calls the library's otherwise.
#define BREAKABLE(result, type, member, parameters, qualifier, arguments) \
  result type::member parameters qualifier {                              \
    failIfBroken(#member);                                                \
    return next(&type::member) arguments;                                 \
  }

namespace tavrik {

MQWrapper* MQWrapper::getInstance() {
  return getTransport ? getTransport() : next(&MQWrapper::getInstance)();
}

int MQWrapper::poll(tavrik_pollitem_t* items, unsigned int count, long timeout) const {
  return pollTransport ? pollTransport() : next(&MQWrapper::poll)(this, items, count, timeout);
}

MsgPatternFactory* MsgPatternFactory::getInstance() {
  return getFactory ? getFactory() : next(&MsgPatternFactory::getInstance)();
}

MsgPattern* MsgPatternFactory::createMsgPattern(const std::string& name, pattern_t pattern,
                                                role_t role) const {
  failIfBroken("createMsgPattern");
  if (createPattern) return createPattern();
  return next(&MsgPatternFactory::createMsgPattern)(this, name, pattern, role);
}

int pattern_poll(tavrik_pollitem_t* items, unsigned int count, long timeout) {
  failIfBroken("pattern_poll");
  return pollPatterns ? pollPatterns() : next(&pattern_poll)(items, count, timeout);
}

TavrikStats* TavrikStats::getInstance() {
  failIfBroken("TavrikStats::getInstance");
  return next(&TavrikStats::getInstance)();
}

BREAKABLE(bool, TavrikStats, isBeingMonitored, (TavrikChannel * channel), , (this, channel))
BREAKABLE(void, TavrikStats, removeChannel, (TavrikChannel * channel), , (this, channel))
BREAKABLE(void, TavrikChannel, stopStatsMonitoring, (), , (this))
BREAKABLE(const std::string&, TavrikChannel, getName, (), const, (this))
BREAKABLE(Message&, Message, operator=, (const Message& other), , (this, other))
BREAKABLE(int, Message, getnumParts, (), const, (this))
BREAKABLE(int, Message, setnumParts, (unsigned int count), , (this, count))
BREAKABLE(std::string&, Message, operator[], (unsigned int index), , (this, index))
BREAKABLE(int, Message, insertPart, (unsigned int index, std::string data), , (this, index, data))
BREAKABLE(int, Message, removePart, (unsigned int index), , (this, index))
BREAKABLE(MsgHandle*, Message, getHandle, (), const, (this))
BREAKABLE(void, Message, setHandle, (const MsgHandle* set), , (this, set))
BREAKABLE(void, Message, deferMsgFree, (int defer), , (this, defer))
BREAKABLE(void, Message, incrRefCount, (), , (this))
BREAKABLE(void, Message, decrRefCount, (), , (this))

}  // namespace tavrik

namespace {

using tavrik::Message;
using tavrik::MsgPattern;
using tavrik::TavrikChannel;

const std::string channelPrefix = "Error : Tavrik::TavrikChannel::";
const std::string brokenText = "broken downtavrik:-77";

void breakDown() {
  throw std::runtime_error(brokenText);
}

class LibraryFailureTest : public testing::Test {
 protected:
  ~LibraryFailureTest() override {
    getTransport = nullptr;
    pollTransport = nullptr;
    getFactory = nullptr;
    createPattern = nullptr;
    pollPatterns = nullptr;
    broken.clear();
  }

  static uint32_t livingChannels(TavrikChannel& monitored) {
    tavrikStatistics stats = {};
    monitored.getTavrikStats(&stats);
    return stats.connections;
  }

  LogCapture log;
};

TEST_F(LibraryFailureTest, ConstructorsFailWithoutTransportFactoryOrPattern) {
  const std::string prefix = channelPrefix + "TavrikChannel() : ";
  getTransport = [] { return nullptr; };
  EXPECT_LOGGED_FAILURE(
      std::runtime_error, "Failed to instantiate MQWrapper Objecttavrik:-3",
      (Prefixes{"Error : Tavrik::MsgPattern::MsgPattern() : ",
                "Error : Tavrik::MsgPatternFactory::createMsgPattern() : ", prefix}),
      TavrikChannel("", REQUEST_REPLY_PATTERN, REQ_CLIENT));
  createPattern = [] { return nullptr; };
  EXPECT_LOGGED_FAILURE(std::runtime_error, "Failed to instantiate MsgPattern Objecttavrik:-3",
                        {prefix}, TavrikChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT));
  getFactory = [] { return nullptr; };
  EXPECT_LOGGED_FAILURE(std::runtime_error,
                        "Failed to instantiate MsgPatternFactory Objecttavrik:-3", {prefix},
                        TavrikChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT));
}

// A channel that connects when it is polled.
class PollFailureTest : public LibraryFailureTest {
 protected:
  PollFailureTest() { channel.setProperty(REQ_REP_SERVER_ENDPOINT, inprocEndpoint()); }

  TavrikChannel channel{"x", REQUEST_REPLY_PATTERN, REP_SERVER};
  tavrik_pollitem_t channelItem = {&channel, TAVRIK_POLLIN, 5};
  tavrik_pollitem_t patternItem = {TestPeer::patternOf(channel), TAVRIK_POLLIN, 0};
};

TEST_F(PollFailureTest, PatternPollFailsWithoutTheTransportAfterConnecting) {
  getTransport = [] { return nullptr; };
  EXPECT_LOGGED_FAILURE(std::runtime_error, "Failed to instantiate MQWrapper Objecttavrik:-3", {},
                        tavrik::pattern_poll(&patternItem, 1, 0));
  EXPECT_EQ(TestPeer::socketOf(channel), patternItem.socket);
}

TEST_F(PollFailureTest, ARefusalOfTheLayerBelowIsAFailure) {
  pollTransport = [] { return -1; };
  EXPECT_LOGGED_FAILURE(std::runtime_error, "Failed to poll on MsgPatterntavrik:-4", {},
                        tavrik::pattern_poll(&patternItem, 1, 0));
  pollPatterns = [] { return -1; };
  EXPECT_LOGGED_FAILURE(std::runtime_error, "Failed to poll on TavrikChanneltavrik:-4", {},
                        tavrik::channel_poll(&channelItem, 1, 0));
  EXPECT_EQ(5, channelItem.revents);
}

TEST_F(PollFailureTest, AChannelWithoutAPatternFailsBeforeAnyConnects) {
  TavrikChannel without("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  MsgPattern* const pattern = std::exchange(TestPeer::patternOf(without), nullptr);
  tavrik_pollitem_t items[] = {channelItem, {&without, TAVRIK_POLLIN, 0}};
  EXPECT_LOGGED_FAILURE(std::runtime_error, "MsgPattern object being passed is NULLtavrik:-1", {},
                        tavrik::channel_poll(items, 2, 0));
  EXPECT_EQ(nullptr, TestPeer::socketOf(channel));
  TestPeer::patternOf(without) = pattern;
}

// A pattern that sends and receives as a test tells it to.
class ScriptedPattern : public MsgPattern {
 public:
  ScriptedPattern() : MsgPattern("scripted", REQ_CLIENT) {}
  ~ScriptedPattern() noexcept(false) override { ++destroyed; }

  void connectEndpoint() override {}
  int setProperty(channel_prop_t, const std::string&) override {
    failIfBroken("pattern");
    return 0;
  }
  std::string getProperty(channel_prop_t) override {
    failIfBroken("pattern");
    return property;
  }
  int send(Message* msg) override {
    failIfBroken("pattern");
    return sending(*msg);
  }
  int receive(Message* msg, long) override {
    failIfBroken("pattern");
    return receiving(*msg);
  }

  std::function<int(Message&)> sending;
  std::function<int(Message&)> receiving;
  std::string property;
  static int destroyed;
};

int ScriptedPattern::destroyed = 0;

TavrikChannel channelOver(MsgPattern* pattern) {
  createPattern = [=] { return pattern; };
  return {"scripted", REQUEST_REPLY_PATTERN, REQ_CLIENT};
}

class ScriptedChannelTest : public LibraryFailureTest {
 protected:
  ScriptedPattern* pattern = new ScriptedPattern;  // the channel owns it
  TavrikChannel channel = channelOver(pattern);
  Message message = messageOf({"a", "b"});
  char subject[SUBJECT_BUFFER_SIZE] = "unchanged";
};

TEST_F(ScriptedChannelTest, SendDoesNotCountTheSubject) {
  for (const auto& [sent, result] : {std::pair{3, 2}, {1, 0}, {0, 0}, {-1, -1}, {-7, -7}}) {
    const int parts = sent;
    pattern->sending = [&](Message& msg) {
      EXPECT_EQ((Parts{"subject", "a", "b"}), partsOf(msg));
      return parts;
    };
    EXPECT_EQ(result, channel.send("subject", &message));
    EXPECT_EQ((Parts{"a", "b"}), partsOf(message));
  }
}

TEST_F(ScriptedChannelTest, SendRemovesNothingFromAMessageThatLostItsParts) {
  pattern->sending = [](Message& msg) { return msg.setnumParts(0); };
  EXPECT_EQ(0, channel.send("subject", &message));
  pattern->sending = [](Message& msg) -> int {
    msg.setnumParts(0);
    throw std::runtime_error("lost");
  };
  EXPECT_LOGGED_FAILURE(std::runtime_error, "lost", {}, channel.send("subject", &message));
  EXPECT_EQ(0, message.getnumParts());
}

TEST_F(ScriptedChannelTest, AFailedSendRemovesTheSubjectExceptAfterAnIndexError) {
  for (const std::string text : {"xtavrik:-6", "x", "xzeromq:17", "xtavrik:-50", "xtavrik:-5"}) {
    pattern->sending = [=](Message&) -> int { throw std::logic_error(text); };
    EXPECT_LOGGED_FAILURE(std::logic_error, text, {}, channel.send("subject", &message));
    const bool indexError = text == "xtavrik:-5";
    EXPECT_EQ(indexError ? (Parts{"subject", "a", "b"}) : (Parts{"a", "b"}), partsOf(message));
  }
}

TEST_F(ScriptedChannelTest, ExceptionsOfOtherTypesPropagateAndLeaveTheSubject) {
  pattern->sending = [](Message&) -> int { throw 42; };
  EXPECT_THROW(channel.send("subject", &message), int);
  EXPECT_EQ((Parts{"subject", "a", "b"}), partsOf(message));
}

TEST_F(ScriptedChannelTest, ReceiveReturnsThePatternsResultIfThereAreNoParts) {
  for (const int result : {0, -1, -7, 3}) {
    pattern->receiving = [=](Message& msg) {
      msg.setnumParts(0);
      return result;
    };
    EXPECT_EQ(result, channel.receive(subject, &message, 0));
  }
  EXPECT_STREQ("unchanged", subject);
}

TEST_F(ScriptedChannelTest, ReceiveBinaryFailsForANegativeResult) {
  pattern->receiving = [](Message& msg) {
    msg.setnumParts(0);
    return -7;
  };
  void* buffer = nullptr;
  unsigned int size = 77;
  EXPECT_LOGGED_FAILURE(std::runtime_error, "Failed to receive messagetavrik:-3",
                        {channelPrefix + "receiveBinary() : "},
                        channel.receiveBinary(subject, &buffer, &size, 0));
  EXPECT_EQ(nullptr, buffer);
  EXPECT_EQ(77U, size);
}

TEST_F(ScriptedChannelTest, APublisherOfPublishSubscribeCannotBePolled) {
  createPattern = [] { return new ScriptedPattern; };
  TavrikChannel publisher("scripted", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER);
  tavrik_pollitem_t items[] = {{&publisher, TAVRIK_POLLIN, 0x7fff}, {&channel, TAVRIK_POLLIN, 0}};
  for (int i = 0; i < 2; ++i) {
    EXPECT_LOGGED_FAILURE(std::runtime_error,
                          "channel_poll() Operation NOT permitted for PUBLISHERtavrik:-3", {},
                          tavrik::channel_poll(items, 2, 0));
    std::swap(items[0], items[1]);
  }
  EXPECT_EQ(0x7fff, items[0].revents);

  pollPatterns = [] { return 0; };
  for (const auto& [kind, role] :
       {std::pair{REQUEST_REPLY_PATTERN, PUBLISHER}, {PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER}}) {
    TavrikChannel other("scripted", kind, role);
    tavrik_pollitem_t item = {&other, TAVRIK_POLLIN, 0};
    EXPECT_EQ(0, tavrik::channel_poll(&item, 1, 0));
  }
}

TEST_F(ScriptedChannelTest, TheCInterfaceCutsALongProperty) {
  for (const std::size_t length : {255U, 300U}) {
    pattern->property = std::string(length, 'v');
    char value[PROPERTY_BUFFER_SIZE + 1];
    std::memset(value, '#', sizeof value);
    EXPECT_EQ(0, tavrik_getProperty(&channel, REQ_REP_SERVER_ENDPOINT, value));
    EXPECT_EQ(std::string(255, 'v'), value);
    EXPECT_EQ('#', value[PROPERTY_BUFFER_SIZE]);
  }
}

TEST_F(ScriptedChannelTest, AChannelThatCannotLeaveTheRegistryKeepsItsPattern) {
  const std::string destructor = channelPrefix + "~TavrikChannel() : ";
  channel.initializeStatsMonitoring();
  const uint32_t before = livingChannels(channel);
  for (const auto& [function, prefixes] :
       {std::pair{"isBeingMonitored", Prefixes{destructor}},
        {"stopStatsMonitoring", Prefixes{destructor}},
        {"removeChannel", Prefixes{channelPrefix + "stopStatsMonitoring() : ", destructor}}}) {
    SCOPED_TRACE(function);
    auto* const kept = new ScriptedPattern;
    createPattern = [=] { return kept; };
    auto* const doomed = new TavrikChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
    doomed->initializeStatsMonitoring();
    ScriptedPattern::destroyed = 0;
    log.clear();
    broken = function;
    breaking = breakDown;
    delete doomed;
    broken.clear();
    EXPECT_EQ(0, ScriptedPattern::destroyed);
    EXPECT_EQ(debugLines(prefixes, brokenText), log.lines());
    EXPECT_EQ(before, livingChannels(channel)) << "it is counted as destroyed";
    delete kept;
    tavrik::TavrikStats::getInstance()->removeChannel(doomed);  // compares the address only
  }
}

// A C function, the function below it that fails, and what the C function makes of the failure.
struct CFunction {
  std::string name;
  std::string calls;
  tavrik_loglevel_t level;
  int failed;                 // the result for a failure
  std::function<int()> call;  // null pointers and no result count as 0
};

void PrintTo(const CFunction& function, std::ostream* out) {
  *out << function.name;
}

constexpr auto debug = TAVRIK_LOG_DEBUG;
constexpr auto error = TAVRIK_LOG_ERROR;
constexpr auto unlogged = static_cast<tavrik_loglevel_t>(0);
constexpr int decoded = -77;
constexpr int null = 0;

template <class Object>
int made(Object* object) {
  return object == nullptr ? null : 1;
}

// Objects for the calls. They live as long as the program, as the rows do.
TavrikChannel* anyChannel() {
  static TavrikChannel& channel = *new TavrikChannel(channelOver(new ScriptedPattern));
  return &channel;
}

Message* anyMessage() {
  static Message message(1);
  return &message;
}

char text[SUBJECT_BUFFER_SIZE];
void* data = text;
unsigned int length;
tavrikStatistics stats;

int pollAnyChannel() {
  tavrik_pollitem_t item = {anyChannel(), TAVRIK_POLLIN, 0};
  return tavrik_poll(&item, 1, 0);
}

int deleteAnyMessage() {
  tavrik_deleteMessage(anyMessage());
  return null;
}

const std::vector<CFunction> cFunctions = {
    {"tavrik_createChannel", "createMsgPattern", error, null,
     [] { return made(tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT)); }},
    {"tavrik_setProperty", "pattern", debug, decoded,
     [] { return tavrik_setProperty(anyChannel(), REQ_REP_SERVER_ENDPOINT, "x"); }},
    {"tavrik_getProperty", "pattern", debug, decoded,
     [] { return tavrik_getProperty(anyChannel(), REQ_REP_SERVER_ENDPOINT, text); }},
    {"tavrik_send", "pattern", debug, decoded,
     [] { return tavrik_send(anyChannel(), "x", 1, "y"); }},
    {"tavrik_sendmsg", "pattern", debug, decoded,
     [] { return tavrik_sendmsg(anyChannel(), "x", anyMessage()); }},
    {"tavrik_receivemsg", "pattern", debug, decoded,
     [] { return tavrik_receivemsg(anyChannel(), text, anyMessage(), 0); }},
    {"tavrik_sendBinary", "pattern", debug, decoded,
     [] { return tavrik_sendBinary(anyChannel(), "x", text, 1); }},
    {"tavrik_receiveBinary", "pattern", debug, decoded,
     [] { return tavrik_receiveBinary(anyChannel(), text, &data, &length, 0); }},
    {"tavrik_initializeStatsMonitoring", "TavrikStats::getInstance", debug, decoded,
     [] { return tavrik_initializeStatsMonitoring(anyChannel()); }},
    {"tavrik_getTavrikStats", "TavrikStats::getInstance", debug, decoded,
     [] { return tavrik_getTavrikStats(anyChannel(), &stats); }},
    {"tavrik_clearTavrikStats", "TavrikStats::getInstance", debug, decoded,
     [] { return tavrik_clearTavrikStats(anyChannel()); }},
    {"tavrik_stopStatsMonitoring", "TavrikStats::getInstance", debug, decoded,
     [] { return tavrik_stopStatsMonitoring(anyChannel()); }},
    {"tavrik_poll", "pattern_poll", unlogged, decoded, pollAnyChannel},
    {"tavrik_getChannelName", "getName", error, decoded,
     [] { return tavrik_getChannelName(anyChannel(), text, sizeof text); }},
    {"tavrik_createMessage", "incrRefCount", error, null,
     [] { return made(tavrik_createMessage(1)); }},
    {"tavrik_deleteMessage", "decrRefCount", error, null, deleteAnyMessage},
    {"tavrik_copyMessage", "operator=", error, null,
     [] { return made(tavrik_copyMessage(anyMessage(), 1)); }},
    {"tavrik_getnumParts", "getnumParts", debug, -36,
     [] { return tavrik_getnumParts(anyMessage()); }},
    {"tavrik_setnumParts", "setnumParts", debug, decoded,
     [] { return tavrik_setnumParts(anyMessage(), 1); }},
    {"tavrik_getPartlength", "operator[]", debug, -34,
     [] { return tavrik_getPartlength(anyMessage(), 0); }},
    {"tavrik_getPart", "operator[]", debug, -35,
     [] { return tavrik_getPart(anyMessage(), 0, text); }},
    {"tavrik_setPart", "operator[]", debug, decoded,
     [] { return tavrik_setPart(anyMessage(), 0, "x"); }},
    {"tavrik_getBinPart", "operator[]", debug, decoded,
     [] { return tavrik_getBinPart(anyMessage(), 0, text); }},
    {"tavrik_setBinPart", "operator[]", error, decoded,
     [] { return tavrik_setBinPart(anyMessage(), 0, "x", 1); }},
    {"tavrik_insertPart", "insertPart", debug, decoded,
     [] { return tavrik_insertPart(anyMessage(), 0, "x"); }},
    {"tavrik_insertBinPart", "insertPart", error, decoded,
     [] { return tavrik_insertBinPart(anyMessage(), 0, "x", 1); }},
    {"tavrik_removePart", "removePart", debug, decoded,
     [] { return tavrik_removePart(anyMessage(), 0); }},
    {"tavrik_getHandle", "getHandle", error, null,
     [] { return made(tavrik_getHandle(anyMessage())); }},
    {"tavrik_setHandle", "setHandle", debug, decoded,
     [] { return tavrik_setHandle(anyMessage(), nullptr); }},
    {"tavrik_deferMsgFree", "incrRefCount", error, -1,
     [] { return tavrik_deferMsgFree(anyMessage(), 1); }},
    {"tavrik_deferMsgFree", "deferMsgFree", error, -1,
     [] { return tavrik_deferMsgFree(anyMessage(), 0); }},
};

class CFunctionTest : public LibraryFailureTest, public testing::WithParamInterface<CFunction> {
 protected:
  CFunctionTest() {
    anyChannel();
    anyMessage();
    log.clear();
    broken = GetParam().calls;
  }

  // The lines of the C functions, without those of the layers below.
  static Log ownLines() {
    Log own;
    for (const LogLine& line : LogCapture::lines()) {
      if (line.text.rfind("Error : tavrik_", 0) == 0) own.push_back(line);
    }
    return own;
  }
};

TEST_P(CFunctionTest, LogsAFailureAndReturnsItsCode) {
  breaking = breakDown;
  EXPECT_EQ(GetParam().failed, GetParam().call());
  // Required text: one function logs the prefix of another.
  const bool other = GetParam().name == "tavrik_getChannelName";
  const std::string prefix = "Error : " + (other ? "tavrik_deleteChannel" : GetParam().name);
  const Log expected = {{GetParam().level, prefix + "() : " + brokenText}};
  EXPECT_EQ(GetParam().level == unlogged ? Log{} : expected, ownLines());
}

TEST_P(CFunctionTest, ReturnsMinus3OrNullWithoutALogLineOnAllocationFailure) {
  breaking = [] { throw std::bad_alloc(); };
  EXPECT_EQ(GetParam().failed == null ? null : -3, GetParam().call());
  EXPECT_EQ(Log{}, ownLines());
}

TEST_P(CFunctionTest, ExceptionsOfOtherTypesPropagate) {
  breaking = [] { throw 42; };
  EXPECT_THROW(GetParam().call(), int);
  EXPECT_EQ(Log{}, ownLines());
}

INSTANTIATE_TEST_SUITE_P(Each, CFunctionTest, testing::ValuesIn(cFunctions), [](const auto& row) {
  return row.param.name + "_" + std::to_string(row.index);
});

TEST_F(ScriptedChannelTest, TheCInterfaceDecodesTheTextOfAnyFailure) {
  for (const auto& [thrown, code] :
       {std::pair{"xtavrik:-5", -5}, {"xzeromq:17", -17}, {"neither", -33}}) {
    log.clear();
    message = messageOf({"a"});
    const std::string what = thrown;
    pattern->sending = [=](Message&) -> int { throw std::runtime_error(what); };
    EXPECT_EQ(code, tavrik_sendmsg(&channel, "subject", &message));
    EXPECT_EQ((Log{debugLine("Error : tavrik_sendmsg() : " + what)}), log.lines());
  }
}

// A handle that can be cloned a number of times before it fails.
class BrittleHandle : public tavrik::MsgHandle {
 public:
  explicit BrittleHandle(int clones) : left(clones) {}
  MsgHandle* clone() const override {
    if (left == 0) breakDown();
    return new BrittleHandle(left - 1);
  }

 private:
  int left;
};

TEST_F(LibraryFailureTest, CFunctionsLogAHandleThatCannotBeCloned) {
  Message message;
  const BrittleHandle brittle(1);
  EXPECT_EQ(0, tavrik_setHandle(&message, &brittle));
  EXPECT_EQ(nullptr, tavrik_getHandle(&message));
  EXPECT_EQ(nullptr, tavrik_copyMessage(&message, 0));
  const BrittleHandle shattered(0);
  EXPECT_EQ(-77, tavrik_setHandle(&message, &shattered));
  EXPECT_EQ((Log{errorLine("Error : tavrik_getHandle() : " + brokenText),
                 debugLine("Error : Tavrik::Message::Opearator=() : " + brokenText),
                 errorLine("Error : tavrik_copyMessage() : " + brokenText),
                 debugLine("Error : tavrik_setHandle() : " + brokenText)}),
            log.lines());
}

}  // namespace
