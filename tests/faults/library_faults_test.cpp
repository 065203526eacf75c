// Failures that no input provokes: functions of the library that fail or answer null. The test
// program defines them itself, and the library, which calls them through the dynamic linker, gets
// these.
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/next_function.hpp>
#include <support/parts.hpp>
#include <support/private_member.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/tavrik.hpp>

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using support::next;

// What some of the functions do instead of their work; empty: their work.
std::function<tavrik::MQWrapper*()> getTransport;
std::function<int()> pollTransport;
std::function<tavrik::MsgPatternFactory*()> getFactory;
std::function<tavrik::MsgPattern*()> createPattern;
std::function<int()> pollPatterns;

// The function that breaks down, and how.
std::string broken;
std::function<void()> breaking;

void passing(const std::string& function) {
  if (function == broken) breaking();
}

}  // namespace

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
  passing("createMsgPattern");
  if (createPattern) return createPattern();
  return next(&MsgPatternFactory::createMsgPattern)(this, name, pattern, role);
}

int pattern_poll(tavrik_pollitem_t* items, unsigned int count, long timeout) {
  return pollPatterns ? pollPatterns() : next(&pattern_poll)(items, count, timeout);
}

int channel_poll(tavrik_pollitem_t* items, unsigned int count, long timeout) {
  passing("channel_poll");
  return next(&channel_poll)(items, count, timeout);
}

bool TavrikStats::isBeingMonitored(TavrikChannel* channel) {
  passing("isBeingMonitored");
  return next(&TavrikStats::isBeingMonitored)(this, channel);
}

int TavrikChannel::send(const char* subject, Message* msg) {
  passing("send");
  return next(&TavrikChannel::send)(this, subject, msg);
}

int TavrikChannel::receive(char* subject, Message* msg, long timeout) {
  passing("receive");
  return next(&TavrikChannel::receive)(this, subject, msg, timeout);
}

int TavrikChannel::sendBinary(const char* subject, void* data, unsigned int size) {
  passing("sendBinary");
  return next(&TavrikChannel::sendBinary)(this, subject, data, size);
}

int TavrikChannel::receiveBinary(char* subject, void** data, unsigned int* size, long timeout) {
  passing("receiveBinary");
  return next(&TavrikChannel::receiveBinary)(this, subject, data, size, timeout);
}

int TavrikChannel::setProperty(channel_prop_t prop, std::string value) {
  passing("setProperty");
  return next(&TavrikChannel::setProperty)(this, prop, value);
}

std::string TavrikChannel::getProperty(channel_prop_t prop) {
  passing("getProperty");
  return next(&TavrikChannel::getProperty)(this, prop);
}

void TavrikChannel::initializeStatsMonitoring() {
  passing("initializeStatsMonitoring");
  next (&TavrikChannel::initializeStatsMonitoring)(this);
}

void TavrikChannel::getTavrikStats(tavrikStatistics* stats) {
  passing("getTavrikStats");
  next (&TavrikChannel::getTavrikStats)(this, stats);
}

void TavrikChannel::clearTavrikStats() {
  passing("clearTavrikStats");
  next (&TavrikChannel::clearTavrikStats)(this);
}

void TavrikStats::removeChannel(TavrikChannel* channel) {
  passing("removeChannel");
  next (&TavrikStats::removeChannel)(this, channel);
}

void TavrikChannel::stopStatsMonitoring() {
  passing("stopStatsMonitoring");
  next (&TavrikChannel::stopStatsMonitoring)(this);
}

const std::string& TavrikChannel::getName() const {
  passing("getName");
  return next(&TavrikChannel::getName)(this);
}

Message& Message::operator=(const Message& other) {
  passing("operator=");
  return next(&Message::operator=)(this, other);
}

int Message::getnumParts() const {
  passing("getnumParts");
  return next(&Message::getnumParts)(this);
}

int Message::setnumParts(unsigned int count) {
  passing("setnumParts");
  return next(&Message::setnumParts)(this, count);
}

std::string& Message::operator[](unsigned int index) {
  passing("operator[]");
  return next(&Message::operator[])(this, index);
}

int Message::insertPart(unsigned int index, std::string data) {
  passing("insertPart");
  return next(&Message::insertPart)(this, index, data);
}

