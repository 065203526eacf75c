// Sequences of C calls over messages, reply handles, unconnected channels, and a client and a
// server, against a model of what each call returns, changes and logs.
#include "support.hpp"

#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <memory>

namespace {

using fuzz::Input;
using fuzz::Parts;
using tavrik::AsyncRouterDealerMsgHandle;

constexpr std::size_t longest = 255;
constexpr std::size_t mostParts = 40;
constexpr int sendOutOfTurn = -17530931;
constexpr int receiveOutOfTurn = -17727539;
constexpr const char* outOfBounds = "Message part index out of boundstavrik:-5";
constexpr const char* invalidNumber = "Invalid part numbertavrik:-5";

// A call that succeeds, and one whose arguments are refused, logs nothing.
void requireQuiet(long long expected, long long actual, const char* function) {
  fuzz::requireEqual(expected, actual, function);
  fuzz::requireNoLog(function);
}

// A call that fails logs the function's prefix and the failure's text.
void requireFailure(int code, int actual, const char* function, const std::string& text,
                    int level = TAVRIK_LOG_DEBUG) {
  fuzz::requireEqual(code, actual, function);
  fuzz::requireLastLog(level, std::string("Error : ") + function + "() : " + text, function);
}

// A failure of the transport, whose text depends on the system.
void requireTransportFailure(int code, int actual, const char* function) {
  fuzz::requireEqual(code, actual, function);
  const auto log = fuzz::takeLog();
  const std::string prefix = std::string("Error : ") + function + "() : ";
  const std::string suffix = "zeromq:" + std::to_string(-code);
  fuzz::require(!log.empty(), prefix + "not logged");
  const std::string& line = log.back().text;
  fuzz::requireEqual(prefix, line.substr(0, prefix.size()), "the log");
  fuzz::requireEqual(suffix, line.substr(line.size() - std::min(line.size(), suffix.size())),
                     "the log");
}

// ---- Messages and handles

struct MessageModel {
  Parts parts;
  std::optional<std::string> identity;
  unsigned int references = 0;
};

struct MessageSlot {
  tavrik_message_t* message = nullptr;
  MessageModel model;
};

struct HandleSlot {
  const tavrik_msghandle_t* handle = nullptr;
  std::string identity;
};

std::string identityOf(const tavrik_msghandle_t* handle) {
  return dynamic_cast<const AsyncRouterDealerMsgHandle&>(*handle).getIdentity();
}

// An array of exactly that size: the sanitizer reports a write beyond its end.
std::unique_ptr<char[]> exactBuffer(std::size_t size) {
  return std::make_unique<char[]>(size);
}

void requireSame(const MessageSlot& slot) {
  if (slot.message == nullptr) return;
  tavrik_message_t* const message = slot.message;
  const MessageModel& model = slot.model;
  requireQuiet(static_cast<long long>(model.parts.size()), tavrik_getnumParts(message),
               "tavrik_getnumParts");
  for (unsigned int i = 0; i < model.parts.size(); ++i) {
    const std::string& part = model.parts[i];
    requireQuiet(static_cast<long long>(part.size()), tavrik_getPartlength(message, i),
                 "tavrik_getPartlength");
    const auto bytes = exactBuffer(part.size());
    requireQuiet(0, tavrik_getBinPart(message, i, bytes.get()), "tavrik_getBinPart");
    fuzz::requireEqual(part, {bytes.get(), part.size()}, "tavrik_getBinPart");
    const std::string text = part.c_str();
    const auto buffer = exactBuffer(text.size() + 1);
    requireQuiet(0, tavrik_getPart(message, i, buffer.get()), "tavrik_getPart");
    fuzz::requireEqual(text, buffer.get(), "tavrik_getPart");
  }
  const tavrik_msghandle_t* const handle = tavrik_getHandle(message);
  fuzz::requireEqual(model.identity.has_value(), handle != nullptr, "tavrik_getHandle");
  if (handle != nullptr) fuzz::requireEqual(*model.identity, identityOf(handle), "the handle");
  tavrik_freeMsgHandle(handle);
  fuzz::requireEqual(model.references, message->getRefCount(), "the references");
  fuzz::require(message->isMsgFreeAllowed(), "the defer-free flag is set");
  fuzz::requireNoLog("reading a message");
}

class Messages {
 public:
  explicit Messages(Input& itsInput) : input(itsInput) {}
  ~Messages() {
    for (const MessageSlot& slot : messages) delete slot.message;
    for (const HandleSlot& slot : handles) tavrik_freeMsgHandle(slot.handle);
  }
  Messages(const Messages&) = delete;
  Messages& operator=(const Messages&) = delete;

