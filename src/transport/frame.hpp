// One ZeroMQ message frame.
#ifndef TAVRIK_TRANSPORT_FRAME_HPP
#define TAVRIK_TRANSPORT_FRAME_HPP

#include <zmq.h>

#include <string>
#include <string_view>

namespace tavrik {

// A frame is open from its construction until close() succeeds. The destructor closes a frame that
// is still open, so a failed close() is attempted a second time. A failure to close it there is
// logged at error level, not thrown.
class Frame {
 public:
  // Creates an empty frame to receive into.
  Frame();

  // Creates a frame with a copy of the bytes. Throws site 0x10d0000; then no frame is open.
  explicit Frame(const std::string& bytes);

  ~Frame();

  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  // Sends the frame. Throws site 0x10b0000.
  void send(void* socket, int flags);

  // Receives into the frame without waiting. Returns false on failure, with the error in errno.
  bool receive(void* socket);

  // Returns the frame's bytes, which are valid until it is closed.
  std::string_view bytes();

  // Closes the frame. Throws site 0x10c0000.
  void close();

 private:
  zmq_msg_t frame;
  bool open = true;
};

}  // namespace tavrik

#endif