int Message::removePart(unsigned int index) {
  passing("removePart");
  return next(&Message::removePart)(this, index);
}

MsgHandle* Message::getHandle() const {
  passing("getHandle");
  return next(&Message::getHandle)(this);
}

void Message::setHandle(const MsgHandle* newHandle) {
  passing("setHandle");
  next (&Message::setHandle)(this, newHandle);
}

void Message::deferMsgFree(int defer) {
  passing("deferMsgFree");
  next (&Message::deferMsgFree)(this, defer);
}

void Message::incrRefCount() {
  passing("incrRefCount");
  next (&Message::incrRefCount)(this);
}

void Message::decrRefCount() {
  passing("decrRefCount");
  next (&Message::decrRefCount)(this);
}

}  // namespace tavrik

namespace {

using support::debugLine;
using support::errorLine;
using support::Log;
using support::LogCapture;
using support::messageOf;
using support::Parts;
using support::partsOf;
using tavrik::Message;
using tavrik::MsgHandle;
using tavrik::MsgPattern;
using tavrik::TavrikChannel;

const std::string channelPrefix = "Error : Tavrik::TavrikChannel::TavrikChannel() : ";
const std::string factoryPrefix = "Error : Tavrik::MsgPatternFactory::createMsgPattern() : ";

const std::string brokenDown = "broken downtavrik:-77";

void breakDown() {
  throw std::runtime_error(brokenDown);
}

class LibraryFailure : public testing::Test {
 protected:
  ~LibraryFailure() override {
    getTransport = nullptr;
    pollTransport = nullptr;
    getFactory = nullptr;
    createPattern = nullptr;
    pollPatterns = nullptr;
    broken.clear();
  }

  static tavrikStatistics statsOf(TavrikChannel& channel) {
    tavrikStatistics stats = {};
    channel.getTavrikStats(&stats);
    return stats;
  }

  LogCapture log;
};

TEST_F(LibraryFailure, a_pattern_without_a_transport_fails_before_its_name_is_looked_at) {
  getTransport = [] { return nullptr; };
  const std::string text = "Failed to instantiate MQWrapper Objecttavrik:-3";
  EXPECT_FAILURE(std::runtime_error, text, TavrikChannel("", REQUEST_REPLY_PATTERN, REQ_CLIENT));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MsgPattern::MsgPattern() : " + text),
                 debugLine(factoryPrefix + text), debugLine(channelPrefix + text)}),
            log.lines());
}

