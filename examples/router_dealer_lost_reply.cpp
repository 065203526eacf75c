// A client that gets all its replies although workers, the proxy or the connection lose some.
//
// router_dealer_lost_reply [ENDPOINT]
//
// Asks the workers at the endpoint. Without an endpoint, asks a worker of its own that loses the
// first requests.
//
// The client keeps its unanswered requests and sends them again. After several tries without a
// reply it continues with a new channel under a new name. If the client's side of a connection
// broke alone, the proxy still holds the old connection under the old name, and ignores a new one
// under the same name.
#include <tavrik/tavrik.hpp>

#include <unistd.h>

#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using Texts = std::map<std::string, std::string>;  // by the number of the request

constexpr int triesEach = 3;    // over one channel
constexpr int channels = 30;    // after which the client gives up
constexpr long patience = 200;  // milliseconds

// Returns a name that no other client has, here or on another host.
std::string newName() {
  static int count = 0;
  char host[256] = "";
  gethostname(host, sizeof host - 1);
  return std::string("asker ") + host + ' ' + std::to_string(getpid()) + ' ' +
         std::to_string(++count);
}

// Sends all unanswered requests.
void sendAll(tavrik::TavrikChannel* client, const Texts& unanswered) {
  for (const auto& entry : unanswered) {
    tavrik::Message request(2);
    request[0] = entry.first;
    request[1] = entry.second;
    client->send("echo", &request);
  }
}

// Receives until every request has its reply, or until no message arrives in time. The first reply
// to a number counts; later ones are dropped. Returns whether there was a reply.
bool receiveAll(tavrik::TavrikChannel* client, Texts* unanswered, Texts* replies) {
  bool any = false;
  while (!unanswered->empty()) {
    char subject[SUBJECT_BUFFER_SIZE];
    tavrik::Message reply;
    const int parts = client->receive(subject, &reply, patience);
    if (parts == 0) break;
    if (parts != 2 || unanswered->erase(reply[0]) == 0) continue;
    (*replies)[reply[0]] = reply[1];
    any = true;
  }
  return any;
}

// Sends and receives until several tries in a row were without a reply. A failed send or receive is
// a try without a reply.
void askOverOneChannel(const std::string& endpoint, Texts* unanswered, Texts* replies) {
  tavrik::AsyncRouterDealerChannel client(newName(), ASYNC_DEALER_CLIENT);
  client.setServerEndPoint(endpoint);
  for (int failed = 0; failed < triesEach && !unanswered->empty();) {
    try {
      sendAll(&client, *unanswered);
      failed = receiveAll(&client, unanswered, replies) ? 0 : failed + 1;
    } catch (const std::exception& failure) {
      std::cerr << failure.what() << '\n';
      ++failed;
    }
  }
}

Texts ask(const std::string& endpoint, Texts unanswered) {
  Texts replies;
  for (int count = 0; count < channels && !unanswered.empty(); ++count) {
    askOverOneChannel(endpoint, &unanswered, &replies);
  }
  if (!unanswered.empty()) throw std::runtime_error("no reply");
  return replies;
}

// Loses as many requests as a client sends over its first channel, and replies to later ones.
void loseSome(const std::string& endpoint, int lost) {
  tavrik::AsyncRouterDealerChannel worker("lossy", ASYNC_DEALER_WORKER);
  worker.setServerEndPoint(endpoint);
  worker.setWorkerEndPoint("inproc://lossy-workers");
  for (;;) {
    try {
      char subject[SUBJECT_BUFFER_SIZE];
      tavrik::Message message;
      if (worker.receive(subject, &message, -1) != 2 || lost-- > 0) continue;
      worker.send(subject, &message);
    } catch (const std::exception& failure) {
      std::cerr << failure.what() << '\n';
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Texts requests = {{"1", "spring"}, {"2", "summer"}, {"3", "autumn"}};
  try {
    const std::string endpoint = argc > 1 ? argv[1] : "inproc://lost-replies";
    if (argc == 1) {
      std::thread(loseSome, endpoint, triesEach * static_cast<int>(requests.size())).detach();
    }
    const Texts replies = ask(endpoint, requests);
    std::cout << "answered:";
    for (const auto& reply : replies) std::cout << ' ' << reply.second;
    std::cout << std::endl;
    return replies == requests ? 0 : 1;
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
