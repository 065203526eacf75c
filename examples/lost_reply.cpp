// A client that gets its reply although the server or the connection loses one.
//
// lost_reply [ENDPOINT]
//
// Asks the server at the endpoint. Without an endpoint, asks a server of its own that loses a
// reply.
//
// A request/reply client that waits for a reply cannot send another request: the send fails with
// ZeroMQ's "Operation cannot be accomplished in current state". If the reply does not arrive, the
// client continues with a new channel.
#include <tavrik/tavrik.hpp>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using Channel = std::unique_ptr<tavrik::TavrikChannel>;

Channel newChannel(const std::string& name, role_t role, const std::string& endpoint) {
  auto channel = std::make_unique<tavrik::TavrikChannel>(name, REQUEST_REPLY_PATTERN, role);
  channel->setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  return channel;
}

// Returns a server channel that is bound. The endpoint of a deleted channel is released a moment
// later. A channel that could not be bound cannot be used again.
Channel boundServer(const std::string& endpoint) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  for (;;) {
    auto server = newChannel("lossy", REP_SERVER, endpoint);
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

// Receives a request and is deleted before it replies. Then a second server replies to one.
void loseOneReply(const std::string& endpoint) {
  tavrik::Message message;
  char subject[SUBJECT_BUFFER_SIZE];
  boundServer(endpoint)->receive(subject, &message, -1);
  const auto server = boundServer(endpoint);
  server->receive(subject, &message, -1);
  server->send(subject, &message);
}

// Sends the request and waits for its reply. A failed send or receive is a try without a reply.
bool tryOnce(tavrik::TavrikChannel* client, const char* subject, const char* text,
             tavrik::Message* reply) {
  constexpr long patience = 300;  // milliseconds
  try {
    tavrik::Message request(1);
    request[0] = text;
    client->send(subject, &request);
    char heard[SUBJECT_BUFFER_SIZE] = "";
    return client->receive(heard, reply, patience) == 1 && std::strcmp(heard, subject) == 0;
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return false;
  }
}

// Asks until there is a reply, each time over a new channel under a new name. Returns the number of
// tries.
int ask(const std::string& endpoint, const char* subject, const char* text,
        tavrik::Message* reply) {
  constexpr int tries = 100;
  for (int count = 1; count <= tries; ++count) {
    const auto client = newChannel("asker " + std::to_string(count), REQ_CLIENT, endpoint);
    if (tryOnce(client.get(), subject, text, reply)) return count;
  }
  throw std::runtime_error("no reply");
}

// Asks once and prints the reply. Returns the number of tries.
int askAndPrint(const std::string& endpoint) {
  tavrik::Message reply;
  const int tries = ask(endpoint, "echo", "are you there?", &reply);
  std::cout << "answered: " << reply[0] << '\n';
  return tries;
}

}  // namespace

int main(int argc, char** argv) {
  std::thread server;
  try {
    if (argc > 1) return askAndPrint(argv[1]) > 0 ? 0 : 1;
    const char* const endpoint = "inproc://lost-reply";
    server = std::thread(loseOneReply, endpoint);
    const int tries = askAndPrint(endpoint);
    server.join();
    return tries > 1 ? 0 : 1;
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    std::_Exit(1);  // the server may still wait
  }
}
