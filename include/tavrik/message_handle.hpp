/**
 * @file
 * The reply handle: the opaque token that lets a receiver answer the exact peer that sent a
 * message.
 *
 *     MsgHandle* handle = request.getHandle();  // a copy that this program owns
 *     reply.setHandle(handle);                  // the message makes its own copy
 *     freeMsgHandle(handle);
 *
 * One thread at a time uses a handle.
 */
#ifndef TAVRIK_MESSAGE_HANDLE_HPP
#define TAVRIK_MESSAGE_HANDLE_HPP

#include <tavrik/export.h>

#include <string>

namespace tavrik {

/** A reply handle of any kind. Applications copy and free it; its contents are private. */
class TAVRIK_API MsgHandle {
 public:
  virtual ~MsgHandle();

  /**
   * Creates a new handle of the same kind with the same contents.
   * @return a new object that the caller releases with freeMsgHandle()
   * @throws std::bad_alloc
   */
  virtual MsgHandle* clone() const = 0;
};

/** The handle of the router/dealer pattern: the routing identity of the client that sent the
 * request. */
class TAVRIK_API AsyncRouterDealerMsgHandle : public MsgHandle {
 public:
  /** Creates a handle with an empty identity. */
  AsyncRouterDealerMsgHandle();
  ~AsyncRouterDealerMsgHandle() override;

  /**
   * Replaces the identity.
   * @param id any bytes, zero bytes included; copied
   * @throws std::bad_alloc
   */
  void setIdentity(const std::string& id);

  /** @return a copy of the identity */
  std::string getIdentity() const;

  MsgHandle* clone() const override;

 private:
  std::string identity;
};

/**
 * Releases a handle obtained from MsgHandle::clone() or Message::getHandle().
 * @param handle the handle, or null, which is ignored; do not use it afterwards
 */
TAVRIK_API void freeMsgHandle(const MsgHandle* handle);

}  // namespace tavrik

#endif
