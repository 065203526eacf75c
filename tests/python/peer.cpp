// A program in C++ for the Python suites: peer ROLE ENDPOINT [WORKER ENDPOINT]. Prints "ready" when
// it is connected, and "intact" when it has received its own message unchanged.
#include <tavrik/tavrik.hpp>

#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <string>

namespace {

using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;
using tavrik::PublishSubscribeChannel;
using tavrik::RequestReplyChannel;
using tavrik::TavrikChannel;

constexpr long patience = 20000;  // milliseconds
char subject[SUBJECT_BUFFER_SIZE];

// Every byte, a long part and an empty one.
Message sample() {
  Message message(3);
  for (int byte = 0; byte < 256; ++byte) message[0].push_back(static_cast<char>(byte));
  message[1].assign(100000, '\xab');
  return message;
}

bool isSample(const Message& message) {
  const Message expected = sample();
  if (message.getnumParts() != expected.getnumParts()) return false;
  for (unsigned int i = 0; i < 3; ++i) {
    if (message.getPart(i) != expected.getPart(i)) return false;
  }
  return true;
}

void say(const char* text) {
  std::cout << text << std::endl;
}

void receiveSample(TavrikChannel& channel) {
  Message message;
  channel.receive(subject, &message, patience);
  say(isSample(message) ? "intact" : "changed");
}

void ask(TavrikChannel& channel) {
  Message message = sample();
  channel.send("question", &message);
  receiveSample(channel);
}

void client(const std::string& endpoint, const std::string&) {
  RequestReplyChannel channel("peer", REQ_CLIENT);
  channel.setServerEndPoint(endpoint);
  ask(channel);
}

void dealerClient(const std::string& endpoint, const std::string&) {
  AsyncRouterDealerChannel channel("peer", ASYNC_DEALER_CLIENT);
  channel.setServerEndPoint(endpoint);
  ask(channel);
}

// Publishes once for each line of input.
void publisher(const std::string& endpoint, const std::string&) {
  PublishSubscribeChannel channel("peer", PUBLISHER);
  channel.setPublisherEndPoint(endpoint);
  say("ready");
  std::string line;
  while (std::getline(std::cin, line)) {
    Message message = sample();
    channel.send("news", &message);
  }
}

void subscriber(const std::string& endpoint, const std::string&) {
  PublishSubscribeChannel channel("peer", SUBSCRIBER);
  channel.subscribe("news");
  channel.setPublisherEndPoint(endpoint);
  receiveSample(channel);
}

// Sends each message back, with a proxy of its own.
void worker(const std::string& endpoint, const std::string& workerEndpoint) {
  AsyncRouterDealerChannel channel("peer", ASYNC_DEALER_WORKER);
  channel.setServerEndPoint(endpoint);
  channel.setWorkerEndPoint(workerEndpoint);
  Message message;
  channel.receive(subject, &message, 1);  // connects
  say("ready");
  for (;;) {
    if (channel.receive(subject, &message, -1) > 0) channel.send(subject, &message);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::map<std::string, std::function<void(const std::string&, const std::string&)>> roles = {
      {"client", client},       {"dealer_client", dealerClient},
      {"publisher", publisher}, {"subscriber", subscriber},
      {"worker", worker},
  };
  try {
    roles.at(argv[1])(argv[2], argc > 3 ? argv[3] : "");
  } catch (const std::exception& failure) {
    std::cout << failure.what() << std::endl;
    return 1;
  }
}
