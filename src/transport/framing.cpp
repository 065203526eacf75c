// Messages on and off sockets, a part per frame, and waiting on sockets.
//
// Nothing stands on the wire but the parts: no header, no terminator, no envelope.
#include <core/error.hpp>
#include <core/limits.hpp>
#include <tavrik/message.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/tavrik_stats.hpp>
#include <transport/frame.hpp>
#include <transport/transport_error.hpp>

#include <zmq.h>

#include <array>

namespace tavrik {
namespace {

// Copies a received frame's bytes into a new last part.
void appendPart(Message& msg, Frame& frame) {
  const auto last = static_cast<unsigned int>(msg.getnumParts());
  msg.setnumParts(last + 1);
  msg[last].assign(frame.bytes());
  frame.close();
}

// Receives a frame that is due: the first one after a poll, or any after the first.
void receivePart(void* socket, Message& msg) {
  Frame frame;
  if (!frame.receive(socket)) fail(sites::receiveFrame);
  appendPart(msg, frame);
}

// Receives a first frame if there is one.
bool tryReceivePart(void* socket, Message& msg) {
  Frame frame;
  if (frame.receive(socket)) {
    appendPart(msg, frame);
    return true;
  }
  const LastError error;
  frame.close();
  if (error.transport != EAGAIN) fail(sites::receiveFrame, error);
  return false;
}

// A wait that a signal ends, or that fails, counts as one in which nothing came.
bool becomesReadable(void* socket, long timeout) {
  zmq_pollitem_t item = {socket, 0, ZMQ_POLLIN, 0};
  zmq_poll(&item, 1, timeout);
  return (item.revents & ZMQ_POLLIN) != 0;
}

bool moreFollows(void* socket) {
  int more = 0;
  std::size_t size = sizeof more;
  if (zmq_getsockopt(socket, ZMQ_RCVMORE, &more, &size) != 0) fail(sites::readMore);
  return more != 0;
}

}  // namespace

int MQWrapper::send(void* socket, Message* msg) const {
  if (socket == nullptr || msg == nullptr) return -1;
  return logged("Error : Tavrik::MQWrapper::send() : ", [&] {
    int sent = 0;
    while (sent < msg->getnumParts()) {
      const bool last = sent + 1 == msg->getnumParts();
      Frame frame((*msg)[static_cast<unsigned int>(sent)]);
      frame.send(socket, last ? ZMQ_DONTWAIT : ZMQ_DONTWAIT | ZMQ_SNDMORE);
      frame.close();
      ++sent;
    }
    if (sent > 0) TavrikStats::getInstance()->incrementSentCount(socket);
    return sent;
  });
}

int MQWrapper::receive(void* socket, Message* msg, long timeout) const {
  if (socket == nullptr || msg == nullptr || !isTimeout(timeout)) return -1;
  return logged("Error : Tavrik::MQWrapper::receive() : ", [&] {
    msg->setnumParts(0);
    if (!tryReceivePart(socket, *msg)) {
      if (timeout == 0 || !becomesReadable(socket, timeout)) return 0;
      receivePart(socket, *msg);
    }
    while (moreFollows(socket)) receivePart(socket, *msg);
    TavrikStats::getInstance()->incrementRcvdCount(socket);
    return msg->getnumParts();
  });
}

int MQWrapper::poll(tavrik_pollitem_t* items, unsigned int count, long timeout) const {
  if (!isPoll(items, count, timeout)) return -1;
  constexpr int noDescriptor = -1;  // an item without a socket watches nothing
  std::array<zmq_pollitem_t, TAVRIK_MAX_POLL_ITEMS> polled;
  for (unsigned int i = 0; i < count; ++i) {
    polled[i] = {items[i].socket, noDescriptor, static_cast<short>(items[i].events), 0};
  }
  const int ready = zmq_poll(polled.data(), static_cast<int>(count), timeout);
  if (ready == -1) fail(sites::poll);
  for (unsigned int i = 0; i < count; ++i) {
    items[i].revents = static_cast<std::uint16_t>(polled[i].revents);
  }
  return ready;
}

}  // namespace tavrik
