// A request/reply server and the workers of a proxy, which answer each request with itself.
#ifndef TAVRIK_TESTS_DEATH_AND_RETURN_SERVERS_HPP
#define TAVRIK_TESTS_DEATH_AND_RETURN_SERVERS_HPP

#include "ledger.hpp"
#include "storm.hpp"

#include <support/parts.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <list>
#include <load/request.hpp>
#include <string>
#include <thread>
#include <utility>

namespace deaths {

// What the servers do wrong on request, so that the tests see it noticed.
class Sabotage {
 public:
  // @p whatToDo is "none", "lost", "wrong", "twice", "death" or "descriptors".
  explicit Sabotage(std::string whatToDo) : kind(std::move(whatToDo)) {}

  // Whether to do it to this request, and to each try of it.
  bool isDue(const char* asked, int request) const {
    constexpr int interval = 200;
    return kind == asked && request % interval == interval / 2;
  }

 private:
  const std::string kind;
};

class Servers {
 public:
  // The endpoints are ipc endpoints. With a heartbeat of 0, the servers do not notice that a link
  // is silent or that the other side of a connection is gone.
  Servers(Ledger& all, const std::string& requests, const std::string& jobs,
          const std::string& heartbeat, std::uint32_t contents, const std::string& sabotage)
      : ledger(all), seed(contents), fault(sabotage) {
    constexpr int workers = 2;
    channels.emplace_back("requests", REQUEST_REPLY_PATTERN, REP_SERVER);
    channels.back().setProperty(REQ_REP_SERVER_ENDPOINT, requests);
    for (int i = 0; i < workers; ++i) {
      channels.emplace_back("jobs", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER);
      channels.back().setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, jobs);
      channels.back().setProperty(ASYNC_DEALER_WORKER_ENDPOINT, "inproc://workers");
    }
    for (tavrik::TavrikChannel& channel : channels) {
      channel.setProperty(CHANNEL_HEARTBEAT, heartbeat);
      // The first use binds. A proxy that did not block signals would be open to them.
      const OpenToStorm open;
      tavrik_pollitem_t item = {&channel, TAVRIK_POLLIN, 0};
      tavrik::channel_poll(&item, 1, 0);
    }
    for (tavrik::TavrikChannel& channel : channels) {
      threads.emplace_back([&] { serve(channel); });
    }
  }

  ~Servers() {
    ending = true;
    for (std::thread& thread : threads) thread.join();
  }

  Servers(const Servers&) = delete;
  Servers& operator=(const Servers&) = delete;

 private:
  void serve(tavrik::TavrikChannel& channel) {
    while (!ending) {
      try {
        answerOne(channel);
      } catch (const std::exception&) {
        ++failures;  // a signal interrupted the receive; the client asks again
      }
    }
  }

  void answerOne(tavrik::TavrikChannel& channel) {
    char subject[SUBJECT_BUFFER_SIZE] = "";
    tavrik::Message message;
    if (receiveInStorm(channel, subject, message) < 1) return;
    const support::Parts parts = support::partsOf(message);
    const auto header = load::Header::parse(parts[0]);
    const bool intact = header && subject == std::string(load::requestSubject) &&
                        parts == load::requestParts(seed, *header);
    if (!intact) ledger.addFault("a request arrived damaged");
    const int number = intact ? header->number : 0;
    const bool isWorker = channel.getRole() == ASYNC_DEALER_WORKER;
    if (isWorker && fault.isDue("lost", number)) return;
    if (fault.isDue("wrong", number)) message[0][0] ^= 1;
    if (fault.isDue("death", number)) std::_Exit(EXIT_SUCCESS);
    if (fault.isDue("descriptors", number)) fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    channel.send(load::replySubject, &message);
    if (isWorker && fault.isDue("twice", number)) channel.send(load::replySubject, &message);
  }

  Ledger& ledger;
  const std::uint32_t seed;
  const Sabotage fault;
  std::atomic<bool> ending{false};
  std::atomic<long> failures{0};
  std::list<tavrik::TavrikChannel> channels;
  std::list<std::thread> threads;
};

}  // namespace deaths

#endif
