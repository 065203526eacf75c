// Sends and receives messages, one frame for each part, and polls sockets.
//
// The wire carries the parts only: no header, no terminator, no envelope.
#include <core/failure.hpp>
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

const char* const receivePrefix = "Error : Tavrik::MQWrapper::receive() : ";

// Copies a received frame's bytes into a new last part.
void appendPart(Message& msg, Frame& frame) {
  const auto last = static_cast<unsigned int>(msg.getnumParts());
  msg.setnumParts(last + 1);
  msg[last].assign(frame.bytes());
  frame.close();
}

// Receives a frame that must be there: the first one after a poll, or any later one.
void receivePart(void* socket, Message& msg, bool& insideMessage) {
  Frame frame;
  if (!frame.receive(socket)) fail(sites::receiveFrame);
  insideMessage = true;
  appendPart(msg, frame);
}

// Receives the first frame if there is one. Returns whether there was one.
bool tryReceivePart(void* socket, Message& msg, bool& insideMessage) {
  Frame frame;
  if (frame.receive(socket)) {
    insideMessage = true;
    appendPart(msg, frame);
    return true;
  }
  const LastError error;
  frame.close();
  if (error.transport != EAGAIN) fail(sites::receiveFrame, error);
  return false;
}

// Waits for a message. A wait that a signal interrupts, or that fails, returns false.
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
  bool insideMessage = false;
  return receive(socket, msg, timeout, insideMessage);
}

int MQWrapper::receive(void* socket, Message* msg, long timeout, bool& insideMessage) const {
  if (socket == nullptr || msg == nullptr || !isValidTimeout(timeout)) return -1;
  return logged(receivePrefix, [&] {
    msg->setnumParts(0);
    if (!tryReceivePart(socket, *msg, insideMessage)) {
      if (timeout == 0 || !becomesReadable(socket, timeout)) return 0;
      receivePart(socket, *msg, insideMessage);
    }
    while (moreFollows(socket)) receivePart(socket, *msg, insideMessage);
    insideMessage = false;
    TavrikStats::getInstance()->incrementRcvdCount(socket);
    return msg->getnumParts();
  });
}

// A part of receiving: it logs with that prefix.
void MQWrapper::discardRest(void* socket) const {
  logged(receivePrefix, [&] {
    while (moreFollows(socket)) {
      Frame frame;
      if (!frame.receive(socket)) fail(sites::receiveFrame);
      frame.close();
    }
  });
}

int MQWrapper::poll(tavrik_pollitem_t* items, unsigned int count, long timeout) const {
  if (!isValidPoll(items, count, timeout)) return -1;
  constexpr int noDescriptor = -1;  // ZeroMQ ignores an item with neither socket nor descriptor
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
