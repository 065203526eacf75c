// Replaces the library's send function in a program of the demo. Every tenth message has the fault
// that the environment variable FAULT names.
#include <support/next_function.hpp>
#include <tavrik/message.hpp>
#include <tavrik/mq_wrapper.hpp>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string>

namespace {

std::atomic<unsigned int> messages{0};

// Gives the message the identity of an earlier message to another client.
void misroute(tavrik::Message* msg) {
  static std::mutex mutex;
  static std::string someone;
  const std::lock_guard<std::mutex> lock(mutex);
  const std::string own = msg->getPart(0);
  if (messages >= 10 && !someone.empty() && someone != own) msg->setPart(0, someone);
  someone = own;
}

}  // namespace

int tavrik::MQWrapper::send(void* socket, Message* msg) const {
  static const auto real = support::next(&MQWrapper::send);
  static const std::string fault = std::getenv("FAULT");
  const bool tenth = ++messages % 10 == 0;
  if (fault == "misroute") misroute(msg);
  if (fault == "lose" && tenth) return msg->getnumParts();
  if (fault == "double" && tenth) real(this, socket, msg);
  if (tenth && (fault == "corrupt" || fault == "exaggerate")) {
    const auto last = static_cast<unsigned int>(msg->getnumParts() - 1);
    std::string text = msg->getPart(last);
    if (fault == "corrupt") text[0] = text[0] == '0' ? '1' : '0';
    if (fault == "exaggerate") text.insert(0, "9");
    msg->setPart(last, text);
  }
  return real(this, socket, msg);
}
