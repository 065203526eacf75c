/**
 * @file
 * The multipart message that every channel sends and receives.
 *
 *     tavrik::Message message(2);
 *     message.setPart(0, "temperature");
 *     message[1].assign(raw, rawSize);   // any bytes, zero bytes included
 *     channel.send("reading", &message);
 *
 * One thread at a time uses a message; its reference count is a plain integer.
 */
#ifndef TAVRIK_MESSAGE_HPP
#define TAVRIK_MESSAGE_HPP

#include <tavrik/export.h>
#include <tavrik/message_handle.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tavrik {

/**
 * An ordered list of binary parts, counted from 0, with an optional reply handle.
 *
 * It also keeps a defer-free flag and a reference count for its callers. Neither is copied with the
 * message.
 *
 * A bad part index throws `std::logic_error` with code -5 and changes nothing. An allocation
 * failure throws `std::bad_alloc`.
 */
class TAVRIK_API Message {
 public:
  /** Creates a message without parts. */
  Message();

  /**
   * Creates a message of empty parts.
   * @param count the number of parts
   * @throws std::bad_alloc
   */
  explicit Message(unsigned int count);

  /**
   * Copies the parts and the reply handle, but not the flag and the reference count.
   * @param other not changed
   * @throws std::bad_alloc
   */
  Message(const Message& other);

  /**
   * Replaces the parts and the reply handle by copies of the other message's. The flag and the
   * reference count do not change. A message assigned to itself keeps its parts and loses its
   * handle.
   * @param other not changed
   * @return this message
   * @throws std::bad_alloc; the parts already assigned stay assigned
   */
  Message& operator=(const Message& other);

  ~Message();

  /** @return the number of parts */
  int getnumParts() const;

  /**
   * Changes the number of parts: adds empty ones at the end, or drops the last ones.
   * @param count the new number
   * @return 0
   * @throws std::bad_alloc
   */
  int setnumParts(unsigned int count);

  /**
   * @param index less than the number of parts
   * @return a copy of the part
   * @throws std::logic_error -5 "Message part index out of bounds"; std::bad_alloc
   */
  std::string getPart(unsigned int index) const;

  /**
   * @param index less than the number of parts
   * @return the part itself; the reference is valid until a part is inserted or removed
   * @throws std::logic_error -5 "Message part index out of bounds"
   */
  std::string& operator[](unsigned int index);

  /**
   * Replaces a part.
   * @param index less than the number of parts
   * @param data the new bytes, zero bytes included
   * @throws std::logic_error -5 "Message part index out of bounds"
   */
  void setPart(unsigned int index, std::string data);

  /**
   * Inserts a new part before part @p index, or at the end.
   * @param index at most the number of parts
   * @param data the bytes, zero bytes included
   * @return 0
   * @throws std::logic_error -5 "Invalid part number"; std::bad_alloc
   */
  int insertPart(unsigned int index, std::string data);

  /**
   * Removes a part; later parts move down by one.
   * @param index less than the number of parts
   * @return 0
   * @throws std::logic_error -5 "Invalid part number"
   */
  int removePart(unsigned int index);

  /**
   * @return a copy of the reply handle, which the caller releases with freeMsgHandle(), or null if
   * the message has none
   * @throws std::bad_alloc
   */
  MsgHandle* getHandle() const;

  /**
   * Replaces the reply handle by a copy.
   * @param newHandle the caller keeps ownership; null removes the handle; the stored pointer itself
   * changes nothing
   * @throws std::bad_alloc; the message then has no handle
   */
  void setHandle(const MsgHandle* newHandle);

  /** Sets or clears the defer-free flag. @param defer non-zero sets it, zero clears it */
  void deferMsgFree(int defer);

  /** @return true exactly when the defer-free flag is clear */
  bool isMsgFreeAllowed() const;

  /** Adds one to the reference count. */
  void incrRefCount();

  /** Subtracts one from the reference count, which wraps below zero. */
  void decrRefCount();

  /** @return the reference count; a new message starts at 0 */
  unsigned int getRefCount() const;

 private:
  std::vector<std::string> parts;
  std::unique_ptr<MsgHandle> handle;
  std::uint32_t flags = 0;
  std::uint32_t refCount = 0;
};

}  // namespace tavrik

#endif
