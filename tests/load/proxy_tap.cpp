#include "proxy_tap.hpp"

#include <dlfcn.h>
#include <zmq.h>

#include <string>

namespace load {
namespace {

std::mutex endpointMutex;
std::string endpoint;  // of the living tap

std::string currentEndpoint() {
  const std::lock_guard<std::mutex> lock(endpointMutex);
  return endpoint;
}

void setEndpoint(const std::string& value) {
  const std::lock_guard<std::mutex> lock(endpointMutex);
  endpoint = value;
}

// The tap must not slow the proxy down, whatever piles up in it.
void liftLimit(support::PlainSocket& socket, int option) {
  socket.setOption(option, std::string(sizeof(int), '\0'));
}

}  // namespace

ProxyTap::ProxyTap() : socket(ZMQ_PULL) {
  const std::string own = dir.ipcEndpoint();
  liftLimit(socket, ZMQ_RCVHWM);
  socket.bind(own);
  setEndpoint(own);
  listener = std::thread([this] { listen(); });
}

ProxyTap::~ProxyTap() {
  setEndpoint("");
  done = true;
  listener.join();
}

void ProxyTap::listen() {
  while (!done) {
    if (!socket.hasMessage(20)) continue;
    const support::Frames frames = socket.receive();
    const auto header = frames.size() > 2 ? Header::parse(frames[2]) : std::nullopt;
    if (!header) continue;
    const bool isRequest = frames[1] == requestSubject;
    {
      const std::lock_guard<std::mutex> lock(mutex);
      ++(isRequest ? requestCounts : answerCounts)[idOf(*header)];
    }
    ++(isRequest ? requestTotal : answerTotal);
  }
}

bool ProxyTap::waitFor(std::size_t requests, std::size_t answers) const {
  return waitUntil([&] { return requestTotal >= requests && answerTotal >= answers; });
}

std::map<RequestId, int> ProxyTap::requests() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return requestCounts;
}

std::map<RequestId, int> ProxyTap::answers() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return answerCounts;
}

}  // namespace load

extern "C" int zmq_proxy(void* frontend, void* backend, void* capture) {
  static const auto real = reinterpret_cast<decltype(&zmq_proxy)>(dlsym(RTLD_NEXT, "zmq_proxy"));
  const std::string endpoint = load::currentEndpoint();
  if (endpoint.empty()) return real(frontend, backend, capture);
  support::PlainSocket tap(ZMQ_PUSH);
  load::liftLimit(tap, ZMQ_SNDHWM);
  tap.connect(endpoint);
  return real(frontend, backend, tap.raw());
}
