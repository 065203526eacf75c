// A client that has two sums worked out by two workers, each a thread of its own. In life there are
// many clients in other processes, which connect to an endpoint such as tcp://192.168.1.7:5557.
#include <tavrik/tavrik.hpp>

#include <atomic>
#include <exception>
#include <iostream>
#include <string>
#include <thread>

namespace {

const char* const clients = "inproc://sums";
const char* const workers = "inproc://sums-workers";  // where the workers of the process meet

std::atomic<bool> done{false};

// A thread has a channel of its own. All workers of one name share what the first one binds.
void work() {
  tavrik::AsyncRouterDealerChannel worker("sums", ASYNC_DEALER_WORKER);
  worker.setServerEndPoint(clients);
  worker.setWorkerEndPoint(workers);
  char subject[SUBJECT_BUFFER_SIZE];
  tavrik::Message message;
  while (!done) {
    if (worker.receive(subject, &message, 100) != 2) continue;
    // The message carries the handle of its sender: sent back with other parts, it answers it.
    const int sum = std::stoi(message[0]) + std::stoi(message[1]);
    message.setnumParts(1);
    message[0] = std::to_string(sum);
    worker.send(subject, &message);
  }
}

void ask(tavrik::TavrikChannel* client, const char* subject, const char* one, const char* other) {
  tavrik::Message question(2);
  question[0] = one;
  question[1] = other;
  client->send(subject, &question);
}

}  // namespace

int main() {
  std::thread one(work);
  std::thread other(work);
  int sum = 0;
  try {
    tavrik::AsyncRouterDealerChannel client("sums", ASYNC_DEALER_CLIENT);
    client.setServerEndPoint(clients);

    // The client need not wait for an answer before it asks again, and the answers may come in any
    // order: the subject tells which is which.
    ask(&client, "first", "2", "3");
    ask(&client, "second", "20", "30");
    for (int answers = 0; answers < 2; ++answers) {
      char subject[SUBJECT_BUFFER_SIZE];
      tavrik::Message answer;
      if (client.receive(subject, &answer, 1000) != 1) break;
      std::cout << subject << ": " << answer[0] << '\n';
      sum += std::stoi(answer[0]);
    }
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
  }
  done = true;
  one.join();
  other.join();
  return sum == 55 ? 0 : 1;
}
