// A list of parts with a reply handle and a count of references.
#include <core/failure.hpp>
#include <tavrik/message.hpp>

#include <utility>

namespace tavrik {
namespace {

constexpr std::uint32_t deferFreeFlag = 1U << 0U;

}  // namespace

Message::Message() = default;

Message::Message(unsigned int count) {
  logged("Error : Tavrik::Message::Message() : ", [&] { parts.resize(count); });
}

Message::Message(const Message& other) {
  logged("Error : Tavrik::Message::Message() : ", [&] {
    parts = other.parts;
    handle.reset(other.getHandle());
  });
}

// There is no test for self-assignment. The own handle is deleted before the other's is read, so a
// message assigned to itself keeps its parts and loses its handle. Callers rely on that.
Message& Message::operator=(const Message& other) {  // NOLINT(bugprone-unhandled-self-assignment)
  // Required text, do not correct: the prefix is misspelt.
  logged("Error : Tavrik::Message::Opearator=() : ", [&] {
    parts.resize(other.parts.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
      parts[i] = other.parts[i];
    }
    handle.reset();
    handle.reset(other.getHandle());
  });
  return *this;
}

Message::~Message() = default;

int Message::getnumParts() const {
  return static_cast<int>(parts.size());
}

int Message::setnumParts(unsigned int count) {
  return logged("Error : Tavrik::Message::setnumParts() : ", [&] {
    parts.resize(count);
    return 0;
  });
}

std::string Message::getPart(unsigned int index) const {
  return logged("Error : Tavrik::Message::getPart() : ", [&] {
    if (index >= parts.size()) fail(failures::partIndexOutOfBounds);
    return parts[index];
  });
}

std::string& Message::operator[](unsigned int index) {
  return logged("Error : Tavrik::Message::operator []() : ", [&]() -> std::string& {
    if (index >= parts.size()) fail(failures::partIndexOutOfBounds);
    return parts[index];
  });
}

void Message::setPart(unsigned int index, std::string data) {
  logged("Error : Tavrik::Message::setPart() : ", [&] {
    if (index >= parts.size()) fail(failures::partIndexOutOfBounds);
    parts[index] = std::move(data);
  });
}

// Only insertPart() accepts the index one past the end, where it appends.
int Message::insertPart(unsigned int index, std::string data) {
  return logged("Error : Tavrik::Message::insertPart() : ", [&] {
    if (index > static_cast<std::uint32_t>(parts.size())) fail(failures::invalidPartNumber);
    parts.insert(parts.begin() + index, std::move(data));
    return 0;
  });
}

int Message::removePart(unsigned int index) {
  return logged("Error : Tavrik::Message::removePart() : ", [&] {
    if (index >= parts.size()) fail(failures::invalidPartNumber);
    parts.erase(parts.begin() + index);
    return 0;
  });
}

MsgHandle* Message::getHandle() const {
  return handle ? handle->clone() : nullptr;
}

void Message::setHandle(const MsgHandle* newHandle) {
  if (newHandle == handle.get()) return;
  handle.reset();
  if (newHandle != nullptr) handle.reset(newHandle->clone());
}

void Message::deferMsgFree(int defer) {
  if (defer != 0) {
    flags |= deferFreeFlag;
  } else {
    flags &= ~deferFreeFlag;
  }
}

bool Message::isMsgFreeAllowed() const {
  return (flags & deferFreeFlag) == 0;
}

void Message::incrRefCount() {
  ++refCount;
}

void Message::decrRefCount() {
  --refCount;
}

unsigned int Message::getRefCount() const {
  return refCount;
}

}  // namespace tavrik
