// A process with workers of one channel name, each in its own thread. Takes their number, the
// client endpoint, the worker endpoint and optionally the type of service. Prints "ready" when the
// proxy listens. A worker sends each message back with its own name, such as worker-1, as the
// subject. On the subject "hold" it prints "holding" and waits for a line of input before it
// replies.
#include <tavrik/tavrik.hpp>

#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using tavrik::AsyncRouterDealerChannel;
using tavrik::Message;

std::unique_ptr<AsyncRouterDealerChannel> connectedWorker(const std::vector<std::string>& given) {
  auto worker = std::make_unique<AsyncRouterDealerChannel>("network", ASYNC_DEALER_WORKER);
  worker->setServerEndPoint(given[1]);
  worker->setWorkerEndPoint(given[2]);
  if (given.size() > 3) worker->setProperty(CHANNEL_TOS_PRIORITY, given[3]);
  tavrik_pollitem_t item = {worker.get(), TAVRIK_POLLIN, 0};
  tavrik::channel_poll(&item, 1, 0);
  return worker;
}

[[noreturn]] void work(AsyncRouterDealerChannel& worker, const std::string& name) {
  for (;;) {
    char subject[SUBJECT_BUFFER_SIZE] = "";
    Message message;
    if (worker.receive(subject, &message, -1) == 0) continue;
    if (std::string(subject) == "hold") {
      std::cout << "holding" << std::endl;
      std::string line;
      std::getline(std::cin, line);
    }
    worker.send(name.c_str(), &message);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> given(argv + 1, argv + argc);
  if (given.size() < 3) return 2;
  std::vector<std::unique_ptr<AsyncRouterDealerChannel>> workers;
  std::vector<std::thread> threads;
  for (int number = 1; number <= std::stoi(given[0]); ++number) {
    workers.push_back(connectedWorker(given));
    threads.emplace_back(work, std::ref(*workers.back()), "worker-" + std::to_string(number));
  }
  std::cout << "ready" << std::endl;
  for (std::thread& thread : threads) thread.join();
}