  void step() {
    MessageSlot& slot = pick();
    switch (input.between(0, 5)) {
      case 0:
        changeLife(slot);
        break;
      case 1:
        changeHandle(slot);
        break;
      case 2:
        passNull(slot);
        break;
      default:
        if (slot.message == nullptr) {
          create(slot);
        } else {
          changeParts(slot);
        }
    }
    for (const MessageSlot& each : messages) requireSame(each);
  }

  // A message that exists.
  MessageSlot& any() {
    MessageSlot& slot = pick();
    if (slot.message == nullptr) create(slot);
    return slot;
  }

 private:
  MessageSlot& pick() { return messages.at(input.between<std::size_t>(0, messages.size() - 1)); }

  void create(MessageSlot& slot) {
    const auto count = input.between<unsigned int>(0, mostParts);
    slot.message = tavrik_createMessage(count);
    fuzz::require(slot.message != nullptr, "tavrik_createMessage");
    slot.model = {Parts(count), std::nullopt, 1};
  }

  void changeLife(MessageSlot& slot) {
    if (slot.message == nullptr) return create(slot);
    MessageModel& model = slot.model;
    switch (input.between(0, 3)) {
      case 0:
        tavrik_deleteMessage(slot.message);
        // The copy that has no reference yet survives.
        if (--model.references == 0) slot = {};
        break;
      case 1: {
        const int defer = input.between(-1, 1);
        requireQuiet(0, tavrik_deferMsgFree(slot.message, defer), "tavrik_deferMsgFree");
        if (defer != 0) ++model.references;
        break;
      }
      default: {
        MessageSlot& target = pick();
        if (target.message != nullptr) break;
        target.message =
            tavrik_copyMessage(slot.message, input.between<unsigned int>(0, mostParts));
        fuzz::require(target.message != nullptr, "tavrik_copyMessage");
        target.model = {model.parts, model.identity, 0};
      }
    }
  }

  void changeHandle(MessageSlot& slot) {
    HandleSlot& handle = handles.at(input.between<std::size_t>(0, handles.size() - 1));
    switch (input.between(0, 3)) {
      case 0: {
        tavrik_freeMsgHandle(handle.handle);
        auto made = std::make_unique<AsyncRouterDealerMsgHandle>();
        made->setIdentity(input.bytes());
        handle = {made.get(), made->getIdentity()};
        static_cast<void>(made.release());
        break;
      }
      case 1: {
        if (slot.message == nullptr || !slot.model.identity) break;
        tavrik_freeMsgHandle(handle.handle);
        handle = {tavrik_getHandle(slot.message), *slot.model.identity};
        fuzz::requireEqual(handle.identity, identityOf(handle.handle), "tavrik_getHandle");
        break;
      }
      case 2:
        tavrik_freeMsgHandle(handle.handle);
        handle = {};
        break;
      default:
        if (slot.message == nullptr) break;
        requireQuiet(0, tavrik_setHandle(slot.message, handle.handle), "tavrik_setHandle");
        slot.model.identity.reset();
        if (handle.handle != nullptr) slot.model.identity = handle.identity;
    }
  }

