// Reply handles: one that counts how many of its kind are alive, and identities in and out.
#ifndef TAVRIK_TESTS_SUPPORT_COUNTED_HANDLE_HPP
#define TAVRIK_TESTS_SUPPORT_COUNTED_HANDLE_HPP

#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>

#include <memory>
#include <string>

namespace support {

// A handle without an identity, or with the default one, that counts itself and its clones.
template <class Base>
class Counted : public Base {
 public:
  explicit Counted(int& alive) : count(alive) { ++count; }
  ~Counted() override { --count; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  tavrik::MsgHandle* clone() const override { return new Counted(count); }

 private:
  int& count;
};

using CountedHandle = Counted<tavrik::MsgHandle>;

inline tavrik::AsyncRouterDealerMsgHandle handleOf(const std::string& identity) {
  tavrik::AsyncRouterDealerMsgHandle handle;
  handle.setIdentity(identity);
  return handle;
}

// The identity in the handle of a message; "none" without such a handle.
inline std::string identityOf(const tavrik::Message& message) {
  const std::unique_ptr<tavrik::MsgHandle> handle(message.getHandle());
  const auto* const own = dynamic_cast<tavrik::AsyncRouterDealerMsgHandle*>(handle.get());
  return own != nullptr ? own->getIdentity() : "none";
}

}  // namespace support

#endif
