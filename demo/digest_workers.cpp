// Digests files for clients, in several threads, until SIGTERM.
//
// digest_workers READY IPC_ENDPOINT
//
// Listens on the ipc endpoint and on a free loopback port, and writes the tcp endpoint into READY,
// a fifo. A job is a message of four parts: the client's name, the number of the job, a file's path
// and its bytes. The answer has the digest in place of the bytes. Any peer can send other messages:
// the answer to such a message has the subject "not a job".
#include "service.h"

#include <tavrik/tavrik.hpp>

#include <sodium.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using tavrik::Message;
using Channel = tavrik::AsyncRouterDealerChannel;

constexpr unsigned int bytesPart = 3;
constexpr int jobParts = 4;

// Every message that a worker receives has a handle, also one without parts.
bool arrived(const Message& message) {
  const tavrik::MsgHandle* const handle = message.getHandle();
  const bool hasHandle = handle != nullptr;
  tavrik::freeMsgHandle(handle);
  return hasHandle;
}

bool isJob(const Message& message) {
  return message.getnumParts() == jobParts;
}

std::size_t sizeOf(const Message& message) {
  return isJob(message) ? message.getPart(bytesPart).size() : 0;
}

std::string digestOf(const std::string& bytes) {
  std::array<unsigned char, crypto_hash_sha256_BYTES> digest{};
  std::array<char, 2 * crypto_hash_sha256_BYTES + 1> text{};
  crypto_hash_sha256(digest.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                     bytes.size());
  return sodium_bin2hex(text.data(), text.size(), digest.data(), digest.size());
}

void say(const std::string& line) {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  std::cout << "worker          " << line << std::endl;
}

// Takes several jobs and does the shortest first, so that answers overtake each other. Each message
// carries the handle of the client that sent it, so the answer is sent to that client.
class Worker {
 public:
  Worker(const std::string& tcp, const std::string& ipc) {
    channel.setServerEndPoint(tcp);
    channel.setServerEndPoint(ipc);
    channel.setWorkerEndPoint("inproc://digest-workers");
    channel.initializeStatsMonitoring();
  }

  // The first worker of this process starts the proxy, which binds the endpoints.
  void connect() {
    tavrik_pollitem_t item = {&channel, TAVRIK_POLLIN, 0};
    tavrik::channel_poll(&item, 1, 0);
  }

  void work() {
    while (!told_to_end()) {
      try {
        takeJobs();
        if (!jobs.empty()) answerShortest();
      } catch (const std::exception& failure) {
        say(failure.what());
        std::this_thread::sleep_for(std::chrono::milliseconds(idle));  // it may fail again at once
      }
    }
  }

  tavrikStatistics statistics() {
    tavrikStatistics stats{};
    channel.getTavrikStats(&stats);
    return stats;
  }

 private:
  void takeJobs() {
    constexpr std::size_t most = 4;
    while (jobs.size() < most) {
      Message job;
      char subject[SUBJECT_BUFFER_SIZE];
      channel.receive(subject, &job, jobs.empty() ? idle : 0);
      if (!arrived(job)) return;
      jobs.push_back(job);
    }
  }

  // If the send fails, the job stays and is tried again.
  void answerShortest() {
    const auto shortest = std::min_element(
        jobs.begin(), jobs.end(),
        [](const Message& one, const Message& other) { return sizeOf(one) < sizeOf(other); });
    Message answer = *shortest;
    if (isJob(answer)) answer[bytesPart] = digestOf(answer.getPart(bytesPart));
    channel.send(isJob(answer) ? "digest" : "not a job", &answer);
    jobs.erase(shortest);
  }

  static constexpr long idle = 100;  // milliseconds
  Channel channel{"digest", ASYNC_DEALER_WORKER};
  std::vector<Message> jobs;
};

// Returns a worker that has started the proxy, and the proxy's tcp endpoint.
std::unique_ptr<Worker> firstWorker(const std::string& ipc, std::string* tcp) {
  for (int attempt = 1;; ++attempt) {
    std::array<char, ENDPOINT_SIZE> endpoint{};
    find_endpoint(endpoint.data());
    *tcp = endpoint.data();
    auto worker = std::make_unique<Worker>(*tcp, ipc);
    try {
      worker->connect();
      return worker;
    } catch (const std::runtime_error&) {
      if (attempt == BIND_ATTEMPTS) throw;
    }
  }
}

void serve(const std::string& fifo, const std::string& ipc) {
  constexpr std::size_t count = 4;
  std::string tcp;
  std::vector<std::unique_ptr<Worker>> workers;
  workers.push_back(firstWorker(ipc, &tcp));
  while (workers.size() < count) {
    workers.push_back(std::make_unique<Worker>(tcp, ipc));
    workers.back()->connect();
  }

  std::vector<std::thread> threads;
  threads.reserve(count);
  for (const auto& worker : workers) {
    threads.emplace_back([&worker] { worker->work(); });
  }
  say("listens on " + tcp + " and " + ipc + ", in " + std::to_string(count) + " threads");
  if (announce(fifo.c_str(), tcp.c_str()) == 0)
    throw std::runtime_error("the endpoint cannot be announced");
  for (std::thread& thread : threads) thread.join();

  for (const auto& worker : workers) {
    const tavrikStatistics stats = worker->statistics();
    say(std::to_string(stats.rcvdCount) + " jobs received, " + std::to_string(stats.sentCount) +
        " answers sent");
    if (stats.rcvdCount != stats.sentCount) throw std::runtime_error("a job is left");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || sodium_init() < 0) return 2;
  await_end();
  try {
    serve(argv[1], argv[2]);
  } catch (const std::exception& failure) {
    std::cerr << "worker          " << failure.what() << std::endl;
    std::_Exit(1);  // other threads may be running
  }
  return 0;
}
