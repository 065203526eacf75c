#include <support/plain_socket.hpp>

#include <zmq.h>

#include <stdexcept>

namespace support {
namespace {

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(std::string(what) + ": " + zmq_strerror(zmq_errno()));
}

}  // namespace

PlainSocket::PlainSocket(int type) : context(zmq_ctx_new()), socket(zmq_socket(context, type)) {
  require(socket != nullptr, "zmq_socket");
}

PlainSocket::~PlainSocket() {
  const int linger = 0;
  zmq_setsockopt(socket, ZMQ_LINGER, &linger, sizeof linger);
  zmq_close(socket);
  zmq_ctx_term(context);
}

void PlainSocket::bind(const std::string& endpoint) {
  require(zmq_bind(socket, endpoint.c_str()) == 0, "zmq_bind");
}

void PlainSocket::connect(const std::string& endpoint) {
  require(zmq_connect(socket, endpoint.c_str()) == 0, "zmq_connect");
}

void PlainSocket::setOption(int option, const std::string& value) {
  require(zmq_setsockopt(socket, option, value.data(), value.size()) == 0, "zmq_setsockopt");
}

void PlainSocket::send(const Frames& frames) {
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const int flags = i + 1 < frames.size() ? ZMQ_SNDMORE : 0;
    require(zmq_send(socket, frames[i].data(), frames[i].size(), flags) != -1, "zmq_send");
  }
}

bool PlainSocket::hasMessage(long timeout) {
  zmq_pollitem_t item = {socket, 0, ZMQ_POLLIN, 0};
  require(zmq_poll(&item, 1, timeout) != -1, "zmq_poll");
  return (item.revents & ZMQ_POLLIN) != 0;
}

Frames PlainSocket::receive(long timeout) {
  if (!hasMessage(timeout)) throw std::runtime_error("no message came");
  Frames frames;
  int more = 1;
  while (more != 0) {
    zmq_msg_t frame;
    zmq_msg_init(&frame);
    require(zmq_msg_recv(&frame, socket, 0) != -1, "zmq_msg_recv");
    frames.emplace_back(static_cast<const char*>(zmq_msg_data(&frame)), zmq_msg_size(&frame));
    more = zmq_msg_more(&frame);
    zmq_msg_close(&frame);
  }
  return frames;
}

}  // namespace support
