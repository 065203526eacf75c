// The C functions for channels. Each checks its arguments, then makes one call.
#include <c_interface/exception_barrier.hpp>
#include <core/limits.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/tavrik_channel.hpp>

#include <cstdarg>
#include <cstring>
#include <stdexcept>
#include <string>

using namespace tavrik;

namespace {

bool tooLong(const char* text) {
  return std::strlen(text) > maxTextLength;
}

// Copies as much text as the buffer holds and ends it with a NUL.
void copyText(const std::string& text, char* buffer, std::size_t bufferSize) {
  buffer[text.copy(buffer, bufferSize - 1)] = '\0';
}

}  // namespace

tavrik_channel_t* tavrik_createChannel(const char* name, pattern_t pattern, role_t role) {
  if (name == nullptr || tooLong(name)) return nullptr;
  return objectOrNull<tavrik_channel_t>(atError("Error : tavrik_createChannel() : "),
                                        [&] { return new TavrikChannel(name, pattern, role); });
}

void tavrik_deleteChannel(tavrik_channel_t* channel) {
  decodedStatus(atError("Error : tavrik_deleteChannel() : "), [&] {
    delete channel;
    return 0;
  });
}

int tavrik_setProperty(tavrik_channel_t* channel, channel_prop_t prop, const char* value) {
  if (channel == nullptr || value == nullptr || tooLong(value)) return refused;
  return decodedStatus(atDebug("Error : tavrik_setProperty() : "),
                       [&] { return channel->setProperty(prop, value); });
}

int tavrik_getProperty(tavrik_channel_t* channel, channel_prop_t prop, char* value) {
  if (channel == nullptr || value == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_getProperty() : "), [&] {
    copyText(channel->getProperty(prop), value, PROPERTY_BUFFER_SIZE);
    return 0;
  });
}

int tavrik_send(tavrik_channel_t* channel, const char* subject, int nparts, ...) {
  if (channel == nullptr || subject == nullptr || tooLong(subject) || nparts < 0) return refused;
  std::va_list arguments;
  va_start(arguments, nparts);
  const int result = decodedStatus(atDebug("Error : tavrik_send() : "), [&] {
    const auto count = static_cast<unsigned int>(nparts);
    Message message(count);
    for (unsigned int i = 0; i < count; ++i) {
      const char* const text = va_arg(arguments, const char*);
      // Thrown here because the standard library's text for a null string depends on its version.
      if (text == nullptr) throw std::logic_error("basic_string::_M_construct null not valid");
      message.setPart(i, text);
    }
    return channel->send(subject, &message);
  });
  va_end(arguments);
  return result;
}

int tavrik_sendmsg(tavrik_channel_t* channel, const char* subject, tavrik_message_t* msg) {
  if (channel == nullptr || subject == nullptr || msg == nullptr || tooLong(subject)) {
    return refused;
  }
  return decodedStatus(atDebug("Error : tavrik_sendmsg() : "),
                       [&] { return channel->send(subject, msg); });
}

int tavrik_receivemsg(tavrik_channel_t* channel, char* subject, tavrik_message_t* msg,
                      long timeout) {
  if (channel == nullptr || subject == nullptr || msg == nullptr || !isValidTimeout(timeout))
    return refused;
  return decodedStatus(atDebug("Error : tavrik_receivemsg() : "),
                       [&] { return channel->receive(subject, msg, timeout); });
}

int tavrik_sendBinary(tavrik_channel_t* channel, const char* subject, void* data,
                      unsigned int length) {
  if (channel == nullptr || subject == nullptr || data == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_sendBinary() : "),
                       [&] { return channel->sendBinary(subject, data, length); });
}

int tavrik_receiveBinary(tavrik_channel_t* channel, char* subject, void** data,
                         unsigned int* length, long timeout) {
  if (channel == nullptr || subject == nullptr || data == nullptr || length == nullptr ||
      !isValidTimeout(timeout)) {
    return refused;
  }
  return decodedStatus(atDebug("Error : tavrik_receiveBinary() : "),
                       [&] { return channel->receiveBinary(subject, data, length, timeout); });
}

int tavrik_initializeStatsMonitoring(tavrik_channel_t* channel) {
  if (channel == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_initializeStatsMonitoring() : "), [&] {
    channel->initializeStatsMonitoring();
    return 0;
  });
}

int tavrik_getTavrikStats(tavrik_channel_t* channel, tavrikStatistics* stats) {
  if (channel == nullptr || stats == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_getTavrikStats() : "), [&] {
    channel->getTavrikStats(stats);
    return 0;
  });
}

int tavrik_clearTavrikStats(tavrik_channel_t* channel) {
  if (channel == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_clearTavrikStats() : "), [&] {
    channel->clearTavrikStats();
    return 0;
  });
}

int tavrik_stopStatsMonitoring(tavrik_channel_t* channel) {
  if (channel == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_stopStatsMonitoring() : "), [&] {
    channel->stopStatsMonitoring();
    return 0;
  });
}

int tavrik_poll(tavrik_pollitem_t* items, unsigned int count, long timeout) {
  if (!isValidPoll(items, count, timeout)) return refused;
  return decodedStatus(unlogged(), [&] { return channel_poll(items, count, timeout); });
}

int tavrik_getChannelName(tavrik_channel_t* channel, char* name, int size) {
  // Required text, do not correct: the prefix names another function.
  return decodedStatus(atError("Error : tavrik_deleteChannel() : "), [&] {
    copyText(channel->getName(), name, static_cast<std::size_t>(size));
    return 0;
  });
}

role_t tavrik_getChannelRole(tavrik_channel_t* channel) {
  return channel->getRole();
}

pattern_t tavrik_getChannelPattern(tavrik_channel_t* channel) {
  return channel->getPattern();
}

void tavrik_freeMsgHandle(const tavrik_msghandle_t* handle) {
  freeMsgHandle(handle);
}
