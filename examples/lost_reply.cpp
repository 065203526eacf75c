// A client that gets its answer although the server loses a reply on the way.
//
// A request/reply client that waits for a reply may not send another request: that fails with
// ZeroMQ's "Operation cannot be accomplished in current state". When the reply is not coming, the
// way on is a new channel.
#include <tavrik/tavrik.hpp>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

using Channel = std::unique_ptr<tavrik::TavrikChannel>;

Channel newChannel(role_t role) {
  auto channel = std::make_unique<tavrik::TavrikChannel>("lossy", REQUEST_REPLY_PATTERN, role);
  channel->setProperty(REQ_REP_SERVER_ENDPOINT, "inproc://lost-reply");
  return channel;
}

// A server that is bound. The endpoint of a deleted channel is free again only a moment later; a
// channel that could not be bound is given up for a new one.
Channel boundServer() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  for (;;) {
    auto server = newChannel(REP_SERVER);
    tavrik_pollitem_t item = {server.get(), TAVRIK_POLLIN, 0};
    try {
      tavrik::channel_poll(&item, 1, 0);  // the first use binds
      return server;
    } catch (const std::runtime_error&) {
      if (std::chrono::steady_clock::now() > end) throw;
      std::this_thread::yield();
    }
  }
}

// Receives a request and goes down without a reply; then comes up again and answers one.
void serve() {
  tavrik::Message message;
  char subject[SUBJECT_BUFFER_SIZE];
  boundServer()->receive(subject, &message, -1);
  const auto server = boundServer();
  server->receive(subject, &message, -1);
  server->send(subject, &message);
}

// Asks until there is an answer, each time over a channel of its own.
int ask(const char* subject, const char* text, tavrik::Message* answer) {
  constexpr long patience = 300;  // milliseconds
  constexpr int attempts = 10;
  for (int attempt = 1; attempt <= attempts; ++attempt) {
    const auto client = newChannel(REQ_CLIENT);
    tavrik::Message question(1);
    question[0] = text;
    client->send(subject, &question);
    char heard[SUBJECT_BUFFER_SIZE] = "";
    client->receive(heard, answer, patience);
    if (std::strcmp(heard, subject) == 0) return attempt;
  }
  throw std::runtime_error("no answer");
}

}  // namespace

int main() {
  std::thread server(serve);
  try {
    tavrik::Message answer;
    const int attempts = ask("echo", "are you there?", &answer);
    server.join();
    std::cout << "answered: " << answer[0] << '\n';
    return attempts > 1 ? 0 : 1;
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    std::_Exit(1);
  }
}