  void passNull(const MessageSlot& slot) {
    tavrik_message_t* const message = slot.message;
    const unsigned int index = input.index(slot.model.parts.size());
    char byte = 'x';
    tavrik_deleteMessage(nullptr);
    tavrik_freeMsgHandle(nullptr);
    fuzz::require(tavrik_getHandle(nullptr) == nullptr, "tavrik_getHandle of NULL");
    requireQuiet(-1, tavrik_getnumParts(nullptr), "tavrik_getnumParts of NULL");
    requireQuiet(-1, tavrik_setnumParts(nullptr, index), "tavrik_setnumParts of NULL");
    requireQuiet(-1, tavrik_getPartlength(nullptr, index), "tavrik_getPartlength of NULL");
    requireQuiet(-1, tavrik_getPart(nullptr, index, &byte), "tavrik_getPart of NULL");
    requireQuiet(-1, tavrik_getPart(message, index, nullptr), "tavrik_getPart into NULL");
    requireQuiet(-1, tavrik_setPart(nullptr, index, ""), "tavrik_setPart of NULL");
    requireQuiet(-1, tavrik_setPart(message, index, nullptr), "tavrik_setPart to NULL");
    requireQuiet(-1, tavrik_getBinPart(nullptr, index, &byte), "tavrik_getBinPart of NULL");
    requireQuiet(-1, tavrik_getBinPart(message, index, nullptr), "tavrik_getBinPart into NULL");
    requireQuiet(-1, tavrik_setBinPart(nullptr, index, &byte, 1), "tavrik_setBinPart of NULL");
    requireQuiet(-1, tavrik_setBinPart(message, index, nullptr, 1), "tavrik_setBinPart to NULL");
    requireQuiet(-1, tavrik_insertPart(nullptr, index, ""), "tavrik_insertPart of NULL");
    requireQuiet(-1, tavrik_insertPart(message, index, nullptr), "tavrik_insertPart to NULL");
    requireQuiet(-1, tavrik_insertBinPart(nullptr, index, &byte, 1), "tavrik_insertBinPart");
    requireQuiet(-1, tavrik_insertBinPart(message, index, nullptr, 1), "tavrik_insertBinPart");
    requireQuiet(-1, tavrik_removePart(nullptr, index), "tavrik_removePart of NULL");
    requireQuiet(-1, tavrik_setHandle(nullptr, nullptr), "tavrik_setHandle of NULL");
    requireQuiet(-1, tavrik_deferMsgFree(nullptr, 1), "tavrik_deferMsgFree of NULL");
    fuzz::requireEqual('x', byte, "the byte that no call may write");
  }

  void changeParts(MessageSlot& slot) {
    const unsigned int index = input.index(slot.model.parts.size());
    if (index < slot.model.parts.size()) {
      changePart(slot, index);
    } else {
      refuseIndex(slot.message, index);
    }
    insertOrResize(slot, index);
  }

  void changePart(MessageSlot& slot, unsigned int index) {
    Parts& parts = slot.model.parts;
    const std::string data = input.bytes();
    switch (input.between(0, 2)) {
      case 0:
        requireQuiet(0, tavrik_setPart(slot.message, index, data.c_str()), "tavrik_setPart");
        parts[index] = data.c_str();
        break;
      case 1:
        requireQuiet(0, setBin(slot.message, index, data), "tavrik_setBinPart");
        parts[index] = data;
        break;
      default:
        requireQuiet(0, tavrik_removePart(slot.message, index), "tavrik_removePart");
        parts.erase(parts.begin() + index);
    }
  }

  static int setBin(tavrik_message_t* message, unsigned int index, const std::string& data) {
    return tavrik_setBinPart(message, index, data.data(), static_cast<unsigned int>(data.size()));
  }

  void refuseIndex(tavrik_message_t* message, unsigned int index) {
    char byte = 'x';
    requireFailure(-34, tavrik_getPartlength(message, index), "tavrik_getPartlength", outOfBounds);
    requireFailure(-35, tavrik_getPart(message, index, &byte), "tavrik_getPart", outOfBounds);
    requireFailure(-5, tavrik_getBinPart(message, index, &byte), "tavrik_getBinPart", outOfBounds);
    requireFailure(-5, tavrik_setPart(message, index, "text"), "tavrik_setPart", outOfBounds);
    requireFailure(-5, setBin(message, index, "bytes"), "tavrik_setBinPart", outOfBounds,
                   TAVRIK_LOG_ERROR);
    requireFailure(-5, tavrik_removePart(message, index), "tavrik_removePart", invalidNumber);
    fuzz::requireEqual('x', byte, "the byte that no call may write");
  }

