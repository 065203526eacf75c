// The ZeroMQ context, and sockets from their making to their closing.
#include <core/error.hpp>
#include <core/number.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/mutex_ra.hpp>
#include <transport/socket_options.hpp>
#include <transport/transport_error.hpp>

#include <zmq.h>

#include <stdexcept>

namespace tavrik {
namespace {

int setNumber(void* socket, int option, int value) {
  return zmq_setsockopt(socket, option, &value, sizeof value);
}

bool takesNumber(option_t option) {
  for (const OptionRow& row : optionRows) {
    if (row.option == option) return row.form == ValueForm::number;
  }
  return false;
}

}  // namespace

pthread_mutex_t MQWrapper::MQWrapperMutex = PTHREAD_MUTEX_INITIALIZER;
std::atomic<MQWrapper*> MQWrapper::instance{nullptr};
std::atomic<std::uint32_t> MQWrapper::created{0};

MQWrapper* MQWrapper::getInstance() {
  if (MQWrapper* const existing = instance.load(std::memory_order_acquire)) {
    // Between the two stores below there are only a few instructions to wait for.
    while (created.load(std::memory_order_acquire) == 0) {
    }
    return existing;
  }
  // What the constructor throws is logged here, when the lock has been released: the log function
  // may be the application's and may come back here.
  return logged("Error : Tavrik::MQWrapper::MQWrapper() : ", [] {
    const MutexRA lock(&MQWrapperMutex);
    if (created.load(std::memory_order_relaxed) == 0 && instance.load() == nullptr) {
      instance.store(new MQWrapper, std::memory_order_release);
      created.store(1, std::memory_order_release);
    }
    return instance.load(std::memory_order_relaxed);
  });
}

// A context that could not be configured is left behind rather than terminated, as every context
// is; the next getInstance() makes another.
MQWrapper::MQWrapper() : context(zmq_ctx_new()) {
  if (context == nullptr) {
    const int code = constructErrorCode(sites::createContext.code);
    throw std::runtime_error(transportErrorText(sites::createContext.description, {}, {}, code));
  }
  if (zmq_ctx_set(context, ZMQ_IO_THREADS, 1) != 0) fail(sites::setIoThreads);
  for (const OptionRow& row : optionRows) optionMap[row.option] = row.number;
}

MQWrapper::~MQWrapper() = default;

int MQWrapper::constructErrorCode(int site) const {
  return compositeCode(site, zmq_errno());
}

void* MQWrapper::createEndpt(int socketType) const {
  return logged("Error : Tavrik::MQWrapper::createEndpt() : ", [&] {
    void* const socket = zmq_socket(context, socketType);
    if (socket == nullptr) fail(sites::createSocket);
    for (const KeepAliveRow& row : keepAliveRows) {
      if (setNumber(socket, row.option, row.value) == 0) continue;
      const LastError refused;
      if (zmq_close(socket) == 0) fail(row.refused, refused);
      const LastError notClosed;
      // The text tells both failures, the code the second.
      fail({row.andNotClosedCode, row.refused.description}, {refused.system, notClosed.transport},
           "\nFailed to close ZMQ socket : ", notClosed.text());
    }
    return socket;
  });
}

int MQWrapper::registerSender(void* socket, const std::string& endpoint) const {
  return logged("Error : Tavrik::MQWrapper::registerSender() : ", [&] {
    if (zmq_bind(socket, endpoint.c_str()) != 0) fail(sites::bind, " : End Point : ", endpoint);
    return 0;
  });
}

int MQWrapper::registerReceiver(void* socket, const std::string& endpoint) const {
  return logged("Error : Tavrik::MQWrapper::registerReceiver() : ", [&] {
    if (zmq_connect(socket, endpoint.c_str()) != 0) {
      fail(sites::connect, " : End Point : ", endpoint);
    }
    return 0;
  });
}

int MQWrapper::setOption(void* socket, option_t option, const std::string& value) const {
  return logged("Error : Tavrik::MQWrapper::setOption() : ", [&] {
    // An option that the table lacks goes to ZeroMQ as its number 0, which it rejects.
    const auto row = optionMap.find(option);
    const int number = row != optionMap.end() ? row->second : 0;
    const int result = takesNumber(option)
                           ? setNumber(socket, number, static_cast<int>(leadingNumber(value)))
                           : zmq_setsockopt(socket, number, value.data(), value.size());
    if (result != 0) fail(sites::setOption);
    return 0;
  });
}

void MQWrapper::deleteEndpt(void* socket) const {
  if (socket == nullptr) return;
  if (setNumber(socket, ZMQ_LINGER, 0) != 0) fail(sites::setLinger);
  if (zmq_close(socket) != 0) fail(sites::closeSocket);
}

}  // namespace tavrik
