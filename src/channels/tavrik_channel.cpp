// The channel: subjects, binary payloads and polling over a pattern.
#include <core/failure.hpp>
#include <core/limits.hpp>
#include <tavrik/message.hpp>
#include <tavrik/msg_pattern.hpp>
#include <tavrik/msg_pattern_factory.hpp>
#include <tavrik/tavrik_channel.hpp>
#include <tavrik/tavrik_stats.hpp>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

namespace tavrik {
namespace {

// Removes the subject from the front of the message.
void removeSubject(Message& msg) {
  if (msg.getnumParts() > 0) msg.removePart(0);
}

}  // namespace

TavrikChannel::TavrikChannel(std::string channelName, pattern_t pattern, role_t channelRole)
    : name(std::move(channelName)), patternType(pattern), role(channelRole) {
  logged("Error : Tavrik::TavrikChannel::TavrikChannel() : ", [&] {
    if (name.length() > maxTextLength) fail(failures::channelNameTooLong);
    const MsgPatternFactory* const factory = MsgPatternFactory::getInstance();
    if (factory == nullptr) fail(failures::noFactory);
    std::unique_ptr<MsgPattern> made(factory->createMsgPattern(name, patternType, role));
    if (made == nullptr) fail(failures::noPattern);
    TavrikStats::getInstance()->incrementConnections();
    msgPattern = made.release();
  });
}

TavrikChannel::~TavrikChannel() {
  // Stop monitoring before deleting the pattern: the statistics read the pattern's socket. If a
  // step fails, the pattern and its socket are not released.
  try {
    logged("Error : Tavrik::TavrikChannel::~TavrikChannel() : ", [&] {
      TavrikStats* const stats = TavrikStats::getInstance();
      stats->decrementConnections();
      if (stats->isBeingMonitored(this)) stopStatsMonitoring();
      delete msgPattern;
    });
  } catch (const std::exception&) {
    // Logged above. A destructor must not throw.
  }
}

int TavrikChannel::send(const char* subject, Message* msg) {
  if (subject == nullptr || msg == nullptr || std::strlen(subject) > maxTextLength) return -1;
  msg->insertPart(0, subject);  // before the try block: if it fails there is no subject to remove
  try {
    const int sent = msgPattern->send(msg);
    removeSubject(*msg);
    return sent >= 1 ? sent - 1 : sent;
  } catch (const std::exception& exception) {
    // After an index error of the message, part 0 cannot be the subject.
    if (statusCode(exception.what()) != failures::invalidPartNumber.code) removeSubject(*msg);
    throw;
  }
}

int TavrikChannel::receive(char* subject, Message* msg, long timeout) {
  if (msg == nullptr || !isValidTimeout(timeout) || subject == nullptr) return -1;
  const int received = msgPattern->receive(msg, timeout);
  if (msg->getnumParts() == 0) return received;
  const std::string& first = (*msg)[0];
  const std::size_t length = std::min(first.size(), maxTextLength);
  std::strncpy(subject, first.c_str(), length);
  subject[length] = '\0';
  removeSubject(*msg);
  return msg->getnumParts();
}

int TavrikChannel::sendBinary(const char* subject, void* data, unsigned int size) {
  if (subject == nullptr || data == nullptr) return -1;
  return logged("Error : Tavrik::TavrikChannel::sendBinary() : ", [&] {
    Message message(1);
    message.setPart(0, std::string(static_cast<const char*>(data), size));
    return send(subject, &message);
  });
}

int TavrikChannel::receiveBinary(char* subject, void** data, unsigned int* size, long timeout) {
  if (subject == nullptr || data == nullptr || size == nullptr || !isValidTimeout(timeout))
    return -1;
  return logged("Error : Tavrik::TavrikChannel::receiveBinary() : ", [&] {
    Message message(1);
    const int received = receive(subject, &message, timeout);
    if (received < 0) fail(failures::receiveFailed);
    if (received == 0) return 0;
    const std::string& payload = message[static_cast<unsigned int>(message.getnumParts() - 1)];
    *data = nullptr;
    if (payload.size() > std::numeric_limits<unsigned int>::max()) fail(failures::noBuffer);
    *size = static_cast<unsigned int>(payload.size());
    *data = std::malloc(payload.size());  // the caller frees it with free()
    if (*data == nullptr) fail(failures::noBuffer);
    std::memcpy(*data, payload.data(), payload.size());
    return received;
  });
}

int TavrikChannel::setProperty(channel_prop_t prop, std::string value) {
  if (value.length() > maxTextLength) return -1;
  return msgPattern->setProperty(prop, value);
}

std::string TavrikChannel::getProperty(channel_prop_t prop) {
  return msgPattern->getProperty(prop);
}

void TavrikChannel::initializeStatsMonitoring() {
  logged("Error : Tavrik::TavrikChannel::initializeStatsMonitoring() : ",
         [&] { TavrikStats::getInstance()->insertChannel(this); });
}

void TavrikChannel::getTavrikStats(tavrikStatistics* stats) {
  logged("Error : Tavrik::TavrikChannel::getTavrikStats() : ",
         [&] { TavrikStats::getInstance()->getTavrikStats(this, stats); });
}

void TavrikChannel::clearTavrikStats() {
  logged("Error : Tavrik::TavrikChannel::clearTavrikStats() : ",
         [&] { TavrikStats::getInstance()->clearTavrikStats(this); });
}

void TavrikChannel::stopStatsMonitoring() {
  logged("Error : Tavrik::TavrikChannel::stopStatsMonitoring() : ",
         [&] { TavrikStats::getInstance()->removeChannel(this); });
}

const std::string& TavrikChannel::getName() const {
  return name;
}

pattern_t TavrikChannel::getPattern() const {
  return patternType;
}

role_t TavrikChannel::getRole() const {
  return role;
}

int channel_poll(tavrik_pollitem_t* items, unsigned int count, long timeout) {
  if (!isValidPoll(items, count, timeout)) return -1;
  // Poll a copy: pattern_poll() overwrites the socket field of its records.
  std::array<tavrik_pollitem_t, TAVRIK_MAX_POLL_ITEMS> polled;
  for (unsigned int i = 0; i < count; ++i) {
    const auto* const channel = static_cast<const TavrikChannel*>(items[i].socket);
    if (channel == nullptr) fail(failures::polledChannelNull);
    if (channel->patternType == PUBLISH_SUBSCRIBE_PATTERN && channel->role == PUBLISHER) {
      fail(failures::publisherPolled);
    }
    if (channel->msgPattern == nullptr) fail(failures::polledPatternNull);
    polled[i] = {channel->msgPattern, items[i].events, 0};
  }
  const int ready = pattern_poll(polled.data(), count, timeout);
  if (ready == -1) fail(failures::channelPollFailed);
  for (unsigned int i = 0; i < count; ++i) items[i].revents = polled[i].revents;
  return ready;
}

}  // namespace tavrik