  void insertOrResize(MessageSlot& slot, unsigned int index) {
    Parts& parts = slot.model.parts;
    const std::string data = input.bytes();
    const bool fits = index <= parts.size();
    const auto position = parts.begin() + (fits ? index : 0);
    switch (input.between(0, 2)) {
      case 0: {
        if (fits && parts.size() == mostParts) break;
        const int result = tavrik_insertPart(slot.message, index, data.c_str());
        if (!fits) return requireFailure(-5, result, "tavrik_insertPart", invalidNumber);
        requireQuiet(0, result, "tavrik_insertPart");
        parts.insert(position, data.c_str());
        break;
      }
      case 1: {
        if (fits && parts.size() == mostParts) break;
        const int result = tavrik_insertBinPart(slot.message, index, data.data(),
                                                static_cast<unsigned int>(data.size()));
        if (!fits) {
          return requireFailure(-5, result, "tavrik_insertBinPart", invalidNumber,
                                TAVRIK_LOG_ERROR);
        }
        requireQuiet(0, result, "tavrik_insertBinPart");
        parts.insert(position, data);
        break;
      }
      default: {
        const auto count = input.between<unsigned int>(0, mostParts);
        requireQuiet(0, tavrik_setnumParts(slot.message, count), "tavrik_setnumParts");
        parts.resize(count);
      }
    }
  }

  Input& input;
  std::array<MessageSlot, 3> messages;
  std::array<HandleSlot, 2> handles;
};

// ---- Statistics of one channel

unsigned int liveChannels = 0;

class Statistics {
 public:
  void sent() { counters.sentCount += monitored ? 1 : 0; }
  void received() { counters.rcvdCount += monitored ? 1 : 0; }

  void step(Input& input, tavrik_channel_t* channel) {
    switch (input.between(0, 3)) {
      case 0:
        start(tavrik_initializeStatsMonitoring(channel));
        break;
      case 1:
        stop(tavrik_stopStatsMonitoring(channel));
        break;
      case 2:
        clear(tavrik_clearTavrikStats(channel));
        break;
      default:
        read(channel);
    }
  }

 private:
  void start(int result) {
    const char* const function = "tavrik_initializeStatsMonitoring";
    if (monitored) {
      return requireFailure(-6, result, function,
                            "Channel entry already exists in channel_listtavrik:-6");
    }
    requireQuiet(0, result, function);
    monitored = true;
    counters = {};
  }

  void stop(int result) {
    const char* const function = "tavrik_stopStatsMonitoring";
    if (!monitored) {
      return requireFailure(-7, result, function,
                            "Channel entry not found in channel_listtavrik:-7");
    }
    requireQuiet(0, result, function);
    monitored = false;
  }

  void clear(int result) {
    const char* const function = "tavrik_clearTavrikStats";
    if (!monitored) return requireFailure(-8, result, function, notMonitored);
    requireQuiet(0, result, function);
    counters = {};
  }

  void read(tavrik_channel_t* channel) const {
    const char* const function = "tavrik_getTavrikStats";
    constexpr std::uint32_t untouched = 77;
    tavrikStatistics found = {untouched, untouched, untouched, untouched};
    const int result = tavrik_getTavrikStats(channel, &found);
    if (!monitored) {
      requireFailure(-8, result, function, notMonitored);
      fuzz::requireEqual(untouched, found.rcvdCount, "the record of a failed call");
      return;
    }
    requireQuiet(0, result, function);
    fuzz::requireEqual(counters.rcvdCount, found.rcvdCount, "messages received");
    fuzz::requireEqual(counters.sentCount, found.sentCount, "messages sent");
    fuzz::requireEqual(0, found.connectionState, "the connection state");
    fuzz::requireEqual(liveChannels, found.connections, "live channels");
  }

  static constexpr const char* notMonitored = "The channel is not being monitoredtavrik:-8";
  bool monitored = false;
  tavrikStatistics counters{};
};

// ---- Channels that never connect

class Unconnected {
 public:
  ~Unconnected() { destroy(); }

  void step(Input& input, Messages& messages) {
    if (channel == nullptr) return create(input);
    switch (input.between(0, 5)) {
      case 0:
        describe(input);
        break;
      case 1:
      case 2:
        statistics.step(input, channel);
        break;
      case 3:
        refuse(input, messages);
        break;
      case 4:
        refuseRole(messages);
        break;
      default:
        destroy();
    }
  }

