// A ZeroMQ frame from creation to closing.
#include <core/log_line.hpp>
#include <transport/frame.hpp>
#include <transport/transport_error.hpp>

#include <cstring>

namespace tavrik {

Frame::Frame() {
  zmq_msg_init(&frame);
}

Frame::Frame(const std::string& bytes) {
  if (zmq_msg_init_size(&frame, bytes.size()) != 0) fail(sites::initializeFrame);
  std::memcpy(zmq_msg_data(&frame), bytes.data(), bytes.size());
}

Frame::~Frame() {
  if (open && zmq_msg_close(&frame) != 0) {
    logLine(TAVRIK_LOG_ERROR, "Failed to close  ZeroMQ messagepart : ", zmq_strerror(errno));
  }
}

void Frame::send(void* socket, int flags) {
  if (zmq_msg_send(&frame, socket, flags) == -1) fail(sites::sendFrame);
}

bool Frame::receive(void* socket) {
  return zmq_msg_recv(&frame, socket, ZMQ_DONTWAIT) != -1;
}

std::string_view Frame::bytes() {
  return {static_cast<const char*>(zmq_msg_data(&frame)), zmq_msg_size(&frame)};
}

void Frame::close() {
  if (zmq_msg_close(&frame) != 0) fail(sites::closeFrame);
  open = false;
}

}  // namespace tavrik
