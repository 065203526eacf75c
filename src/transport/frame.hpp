// One ZeroMQ message frame and its life.
#ifndef TAVRIK_TRANSPORT_FRAME_HPP
#define TAVRIK_TRANSPORT_FRAME_HPP

#include <zmq.h>

#include <string>
#include <string_view>

namespace tavrik {

// A frame is open from its construction until close() succeeds. A frame that is still open when
// the object goes, because something failed on the way, is closed then; if that fails too it is
// only logged, at error level, and the failure on its way goes on. So after a failed close() there
// is a second attempt.
class Frame {
 public:
  // An empty frame, to receive into.
  Frame();

  // A frame that holds a copy of the bytes. Throws site 0x10d0000; nothing is open then.
  explicit Frame(const std::string& bytes);

  ~Frame();

  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  // Sends the frame. Throws site 0x10b0000.
  void send(void* socket, int flags);

  // Receives into the frame without waiting; false, with the error in errno, when that fails.
  bool receive(void* socket);

  // The frame's bytes, valid until it is closed.
  std::string_view bytes();

  // Closes the frame. Throws site 0x10c0000.
  void close();

 private:
  zmq_msg_t frame;
  bool open = true;
};

}  // namespace tavrik

#endif