 private:
  void create(Input& input) {
    name = input.textAroundLimit();
    const auto kind = static_cast<unsigned int>(input.between(0, 9) == 0 ? input.any<int>()
                                                                         : input.between(0, 3));
    const auto part = static_cast<unsigned int>(input.between(0, 9) == 0 ? input.any<int>()
                                                                         : input.between(0, 6));
    pattern = static_cast<pattern_t>(kind);
    role = static_cast<role_t>(part);
    channel = tavrik_createChannel(name.c_str(), pattern, role);
    const std::string text = refusal(kind, part);
    fuzz::requireEqual(text.empty() && name.size() <= longest, channel != nullptr,
                       "tavrik_createChannel");
    if (channel != nullptr) ++liveChannels;
    if (channel != nullptr || name.size() > longest) {
      fuzz::requireNoLog("tavrik_createChannel");
    } else {
      fuzz::requireLastLog(TAVRIK_LOG_ERROR, "Error : tavrik_createChannel() : " + text,
                           "tavrik_createChannel");
    }
    statistics = {};
  }

  // The checks come in this order: pattern, name, role.
  std::string refusal(unsigned int kind, unsigned int part) const {
    if (kind > 2) return "Invalid Message Patterntavrik:-10";
    if (name.empty()) return "Invalid Channel name specifiedtavrik:-1";
    constexpr const char* codes[] = {"-12", "-15", "-23"};
    if (part / 2 == kind) return "";
    return std::string("Invalid Role specifiedtavrik:") + codes[kind];
  }

  void destroy() {
    if (channel == nullptr) return;
    tavrik_deleteChannel(channel);
    fuzz::requireNoLog("tavrik_deleteChannel");
    channel = nullptr;
    --liveChannels;
  }

  void describe(Input& input) {
    const auto size = input.between<std::size_t>(1, longest + 2);
    const auto buffer = exactBuffer(size);
    requireQuiet(0, tavrik_getChannelName(channel, buffer.get(), static_cast<int>(size)),
                 "tavrik_getChannelName");
    fuzz::requireEqual(name.substr(0, size - 1), buffer.get(), "tavrik_getChannelName");
    fuzz::requireEqual(pattern, tavrik_getChannelPattern(channel), "tavrik_getChannelPattern");
    fuzz::requireEqual(role, tavrik_getChannelRole(channel), "tavrik_getChannelRole");
  }

