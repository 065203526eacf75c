// A client that requests two sums from two workers, each in a thread of its own. Usually there are
// many clients in other processes, which connect to an endpoint such as tcp://192.168.1.7:5557.
#include <tavrik/tavrik.hpp>

#include <atomic>
#include <exception>
#include <iostream>
#include <string>
#include <thread>

namespace {

const char* const clients = "inproc://sums";
const char* const workers = "inproc://sums-workers";  // between the proxy and the workers

std::atomic<bool> done{false};

// Takes one request, if there is one, and replies to it.
void serve(tavrik::TavrikChannel* worker) {
  char subject[SUBJECT_BUFFER_SIZE];
  tavrik::Message message;
  if (worker->receive(subject, &message, 100) != 2) return;
  // The message carries the handle of the client that sent it, so it is sent back to that client.
  const long long sum = static_cast<long long>(std::stoi(message[0])) + std::stoi(message[1]);
  message.setnumParts(1);
  message[0] = std::to_string(sum);
  worker->send(subject, &message);
}

// Each thread has a channel of its own. All workers of one name share the proxy that the first one
// starts.
void work() {
  tavrik::AsyncRouterDealerChannel worker("sums", ASYNC_DEALER_WORKER);
  worker.setServerEndPoint(clients);
  worker.setWorkerEndPoint(workers);
  while (!done) {
    try {
      serve(&worker);
    } catch (const std::exception& failure) {
      // Any client can send parts that are not numbers, and a send or receive may fail.
      std::cerr << failure.what() << '\n';
    }
  }
}

void ask(tavrik::TavrikChannel* client, const char* subject, const char* one, const char* other) {
  tavrik::Message request(2);
  request[0] = one;
  request[1] = other;
  client->send(subject, &request);
}

// Receives one reply, if there is one, and returns its sum; otherwise 0.
int receiveSum(tavrik::TavrikChannel* client) {
  char subject[SUBJECT_BUFFER_SIZE];
  tavrik::Message reply;
  try {
    if (client->receive(subject, &reply, 1000) != 1) return 0;
    std::cout << subject << ": " << reply[0] << '\n';
    return std::stoi(reply[0]);
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 0;
  }
}

}  // namespace

int main() {
  constexpr int expected = 55;
  std::thread one(work);
  std::thread other(work);
  int sum = 0;
  try {
    tavrik::AsyncRouterDealerChannel client("sums", ASYNC_DEALER_CLIENT);
    client.setServerEndPoint(clients);

    // The client may send more requests before it has received a reply. Replies may arrive in any
    // order: the subject tells which request each one belongs to.
    ask(&client, "first", "2", "3");
    ask(&client, "second", "20", "30");
    for (int tries = 0; sum != expected && tries < 10; ++tries) sum += receiveSum(&client);
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
  }
  done = true;
  one.join();
  other.join();
  return sum == expected ? 0 : 1;
}
