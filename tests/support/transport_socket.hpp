// A socket of the transport that closes itself.
#ifndef TAVRIK_TESTS_SUPPORT_TRANSPORT_SOCKET_HPP
#define TAVRIK_TESTS_SUPPORT_TRANSPORT_SOCKET_HPP

#include <tavrik/mq_wrapper.hpp>

namespace support {

class TransportSocket {
 public:
  explicit TransportSocket(int type)
      : socket(tavrik::MQWrapper::getInstance()->createEndpt(type)) {}
  ~TransportSocket() { tavrik::MQWrapper::getInstance()->deleteEndpt(socket); }
  TransportSocket(const TransportSocket&) = delete;
  TransportSocket& operator=(const TransportSocket&) = delete;

  operator void*() const { return socket; }

 private:
  void* socket;
};

}  // namespace support

#endif