  // Arguments that are refused before the channel is asked.
  void refuse(Input& input, Messages& messages) {
    tavrik_message_t* const message = messages.any().message;
    const std::string tooLong(longest + 1 + input.between<std::size_t>(0, 3), 's');
    char subject[SUBJECT_BUFFER_SIZE] = "unchanged";
    char value[PROPERTY_BUFFER_SIZE];
    void* data = subject;
    unsigned int length = 0;
    const long timeout = input.between<long>(LONG_MIN, -2);
    const auto prop = input.any<unsigned int>();
    requireQuiet(-1, tavrik_setProperty(channel, static_cast<channel_prop_t>(prop), nullptr),
                 "tavrik_setProperty");
    requireQuiet(-1,
                 tavrik_setProperty(channel, static_cast<channel_prop_t>(prop), tooLong.c_str()),
                 "tavrik_setProperty");
    requireQuiet(-1, tavrik_setProperty(nullptr, static_cast<channel_prop_t>(prop), ""),
                 "tavrik_setProperty");
    requireQuiet(-1, tavrik_getProperty(channel, static_cast<channel_prop_t>(prop), nullptr),
                 "tavrik_getProperty");
    requireQuiet(-1, tavrik_getProperty(nullptr, static_cast<channel_prop_t>(prop), value),
                 "tavrik_getProperty");
    requireQuiet(-1, tavrik_send(channel, tooLong.c_str(), 0), "tavrik_send");
    requireQuiet(-1, tavrik_send(channel, nullptr, 0), "tavrik_send");
    requireQuiet(-1, tavrik_send(channel, "s", input.between(INT_MIN, -1)), "tavrik_send");
    requireQuiet(-1, tavrik_send(nullptr, "s", 0), "tavrik_send");
    requireQuiet(-1, tavrik_sendmsg(channel, tooLong.c_str(), message), "tavrik_sendmsg");
    requireQuiet(-1, tavrik_sendmsg(channel, "s", nullptr), "tavrik_sendmsg");
    requireQuiet(-1, tavrik_sendmsg(nullptr, "s", message), "tavrik_sendmsg");
    requireQuiet(-1, tavrik_sendBinary(channel, tooLong.c_str(), data, 1), "tavrik_sendBinary");
    requireQuiet(-1, tavrik_sendBinary(channel, "s", nullptr, 1), "tavrik_sendBinary");
    requireQuiet(-1, tavrik_sendBinary(nullptr, "s", data, 1), "tavrik_sendBinary");
    requireQuiet(-1, tavrik_receivemsg(channel, subject, message, timeout), "tavrik_receivemsg");
    requireQuiet(-1, tavrik_receivemsg(channel, nullptr, message, 0), "tavrik_receivemsg");
    requireQuiet(-1, tavrik_receivemsg(channel, subject, nullptr, 0), "tavrik_receivemsg");
    requireQuiet(-1, tavrik_receiveBinary(channel, subject, &data, &length, timeout),
                 "tavrik_receiveBinary");
    requireQuiet(-1, tavrik_receiveBinary(channel, subject, nullptr, &length, 0),
                 "tavrik_receiveBinary");
    requireQuiet(-1, tavrik_receiveBinary(channel, subject, &data, nullptr, 0),
                 "tavrik_receiveBinary");
    requireQuiet(-1, tavrik_initializeStatsMonitoring(nullptr), "statistics of NULL");
    requireQuiet(-1, tavrik_stopStatsMonitoring(nullptr), "statistics of NULL");
    requireQuiet(-1, tavrik_clearTavrikStats(nullptr), "statistics of NULL");
    requireQuiet(-1, tavrik_getTavrikStats(channel, nullptr), "statistics into NULL");
    tavrik_deleteChannel(nullptr);
    refusePoll(input, timeout);
    fuzz::requireEqual("unchanged", subject, "the subject of a refused receive");
  }

  void refusePoll(Input& input, long timeout) {
    std::array<tavrik_pollitem_t, TAVRIK_MAX_POLL_ITEMS + 1> items{};
    for (tavrik_pollitem_t& item : items) item.socket = channel;
    requireQuiet(-1, tavrik_poll(nullptr, 1, 0), "tavrik_poll");
    requireQuiet(-1, tavrik_poll(items.data(), 0, 0), "tavrik_poll");
    requireQuiet(-1, tavrik_poll(items.data(), input.between(17U, UINT_MAX), 0), "tavrik_poll");
    requireQuiet(-1, tavrik_poll(items.data(), 1, timeout), "tavrik_poll");
    // A missing channel and a publisher are found before any channel connects.
    const auto count = input.between(1U, 16U);
    items.at(input.between(0U, count - 1)).socket = nullptr;
    const bool publisherFirst = role == PUBLISHER && items[0].socket != nullptr;
    requireQuiet(publisherFirst ? -3 : -1, tavrik_poll(items.data(), count, 0), "tavrik_poll");
  }

  // What a role may not do, and a worker that is asked for a message without waiting.
  void refuseRole(Messages& messages) {
    MessageSlot& slot = messages.any();
    char subject[SUBJECT_BUFFER_SIZE] = "unchanged";
    if (role == SUBSCRIBER) {
      const char* const text = "send() Operation NOT permitted for SUBSCRIBERtavrik:-20";
      requireFailure(-20, tavrik_sendmsg(channel, "s", slot.message), "tavrik_sendmsg", text);
      requireFailure(-20, tavrik_send(channel, "s", 0), "tavrik_send", text);
    } else if (role == PUBLISHER) {
      const char* const text = "receive() Operation NOT permitted for PUBLISHERtavrik:-21";
      requireFailure(-21, tavrik_receivemsg(channel, subject, slot.message, 0), "tavrik_receivemsg",
                     text);
    } else if (role == ASYNC_DEALER_WORKER) {
      // The log has a line at info level.
      fuzz::requireEqual(0, tavrik_receivemsg(channel, subject, slot.message, 0), "a worker");
      fuzz::requireLastLog(TAVRIK_LOG_INFO,
                           "Info : Not creating threads as timeout is 0 and role is worker",
                           "tavrik_receivemsg");
      slot.model.parts.clear();
    }
    // Every part is still there after a failed call.
    requireSame(slot);
    fuzz::requireEqual("unchanged", subject, "the subject");
  }

