// Message against a vector of strings.
#include "support.hpp"

#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>

#include <array>
#include <memory>
#include <stdexcept>
#include <typeinfo>

namespace {

using fuzz::Input;
using fuzz::Parts;
using tavrik::AsyncRouterDealerMsgHandle;
using tavrik::Message;

// What a message is supposed to be.
struct Model {
  Parts parts;
  std::optional<std::string> identity;
  bool freeAllowed = true;
  unsigned int references = 0;
};

struct Subject {
  std::unique_ptr<Message> message = std::make_unique<Message>();
  Model model;
};

using HandlePointer = std::unique_ptr<tavrik::MsgHandle>;

std::optional<std::string> identityOf(const Message& message) {
  const HandlePointer handle(message.getHandle());
  if (handle == nullptr) return std::nullopt;
  return dynamic_cast<const AsyncRouterDealerMsgHandle&>(*handle).getIdentity();
}

void requireSame(const Subject& subject) {
  const Message& message = *subject.message;
  const Model& model = subject.model;
  fuzz::requireEqual(model.parts, support::partsOf(message), "the parts");
  const auto identity = identityOf(message);
  fuzz::require(model.identity == identity, "the handle differs");
  fuzz::requireEqual(model.freeAllowed, message.isMsgFreeAllowed(), "isMsgFreeAllowed");
  fuzz::requireEqual(model.references, message.getRefCount(), "getRefCount");
}

// The call throws std::logic_error with the text if the index is bad, and logs it once.
template <class Call>
void callAt(bool valid, const char* member, const char* text, Call&& call) {
  const std::string name = member;
  try {
    call();
    fuzz::require(valid, name + " accepted a bad index");
    fuzz::requireNoLog(name);
  } catch (const std::logic_error& error) {
    fuzz::require(!valid, name + " refused a valid index");
    fuzz::require(typeid(error) == typeid(std::logic_error), name + " threw another type");
    fuzz::requireEqual(text, error.what(), "the exception of " + name);
    const auto log = fuzz::takeLog();
    fuzz::requireEqual(1, static_cast<int>(log.size()), "log lines of " + name);
    fuzz::requireEqual("Error : Tavrik::Message::" + name + "() : " + text, log[0].text, "the log");
    fuzz::requireEqual(TAVRIK_LOG_DEBUG, log[0].level, "the level");
  }
}

constexpr const char* outOfBounds = "Message part index out of boundstavrik:-5";
constexpr const char* invalidNumber = "Invalid part numbertavrik:-5";

constexpr std::size_t mostParts = 40;

void changeParts(Input& input, Subject& subject) {
  Message& message = *subject.message;
  Parts& parts = subject.model.parts;
  const unsigned int index = input.index(parts.size());
  const bool exists = index < parts.size();
  const auto position = parts.begin() + static_cast<std::ptrdiff_t>(exists ? index : parts.size());
  switch (input.between(0, 5)) {
    case 0:
      callAt(exists, "getPart", outOfBounds, [&] {
        const std::string part = message.getPart(index);
        fuzz::requireEqual(parts.at(index), part, "getPart");
      });
      break;
    case 1: {
      const std::string data = input.bytes();
      callAt(exists, "operator []", outOfBounds, [&] { message[index] += data; });
      if (exists) *position += data;
      break;
    }
    case 2: {
      const std::string data = input.bytes();
      callAt(exists, "setPart", outOfBounds, [&] { message.setPart(index, data); });
      if (exists) *position = data;
      break;
    }
    case 3: {
      const std::string data = input.bytes();
      const bool fits = index <= parts.size();
      if (fits && parts.size() == mostParts) break;
      callAt(fits, "insertPart", invalidNumber,
             [&] { fuzz::requireEqual(0, message.insertPart(index, data), "insertPart"); });
      if (fits) parts.insert(position, data);
      break;
    }
    case 4:
      callAt(exists, "removePart", invalidNumber,
             [&] { fuzz::requireEqual(0, message.removePart(index), "removePart"); });
      if (exists) parts.erase(position);
      break;
    default: {
      const auto count = input.between<unsigned int>(0, mostParts);
      fuzz::requireEqual(0, message.setnumParts(count), "setnumParts");
      parts.resize(count);
    }
  }
}

void changeHandle(Input& input, Subject& subject, const Subject& other) {
  switch (input.between(0, 2)) {
    case 0: {
      AsyncRouterDealerMsgHandle handle;
      const std::string identity = input.bytes();
      handle.setIdentity(identity);
      subject.message->setHandle(&handle);
      handle.setIdentity("changed afterwards");
      subject.model.identity = identity;
      break;
    }
    case 1:
      subject.message->setHandle(nullptr);
      subject.model.identity.reset();
      break;
    default: {
      const HandlePointer handle(other.message->getHandle());
      subject.message->setHandle(handle.get());
      subject.model.identity = other.model.identity;
    }
  }
}

void replace(Input& input, Subject& subject, const Subject& other) {
  switch (input.between(0, 2)) {
    case 0: {
      const auto count = input.between<unsigned int>(0, mostParts);
      subject.message = std::make_unique<Message>(count);
      subject.model = Model();
      subject.model.parts.resize(count);
      break;
    }
    case 1:
      subject.message = std::make_unique<Message>(*other.message);
      subject.model = {other.model.parts, other.model.identity, true, 0};
      break;
    default:
      *subject.message = *other.message;
      subject.model.parts = other.model.parts;
      // A message assigned to itself loses its handle.
      if (&subject == &other) {
        subject.model.identity.reset();
      } else {
        subject.model.identity = other.model.identity;
      }
  }
}

void changeBookkeeping(Input& input, Subject& subject) {
  switch (input.between(0, 2)) {
    case 0: {
      const int defer = input.between(-1, 1);
      subject.message->deferMsgFree(defer);
      subject.model.freeAllowed = defer == 0;
      break;
    }
    case 1:
      subject.message->incrRefCount();
      ++subject.model.references;
      break;
    default:
      subject.message->decrRefCount();
      --subject.model.references;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  std::array<Subject, 3> subjects;
  while (!input.empty()) {
    Subject& subject = subjects.at(input.between<std::size_t>(0, subjects.size() - 1));
    const Subject& other = subjects.at(input.between<std::size_t>(0, subjects.size() - 1));
    switch (input.between(0, 7)) {
      case 0:
        changeHandle(input, subject, other);
        break;
      case 1:
        replace(input, subject, other);
        break;
      case 2:
        changeBookkeeping(input, subject);
        break;
      default:
        changeParts(input, subject);
    }
    for (const Subject& each : subjects) requireSame(each);
    fuzz::requireNoLog("a call that succeeds");
  }
  return 0;
}
