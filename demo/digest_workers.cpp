// Digests files for clients, in several threads, until it is told to end by SIGTERM.
//
// digest_workers READY IPC_ENDPOINT
//
// Listens on the ipc endpoint and on a free loopback port, and writes the tcp endpoint into READY,
// a fifo. A job is a message of four parts: the client's name, the number of the job, a file's path
// and its bytes. The answer has the digest in place of the bytes.
#include "service.h"

#include <tavrik/tavrik.hpp>

#include <sodium.h>

#include <algorithm>
#include <array>
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

// Does the shortest of the jobs that it has in hand first, so that answers overtake each other.
// Each message carries the handle of the client that sent it, and so finds its way back.
class Worker {
 public:
  Worker(const std::string& tcp, const std::string& ipc) {
    channel.setServerEndPoint(tcp);
    channel.setServerEndPoint(ipc);
    channel.setWorkerEndPoint("inproc://digest-workers");
    channel.initializeStatsMonitoring();
  }

  // The first of this process starts the proxy, which binds the endpoints.
  void connect() {
    tavrik_pollitem_t item = {&channel, TAVRIK_POLLIN, 0};
    tavrik::channel_poll(&item, 1, 0);
  }

  void work() {
    while (!told_to_end()) {
      takeJobs();
      if (!jobs.empty()) answerShortest();
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
    constexpr long idle = 100;  // milliseconds
    while (jobs.size() < most) {
      Message job;
      char subject[SUBJECT_BUFFER_SIZE];
      if (channel.receive(subject, &job, jobs.empty() ? idle : 0) == 0) return;
      jobs.push_back(job);
    }
  }

  void answerShortest() {
    const auto shortest =
        std::min_element(jobs.begin(), jobs.end(), [](const Message& one, const Message& other) {
          return one.getPart(bytesPart).size() < other.getPart(bytesPart).size();
        });
    Message answer = *shortest;
    jobs.erase(shortest);
    answer[bytesPart] = digestOf(answer.getPart(bytesPart));
    channel.send("digest", &answer);
  }

  Channel channel{"digest", ASYNC_DEALER_WORKER};
  std::vector<Message> jobs;
};

// A worker that has started the proxy; tells the tcp endpoint.
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
  while (workers.size() < count) workers.push_back(std::make_unique<Worker>(tcp, ipc));

  std::vector<std::thread> threads;
  threads.reserve(count);
  for (const auto& worker : workers) {
    threads.emplace_back([&worker] {
      worker->connect();
      worker->work();
    });
  }
  say("listens on " + tcp + " and " + ipc + ", in " + std::to_string(count) + " threads");
  if (announce(fifo.c_str(), tcp.c_str()) == 0) throw std::runtime_error("nobody waits");
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
    std::_Exit(1);  // threads may be at work
  }
  return 0;
}