  tavrik_channel_t* channel = nullptr;
  std::string name;
  pattern_t pattern = REQUEST_REPLY_PATTERN;
  role_t role = REQ_CLIENT;
  Statistics statistics;
};

// ---- A client and its server

struct Sent {
  std::string subject;
  Parts parts;
};

struct Side {
  tavrik_channel_t* channel;
  Statistics statistics;
  // What the side may do now: a client sends first, a server receives first.
  bool mayReceive;
  std::optional<Sent> incoming;
};

class Pair {
 public:
  explicit Pair(Input& itsInput) : input(itsInput) {
    const std::string endpoint = "inproc://" + fuzz::uniqueName();
    for (Side* const side : {&server, &client}) {
      requireQuiet(0, tavrik_setProperty(side->channel, REQ_REP_SERVER_ENDPOINT, endpoint.c_str()),
                   "tavrik_setProperty");
      tavrik_pollitem_t item = {side->channel, 0, 0};
      requireQuiet(0, fuzz::withSockets([&] { return tavrik_poll(&item, 1, 0); }), "tavrik_poll");
      ++liveChannels;
    }
  }
  ~Pair() {
    for (const Side* const side : {&client, &server}) {
      tavrik_deleteChannel(side->channel);
      --liveChannels;
    }
    fuzz::requireNoLog("tavrik_deleteChannel");
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  void step(Messages& messages) {
    const bool first = input.flag();
    Side& side = first ? client : server;
    Side& other = first ? server : client;
    switch (input.between(0, 7)) {
      case 0:
        poll();
        break;
      case 1:
        side.statistics.step(input, side.channel);
        break;
      case 2:
      case 3:
        receive(side, messages);
        break;
      case 4:
        receiveBinary(side);
        break;
      default:
        send(side, other, messages);
    }
  }

 private:
  static Side makeSide(role_t role) {
    tavrik_channel_t* const channel = tavrik_createChannel("pair", REQUEST_REPLY_PATTERN, role);
    fuzz::require(channel != nullptr, "tavrik_createChannel");
    return {channel, {}, role == REP_SERVER, std::nullopt};
  }

  void send(Side& side, Side& other, Messages& messages) {
    Sent sent{input.textAroundLimit(), {}};
    const char* const subject = sent.subject.c_str();
    switch (input.between(0, 3)) {
      case 0: {
        std::string data = input.bytes();
        sent.parts = {data};
        const int result = tavrik_sendBinary(side.channel, subject, data.data(),
                                             static_cast<unsigned int>(data.size()));
        return requireSent(side, other, std::move(sent), result, "tavrik_sendBinary");
      }
      case 1: {
        sent.parts = {input.text(), input.text(), input.text()};
        const int result = tavrik_send(side.channel, subject, 3, sent.parts[0].c_str(),
                                       sent.parts[1].c_str(), sent.parts[2].c_str());
        return requireSent(side, other, std::move(sent), result, "tavrik_send");
      }
      case 2:
        return sendNullPart(side);
      default: {
        const MessageSlot& slot = messages.any();
        sent.parts = slot.model.parts;
        const int result = tavrik_sendmsg(side.channel, subject, slot.message);
        requireSent(side, other, std::move(sent), result, "tavrik_sendmsg");
        requireSame(slot);  // the caller's message is unchanged
      }
    }
  }

  static void requireSent(Side& side, Side& other, Sent sent, int result, const char* function) {
    if (sent.subject.size() > longest) return requireQuiet(-1, result, function);
    if (side.mayReceive) return requireTransportFailure(sendOutOfTurn, result, function);
    requireQuiet(static_cast<long long>(sent.parts.size()), result, function);
    side.mayReceive = true;
    side.statistics.sent();
    other.incoming = std::move(sent);
  }

  void sendNullPart(const Side& side) {
    const char* const part = nullptr;
    requireFailure(-33, tavrik_send(side.channel, "s", 2, "first", part), "tavrik_send",
                   "basic_string::_M_construct null not valid");
  }

  // A message that is there is received whatever the time-out; without one, do not wait.
  long timeout(const Side& side) {
    constexpr long choices[] = {0, 1, 1000, -1};
    return side.incoming ? input.oneOf(choices) : 0;
  }

  void receive(Side& side, Messages& messages) {
    MessageSlot& slot = messages.any();
    char subject[SUBJECT_BUFFER_SIZE] = "unchanged";
    const int result = tavrik_receivemsg(side.channel, subject, slot.message, timeout(side));
    slot.model.parts.clear();
    if (!side.mayReceive) {
      requireTransportFailure(receiveOutOfTurn, result, "tavrik_receivemsg");
    } else if (!side.incoming) {
      requireQuiet(0, result, "tavrik_receivemsg");
      fuzz::requireEqual("unchanged", subject, "the subject");
    } else {
      requireQuiet(static_cast<long long>(side.incoming->parts.size()), result,
                   "tavrik_receivemsg");
      fuzz::requireEqual(side.incoming->subject, subject, "the subject");
      slot.model.parts = side.incoming->parts;
      received(side);
    }
    requireSame(slot);
  }

  void receiveBinary(Side& side) {
    char subject[SUBJECT_BUFFER_SIZE] = "unchanged";
    void* data = nullptr;
    unsigned int length = 0;
    const int result = tavrik_receiveBinary(side.channel, subject, &data, &length, timeout(side));
    const std::unique_ptr<void, decltype(&std::free)> buffer(data, &std::free);
    if (!side.mayReceive) {
      return requireTransportFailure(receiveOutOfTurn, result, "tavrik_receiveBinary");
    }
    const std::size_t count = side.incoming ? side.incoming->parts.size() : 0;
    requireQuiet(static_cast<long long>(count), result, "tavrik_receiveBinary");
    fuzz::requireEqual(side.incoming ? side.incoming->subject : "unchanged", subject,
                       "the subject");
    if (count == 0) {
      fuzz::require(data == nullptr && length == 0, "nothing received, but written");
    } else {
      const std::string bytes(static_cast<const char*>(data), length);
      fuzz::requireEqual(side.incoming->parts.back(), bytes, "the last part");
    }
    if (side.incoming) received(side);
  }

  static void received(Side& side) {
    side.incoming.reset();
    side.mayReceive = false;
    side.statistics.received();
  }

  void poll() {
    const auto events = input.between<std::uint16_t>(0, 3);
    tavrik_pollitem_t items[] = {{client.channel, events, 0}, {server.channel, events, 0}};
    int expected = 0;
    std::uint16_t happened[2] = {0, 0};
    const Side* const sides[] = {&client, &server};
    for (std::size_t i = 0; i < 2; ++i) {
      const std::uint16_t in = sides[i]->incoming && sides[i]->mayReceive ? TAVRIK_POLLIN : 0;
      const std::uint16_t out = sides[i]->mayReceive ? 0 : TAVRIK_POLLOUT;
      happened[i] = static_cast<std::uint16_t>(events & (in | out));
      expected += happened[i] != 0 ? 1 : 0;
    }
    requireQuiet(expected, tavrik_poll(items, 2, expected > 0 ? -1 : 0), "tavrik_poll");
    for (std::size_t i = 0; i < 2; ++i) {
      fuzz::requireEqual(happened[i], items[i].revents, "revents");
      fuzz::require(items[i].socket == sides[i]->channel && items[i].events == events,
                    "tavrik_poll changed a record");
    }
  }

  Input& input;
  Side server = makeSide(REP_SERVER);
  Side client = makeSide(REQ_CLIENT);
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  Messages messages(input);
  std::array<Unconnected, 2> unconnected;
  // A pair costs more than all the rest, so few inputs have one.
  std::optional<Pair> pair;
  if (input.flag()) pair.emplace(input);
  while (!input.empty()) {
    const int choice = input.between(0, 3);
    if (choice == 0) {
      unconnected.at(input.between<std::size_t>(0, 1)).step(input, messages);
    } else if (choice == 1 || !pair) {
      messages.step();
    } else {
      pair->step(messages);
    }
  }
  return 0;
}