TEST_F(LibraryFailure, a_poll_without_a_transport_fails_after_connecting) {
  TavrikChannel channel("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  channel.setProperty(REQ_REP_SERVER_ENDPOINT, support::inprocEndpoint());
  MsgPattern* const pattern = support::patternOf(channel);
  tavrik_pollitem_t item = {pattern, TAVRIK_POLLIN, 0};
  getTransport = [] { return nullptr; };
  EXPECT_FAILURE(std::runtime_error, "Failed to instantiate MQWrapper Objecttavrik:-3",
                 tavrik::pattern_poll(&item, 1, 0));
  EXPECT_EQ(support::socketOf(channel), item.socket);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(LibraryFailure, a_poll_that_the_transport_refuses_is_a_failed_poll) {
  TavrikChannel channel("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  channel.setProperty(REQ_REP_SERVER_ENDPOINT, support::inprocEndpoint());
  tavrik_pollitem_t item = {support::patternOf(channel), TAVRIK_POLLIN, 0};
  pollTransport = [] { return -1; };
  EXPECT_FAILURE(std::runtime_error, "Failed to poll on MsgPatterntavrik:-4",
                 tavrik::pattern_poll(&item, 1, 0));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(LibraryFailure, a_poll_that_the_patterns_refuse_is_a_failed_poll) {
  TavrikChannel channel("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik_pollitem_t item = {&channel, TAVRIK_POLLIN, 5};
  pollPatterns = [] { return -1; };
  EXPECT_FAILURE(std::runtime_error, "Failed to poll on TavrikChanneltavrik:-4",
                 tavrik::channel_poll(&item, 1, 0));
  EXPECT_EQ(5, item.revents);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(LibraryFailure, a_channel_without_a_pattern_cannot_be_polled_and_connects_nobody_else) {
  TavrikChannel good("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  good.setProperty(REQ_REP_SERVER_ENDPOINT, support::inprocEndpoint());
  TavrikChannel channel("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  MsgPattern* const pattern = support::patternOf(channel);
  support::patternOf(channel) = nullptr;
  tavrik_pollitem_t items[] = {{&good, TAVRIK_POLLIN, 0}, {&channel, TAVRIK_POLLIN, 0}};
  EXPECT_FAILURE(std::runtime_error, "MsgPattern object being passed is NULLtavrik:-1",
                 tavrik::channel_poll(items, 2, 0));
  EXPECT_EQ(nullptr, support::socketOf(good));
  EXPECT_EQ(Log{}, log.lines());
  support::patternOf(channel) = pattern;
}

TEST_F(LibraryFailure, a_channel_without_a_factory_fails) {
  getFactory = [] { return nullptr; };
  const std::string text = "Failed to instantiate MsgPatternFactory Objecttavrik:-3";
  EXPECT_FAILURE(std::runtime_error, text, TavrikChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT));
  EXPECT_EQ((Log{debugLine(channelPrefix + text)}), log.lines());
}

TEST_F(LibraryFailure, a_channel_whose_factory_makes_nothing_fails) {
  createPattern = [] { return nullptr; };
  const std::string text = "Failed to instantiate MsgPattern Objecttavrik:-3";
  EXPECT_FAILURE(std::runtime_error, text, TavrikChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT));
  EXPECT_EQ((Log{debugLine(channelPrefix + text)}), log.lines());
}

// A pattern that sends and receives what it is told.
class ToldPattern : public MsgPattern {
 public:
  ToldPattern() : MsgPattern("told", REQ_CLIENT) {}
  void connectEndpoint() override {}
  int setProperty(channel_prop_t, const std::string&) override { return 0; }
  std::string getProperty(channel_prop_t) override { return property; }
  int send(Message* msg) override { return sending(*msg); }
  int receive(Message* msg, long) override { return receiving(*msg); }

  std::function<int(Message&)> sending;
  std::function<int(Message&)> receiving;
  std::string property;
};

class ChannelOverAnyPattern : public LibraryFailure {
 protected:
  static TavrikChannel channelOver(MsgPattern* pattern) {
    createPattern = [=] { return pattern; };
    return TavrikChannel("told", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  }

  ToldPattern* pattern = new ToldPattern;  // the channel's
  TavrikChannel channel = channelOver(pattern);
  Message message = messageOf({"a", "b"});
};

TEST_F(ChannelOverAnyPattern, send_does_not_count_the_subject) {
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

TEST_F(ChannelOverAnyPattern, send_takes_nothing_off_a_message_that_lost_its_parts) {
  pattern->sending = [](Message& msg) { return msg.setnumParts(0); };
  EXPECT_EQ(0, channel.send("subject", &message));
  pattern->sending = [](Message& msg) -> int {
    msg.setnumParts(0);
    throw std::runtime_error("lost");
  };
  EXPECT_FAILURE(std::runtime_error, "lost", channel.send("subject", &message));
  EXPECT_EQ(0, message.getnumParts());
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(ChannelOverAnyPattern, a_failed_send_takes_the_subject_off_but_after_an_index_error) {
  for (const char* const text : {"xtavrik:-6", "x", "xzeromq:17", "xtavrik:-50"}) {
    pattern->sending = [=](Message&) -> int { throw std::runtime_error(text); };
    EXPECT_FAILURE(std::runtime_error, text, channel.send("subject", &message));
    EXPECT_EQ((Parts{"a", "b"}), partsOf(message)) << text;
  }
  pattern->sending = [](Message&) -> int { throw std::logic_error("xtavrik:-5"); };
  EXPECT_FAILURE(std::logic_error, "xtavrik:-5", channel.send("subject", &message));
  EXPECT_EQ((Parts{"subject", "a", "b"}), partsOf(message));
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(ChannelOverAnyPattern, exceptions_of_other_types_pass_send_untouched) {
  pattern->sending = [](Message&) -> int { throw 42; };
  EXPECT_THROW(channel.send("subject", &message), int);
  EXPECT_EQ((Parts{"subject", "a", "b"}), partsOf(message));
}

TEST_F(ChannelOverAnyPattern, receive_returns_the_patterns_result_when_there_are_no_parts) {
  char subject[SUBJECT_BUFFER_SIZE] = "untouched";
  for (const int result : {0, -1, -7, 3}) {
    pattern->receiving = [=](Message& msg) {
      msg.setnumParts(0);
      return result;
    };
    EXPECT_EQ(result, channel.receive(subject, &message, 0));
  }
  EXPECT_STREQ("untouched", subject);
}

TEST_F(ChannelOverAnyPattern, a_negative_receive_into_a_buffer_is_a_failure) {
  pattern->receiving = [](Message& msg) {
    msg.setnumParts(0);
    return -7;
  };
  char subject[SUBJECT_BUFFER_SIZE];
  void* buffer = nullptr;
  unsigned int size = 77;
  const std::string text = "Failed to receive messagetavrik:-3";
  EXPECT_FAILURE(std::runtime_error, text, channel.receiveBinary(subject, &buffer, &size, 0));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::TavrikChannel::receiveBinary() : " + text)}),
            log.lines());
  EXPECT_EQ(nullptr, buffer);
  EXPECT_EQ(77U, size);
}

TEST_F(ChannelOverAnyPattern, a_publisher_cannot_be_polled_whatever_else_is) {
  createPattern = [] { return new ToldPattern; };
  TavrikChannel publisher("told", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER);
  tavrik_pollitem_t items[] = {{&publisher, TAVRIK_POLLIN, 0x7fff}, {&channel, TAVRIK_POLLIN, 0}};
  const std::string refused = "channel_poll() Operation NOT permitted for PUBLISHERtavrik:-3";
  EXPECT_FAILURE(std::runtime_error, refused, tavrik::channel_poll(items, 2, 0));
  std::swap(items[0], items[1]);
  EXPECT_FAILURE(std::runtime_error, refused, tavrik::channel_poll(items, 2, 0));
  EXPECT_EQ(0x7fff, items[1].revents);
  EXPECT_EQ(-3, tavrik_poll(items, 2, 0));
  EXPECT_EQ(Log{}, log.lines());

  // The pattern and the role together are what is refused.
  pollPatterns = [] { return 0; };
  for (const auto& [kind, role] :
       {std::pair{REQUEST_REPLY_PATTERN, PUBLISHER}, {PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER}}) {
    TavrikChannel other("told", kind, role);
    tavrik_pollitem_t item = {&other, TAVRIK_POLLIN, 0};
    EXPECT_EQ(0, tavrik::channel_poll(&item, 1, 0));
  }
}

TEST_F(ChannelOverAnyPattern, c_interface_cuts_a_long_property) {
  pattern->property = std::string(300, 'v');
  char value[PROPERTY_BUFFER_SIZE + 1];
  std::memset(value, '#', sizeof value);
  EXPECT_EQ(0, tavrik_getProperty(&channel, REQ_REP_SERVER_ENDPOINT, value));
  EXPECT_EQ(std::string(255, 'v'), value);
  EXPECT_EQ('#', value[PROPERTY_BUFFER_SIZE]);
  pattern->property = std::string(255, 'w');
  EXPECT_EQ(0, tavrik_getProperty(&channel, REQ_REP_SERVER_ENDPOINT, value));
  EXPECT_EQ(std::string(255, 'w'), value);
}

TEST_F(ChannelOverAnyPattern, c_interface_decodes_any_failure) {
  tavrik_message_t* const msg = &message;
  const std::string prefix = "Error : tavrik_sendmsg() : ";
  for (const auto& [text, code] :
       {std::pair{"xtavrik:-5", -5}, {"xzeromq:17", -17}, {"neither", -33}}) {
    log.clear();
    message = messageOf({"a"});
    const std::string what = text;
    pattern->sending = [=](Message&) -> int { throw std::runtime_error(what); };
    EXPECT_EQ(code, tavrik_sendmsg(&channel, "subject", msg));
    EXPECT_EQ((Log{debugLine(prefix + what)}), log.lines());
  }
}

TEST_F(ChannelOverAnyPattern, c_interface_lets_exceptions_of_other_types_pass) {
  pattern->sending = [](Message&) -> int { throw 42; };
  EXPECT_THROW(tavrik_sendmsg(&channel, "subject", &message), int);
  EXPECT_EQ(Log{}, log.lines());
}

class NotingPattern : public ToldPattern {
 public:
  explicit NotingPattern(bool& flag) : destroyed(flag) {}
  ~NotingPattern() noexcept(false) override { destroyed = true; }

 private:
  bool& destroyed;
};

TEST_F(ChannelOverAnyPattern, a_channel_that_cannot_leave_the_registry_keeps_its_pattern) {
  const std::string destructor = "Error : Tavrik::TavrikChannel::~TavrikChannel() : " + brokenDown;
  const std::string stop = "Error : Tavrik::TavrikChannel::stopStatsMonitoring() : " + brokenDown;
  channel.initializeStatsMonitoring();
  const uint32_t before = statsOf(channel).connections;
  for (const auto& [function, lines] :
       {std::pair{"isBeingMonitored", Log{debugLine(destructor)}},
        {"stopStatsMonitoring", Log{debugLine(destructor)}},
        {"removeChannel", Log{debugLine(stop), debugLine(destructor)}}}) {
    SCOPED_TRACE(function);
    bool patternDestroyed = false;
    auto* const kept = new NotingPattern(patternDestroyed);
    createPattern = [=] { return kept; };
    auto* const doomed = new TavrikChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
    doomed->initializeStatsMonitoring();
    log.clear();
    broken = function;
    breaking = breakDown;
    delete doomed;
    broken.clear();
    EXPECT_FALSE(patternDestroyed);
    EXPECT_EQ(lines, log.lines());
    EXPECT_EQ(before, statsOf(channel).connections) << "it is counted out all the same";
    delete kept;
    tavrik::TavrikStats::getInstance()->removeChannel(doomed);  // only the address is looked at
  }
}

// A C function, the function of the library that it calls, and what it makes of its failure.
struct CFunction {
  const char* name;
  const char* calls;
  std::function<int()> call;  // 0 for NULL, as for success of a function without a result
  support::LogLine line;      // what it logs; level 0: nothing
  int exhausted;              // its result when memory is exhausted
  int failed;                 // its result for any other failure
};

void PrintTo(const CFunction& function, std::ostream* out) {
  *out << function.name;
}

constexpr int decoded = -77;
constexpr int null = 0;  // also stands for no result

template <class Object>
int made(Object* object) {
  return object == nullptr ? null : 1;
}

support::LogLine unlogged() {
  return {0, ""};
}

// Objects for the calls. They live as long as the program: rows are made before any test.
TavrikChannel& anyChannel() {
  static TavrikChannel channel("any", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  return channel;
}

Message& anyMessage() {
  static Message message(1);
  return message;
}

char text[SUBJECT_BUFFER_SIZE];
void* data = text;
unsigned int length;

std::vector<CFunction> cFunctions() {
  const auto debug = [](const std::string& prefix) { return debugLine(prefix + brokenDown); };
  const auto error = [](const std::string& prefix) { return errorLine(prefix + brokenDown); };
  static tavrikStatistics stats;
  static tavrik_pollitem_t item = {&anyChannel(), TAVRIK_POLLIN, 0};
  return {
      {"tavrik_createChannel", "createMsgPattern",
       [] { return made(tavrik_createChannel("x", REQUEST_REPLY_PATTERN, REQ_CLIENT)); },
       error("Error : tavrik_createChannel() : "), null, null},
      {"tavrik_setProperty", "setProperty",
       [] { return tavrik_setProperty(&anyChannel(), REQ_REP_SERVER_ENDPOINT, "x"); },
       debug("Error : tavrik_setProperty() : "), -3, decoded},
      {"tavrik_getProperty", "getProperty",
       [] { return tavrik_getProperty(&anyChannel(), REQ_REP_SERVER_ENDPOINT, text); },
       debug("Error : tavrik_getProperty() : "), -3, decoded},
      {"tavrik_send", "send", [] { return tavrik_send(&anyChannel(), "x", 1, "y"); },
       debug("Error : tavrik_send() : "), -3, decoded},
      {"tavrik_sendmsg", "send", [] { return tavrik_sendmsg(&anyChannel(), "x", &anyMessage()); },
       debug("Error : tavrik_sendmsg() : "), -3, decoded},
      {"tavrik_receivemsg", "receive",
       [] { return tavrik_receivemsg(&anyChannel(), text, &anyMessage(), 0); },
       debug("Error : tavrik_receivemsg() : "), -3, decoded},
      {"tavrik_sendBinary", "sendBinary",
       [] { return tavrik_sendBinary(&anyChannel(), "x", text, 1); },
       debug("Error : tavrik_sendBinary() : "), -3, decoded},
      {"tavrik_receiveBinary", "receiveBinary",
       [] { return tavrik_receiveBinary(&anyChannel(), text, &data, &length, 0); },
       debug("Error : tavrik_receiveBinary() : "), -3, decoded},
      {"tavrik_initializeStatsMonitoring", "initializeStatsMonitoring",
       [] { return tavrik_initializeStatsMonitoring(&anyChannel()); },
       debug("Error : tavrik_initializeStatsMonitoring() : "), -3, decoded},
      {"tavrik_getTavrikStats", "getTavrikStats",
       [] { return tavrik_getTavrikStats(&anyChannel(), &stats); },
       debug("Error : tavrik_getTavrikStats() : "), -3, decoded},
      {"tavrik_clearTavrikStats", "clearTavrikStats",
       [] { return tavrik_clearTavrikStats(&anyChannel()); },
       debug("Error : tavrik_clearTavrikStats() : "), -3, decoded},
      {"tavrik_stopStatsMonitoring", "stopStatsMonitoring",
       [] { return tavrik_stopStatsMonitoring(&anyChannel()); },
       debug("Error : tavrik_stopStatsMonitoring() : "), -3, decoded},
      {"tavrik_poll", "channel_poll", [] { return tavrik_poll(&item, 1, 0); }, unlogged(), -3,
       decoded},
      {"tavrik_getChannelName", "getName",
       [] { return tavrik_getChannelName(&anyChannel(), text, sizeof text); },
       error("Error : tavrik_deleteChannel() : "), -3, decoded},
      {"tavrik_createMessage", "incrRefCount", [] { return made(tavrik_createMessage(1)); },
       error("Error : tavrik_createMessage() : "), null, null},
      {"tavrik_deleteMessage", "decrRefCount",
       [] {
         tavrik_deleteMessage(&anyMessage());
         return null;
       },
       error("Error : tavrik_deleteMessage() : "), null, null},
      {"tavrik_copyMessage", "operator=", [] { return made(tavrik_copyMessage(&anyMessage(), 1)); },
       error("Error : tavrik_copyMessage() : "), null, null},
      {"tavrik_getnumParts", "getnumParts", [] { return tavrik_getnumParts(&anyMessage()); },
       debug("Error : tavrik_getnumParts() : "), -3, -36},
      {"tavrik_setnumParts", "setnumParts", [] { return tavrik_setnumParts(&anyMessage(), 1); },
       debug("Error : tavrik_setnumParts() : "), -3, decoded},
      {"tavrik_getPartlength", "operator[]", [] { return tavrik_getPartlength(&anyMessage(), 0); },
       debug("Error : tavrik_getPartlength() : "), -3, -34},
      {"tavrik_getPart", "operator[]", [] { return tavrik_getPart(&anyMessage(), 0, text); },
       debug("Error : tavrik_getPart() : "), -3, -35},
      {"tavrik_setPart", "operator[]", [] { return tavrik_setPart(&anyMessage(), 0, "x"); },
       debug("Error : tavrik_setPart() : "), -3, decoded},
      {"tavrik_getBinPart", "operator[]", [] { return tavrik_getBinPart(&anyMessage(), 0, text); },
       debug("Error : tavrik_getBinPart() : "), -3, decoded},
      {"tavrik_setBinPart", "operator[]",
       [] { return tavrik_setBinPart(&anyMessage(), 0, "x", 1); },
       error("Error : tavrik_setBinPart() : "), -3, decoded},
      {"tavrik_insertPart", "insertPart", [] { return tavrik_insertPart(&anyMessage(), 0, "x"); },
       debug("Error : tavrik_insertPart() : "), -3, decoded},
      {"tavrik_insertBinPart", "insertPart",
       [] { return tavrik_insertBinPart(&anyMessage(), 0, "x", 1); },
       error("Error : tavrik_insertBinPart() : "), -3, decoded},
      {"tavrik_removePart", "removePart", [] { return tavrik_removePart(&anyMessage(), 0); },
       debug("Error : tavrik_removePart() : "), -3, decoded},
      {"tavrik_getHandle", "getHandle", [] { return made(tavrik_getHandle(&anyMessage())); },
       error("Error : tavrik_getHandle() : "), null, null},
      {"tavrik_setHandle", "setHandle", [] { return tavrik_setHandle(&anyMessage(), nullptr); },
       debug("Error : tavrik_setHandle() : "), -3, decoded},
      {"tavrik_deferMsgFree", "incrRefCount", [] { return tavrik_deferMsgFree(&anyMessage(), 1); },
       error("Error : tavrik_deferMsgFree() : "), -3, -1},
      {"tavrik_deferMsgFree_0", "deferMsgFree",
       [] { return tavrik_deferMsgFree(&anyMessage(), 0); },
       error("Error : tavrik_deferMsgFree() : "), -3, -1},
  };
}

class CInterface : public LibraryFailure, public testing::WithParamInterface<CFunction> {
 protected:
  CInterface() {
    anyChannel();
    anyMessage();
    log.clear();
    broken = GetParam().calls;
  }

  // The lines that the C functions wrote, without those of the floors below.
  Log ownLines() const {
    Log own;
    for (const support::LogLine& line : log.lines()) {
      if (line.text.rfind("Error : tavrik_", 0) == 0) own.push_back(line);
    }
    return own;
  }
};

TEST_P(CInterface, logs_and_answers_a_failure) {
  breaking = breakDown;
  EXPECT_EQ(GetParam().failed, GetParam().call());
  EXPECT_EQ((GetParam().line.level != 0 ? Log{GetParam().line} : Log{}), ownLines());
}

TEST_P(CInterface, answers_exhausted_memory_without_logging) {
  breaking = [] { throw std::bad_alloc(); };
  EXPECT_EQ(GetParam().exhausted, GetParam().call());
  EXPECT_EQ(Log{}, ownLines());
}

TEST_P(CInterface, lets_exceptions_of_other_types_pass) {
  breaking = [] { throw 42; };
  EXPECT_THROW(GetParam().call(), int);
  EXPECT_EQ(Log{}, ownLines());
}

INSTANTIATE_TEST_SUITE_P(EachFunction, CInterface, testing::ValuesIn(cFunctions()),
                         [](const auto& row) { return std::string(row.param.name); });

// A handle that can be copied a number of times before it breaks down.
class BrittleHandle : public MsgHandle {
 public:
  explicit BrittleHandle(int copies) : left(copies) {}
  MsgHandle* clone() const override {
    if (left == 0) breakDown();
    return new BrittleHandle(left - 1);
  }

 private:
  int left;
};

TEST_F(LibraryFailure, c_handle_functions_log_a_handle_that_cannot_be_copied) {
  Message message;
  const BrittleHandle brittle(1);
  EXPECT_EQ(0, tavrik_setHandle(&message, &brittle));
  EXPECT_EQ(nullptr, tavrik_getHandle(&message));
  EXPECT_EQ((Log{errorLine("Error : tavrik_getHandle() : broken downtavrik:-77")}), log.lines());
  log.clear();
  EXPECT_EQ(nullptr, tavrik_copyMessage(&message, 0));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::Message::Opearator=() : broken downtavrik:-77"),
                 errorLine("Error : tavrik_copyMessage() : broken downtavrik:-77")}),
            log.lines());
  log.clear();
  const BrittleHandle shattered(0);
  EXPECT_EQ(-77, tavrik_setHandle(&message, &shattered));
  EXPECT_EQ((Log{debugLine("Error : tavrik_setHandle() : broken downtavrik:-77")}), log.lines());
}

}  // namespace
