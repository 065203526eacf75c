// The C functions for messages. Each checks its arguments, then makes one call.
#include <c_interface/exception_barrier.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>

#include <climits>
#include <cstring>
#include <memory>
#include <string>

using namespace tavrik;

namespace {

std::string bytes(const void* data, unsigned int length) {
  return {static_cast<const char*>(data), length};
}

// The part at an index, if its length is a value of int: longer parts cannot be measured in C.
const std::string& measurablePart(Message& message, unsigned int index) {
  const std::string& part = message[index];
  if (part.size() > static_cast<std::size_t>(INT_MAX)) fail(failures::partTooLong);
  return part;
}

}  // namespace

tavrik_message_t* tavrik_createMessage(unsigned int nparts) {
  return objectOrNull<tavrik_message_t>(atError("Error : tavrik_createMessage() : "), [&] {
    auto message = std::make_unique<Message>(nparts);
    message->incrRefCount();
    return message.release();
  });
}

void tavrik_deleteMessage(tavrik_message_t* msg) {
  if (msg == nullptr) return;
  decodedStatus(atError("Error : tavrik_deleteMessage() : "), [&] {
    msg->decrRefCount();
    if (msg->getRefCount() == 0) delete msg;
    return 0;
  });
}

// Unlike tavrik_createMessage() this takes no reference. Callers take one before they delete a
// copy.
tavrik_message_t* tavrik_copyMessage(const tavrik_message_t* msg, unsigned int nparts) {
  return objectOrNull<tavrik_message_t>(atError("Error : tavrik_copyMessage() : "), [&] {
    auto copy = std::make_unique<Message>(nparts);
    *copy = *msg;
    return copy.release();
  });
}

int tavrik_getnumParts(tavrik_message_t* msg) {
  constexpr int failure = -36;
  if (msg == nullptr) return refused;
  return fixedStatus(failure, atDebug("Error : tavrik_getnumParts() : "),
                     [&] { return msg->getnumParts(); });
}

int tavrik_setnumParts(tavrik_message_t* msg, unsigned int nparts) {
  if (msg == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_setnumParts() : "),
                       [&] { return msg->setnumParts(nparts); });
}

int tavrik_getPartlength(tavrik_message_t* msg, unsigned int index) {
  constexpr int failure = -34;
  if (msg == nullptr) return refused;
  return fixedStatus(failure, atDebug("Error : tavrik_getPartlength() : "),
                     [&] { return static_cast<int>(measurablePart(*msg, index).size()); });
}

int tavrik_getPart(tavrik_message_t* msg, unsigned int index, char* buffer) {
  constexpr int failure = -35;
  if (msg == nullptr || buffer == nullptr) return refused;
  return fixedStatus(failure, atDebug("Error : tavrik_getPart() : "), [&] {
    const char* const text = (*msg)[index].c_str();
    std::memcpy(buffer, text, std::strlen(text) + 1);
    return 0;
  });
}

int tavrik_setPart(tavrik_message_t* msg, unsigned int index, const char* text) {
  if (msg == nullptr || text == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_setPart() : "), [&] {
    (*msg)[index] = text;
    return 0;
  });
}

int tavrik_getBinPart(tavrik_message_t* msg, unsigned int index, void* buffer) {
  if (msg == nullptr || buffer == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_getBinPart() : "), [&] {
    const std::string& part = measurablePart(*msg, index);
    std::memcpy(buffer, part.data(), part.size());
    return 0;
  });
}

int tavrik_setBinPart(tavrik_message_t* msg, unsigned int index, const void* data,
                      unsigned int length) {
  if (msg == nullptr || data == nullptr) return refused;
  return decodedStatus(atError("Error : tavrik_setBinPart() : "), [&] {
    (*msg)[index] = bytes(data, length);
    return 0;
  });
}

int tavrik_insertPart(tavrik_message_t* msg, unsigned int index, const char* text) {
  if (msg == nullptr || text == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_insertPart() : "),
                       [&] { return msg->insertPart(index, text); });
}

int tavrik_insertBinPart(tavrik_message_t* msg, unsigned int index, const void* data,
                         unsigned int length) {
  if (msg == nullptr || data == nullptr) return refused;
  return decodedStatus(atError("Error : tavrik_insertBinPart() : "),
                       [&] { return msg->insertPart(index, bytes(data, length)); });
}

int tavrik_removePart(tavrik_message_t* msg, unsigned int index) {
  if (msg == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_removePart() : "),
                       [&] { return msg->removePart(index); });
}

const tavrik_msghandle_t* tavrik_getHandle(tavrik_message_t* msg) {
  if (msg == nullptr) return nullptr;
  return objectOrNull<const tavrik_msghandle_t>(atError("Error : tavrik_getHandle() : "),
                                                [&] { return msg->getHandle(); });
}

int tavrik_setHandle(tavrik_message_t* msg, const tavrik_msghandle_t* handle) {
  if (msg == nullptr) return refused;
  return decodedStatus(atDebug("Error : tavrik_setHandle() : "), [&] {
    msg->setHandle(handle);
    return 0;
  });
}

// Required asymmetry: non-zero takes a reference, zero only clears the flag.
int tavrik_deferMsgFree(tavrik_message_t* msg, int defer) {
  constexpr int failure = -1;
  if (msg == nullptr) return refused;
  return fixedStatus(failure, atError("Error : tavrik_deferMsgFree() : "), [&] {
    if (defer != 0) {
      msg->incrRefCount();
    } else {
      msg->deferMsgFree(0);
    }
    return 0;
  });
}
