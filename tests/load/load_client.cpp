// A process of clients. Each thread has two channels and keeps several requests of each on their
// way.
//
// Reads what to do from its input and reports on its output:
//   go            asks everything once. A request without an answer for so long is missing.
//   again         asks for the missing ones until there are none; answers to an earlier asking
//   count
//                 as the answer or, if there is one, as repeated.
//   end REPEATED  waits until so many answers were repeated, and ends.
// Each is reported with a line "missing CLIENT NUMBER SENT_AT" for each missing request, a line
// "fault TEXT" for each answer that should not be, and then "report SENT ANSWERED REPEATED BYTES".
#include "request.hpp"

#include <support/parts.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <algorithm>
#include <chrono>
#include <deque>
#include <exception>
#include <functional>
#include <iostream>
#include <list>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using load::Header;

struct Settings {
  std::string endpoint;
  int firstClient;
  int threads;
  int requests;  // of each client
  std::chrono::milliseconds wait;
  std::uint32_t seed;
};

class Client {
 public:
  Client(const Settings& all, int clientNumber)
      : settings(all), number(clientNumber), requests(static_cast<std::size_t>(all.requests)) {
    channel.setServerEndPoint(settings.endpoint);
    for (int i = 0; i < settings.requests; ++i) toSend.push_back(i);
  }

  bool busy() const { return !toSend.empty() || !onTheirWay.empty(); }

  void* polled() { return &channel; }

  void askAgain() {
    for (const int request : missing) toSend.push_back(request);
    missing.clear();
    insisting = true;
  }

  void fillWindow() {
    while (!toSend.empty() && onTheirWay.size() < static_cast<std::size_t>(load::window)) {
      const int request = toSend.front();
      toSend.pop_front();
      Asked& asked = at(request);
      const Header header{number, request, ++asked.attempts, load::now()};
      if (asked.attempts == 1) asked.sentAt = header.sentAt;
      tavrik::Message message = support::messageOf(load::requestParts(settings.seed, header));
      channel.send(load::requestSubject, &message);
      onTheirWay[request] = Clock::now() + settings.wait;
      ++sent;
    }
  }

  void takeAnswers() {
    char subject[SUBJECT_BUFFER_SIZE];
    tavrik::Message message;
    while (channel.receive(subject, &message, 0) > 0) take(subject, support::partsOf(message));
  }

  void giveUpOverdue() {
    const Clock::time_point now = Clock::now();
    for (auto one = onTheirWay.begin(); one != onTheirWay.end();) {
      if (one->second > now) {
        ++one;
        continue;
      }
      if (insisting) {
        toSend.push_back(one->first);
      } else {
        missing.insert(one->first);
      }
      one = onTheirWay.erase(one);
    }
  }

  void addFault(const std::string& text) {
    faults.push_back("client " + std::to_string(number) + ": " + text);
  }

  void report(std::ostream& out) {
    for (const int request : missing) {
      out << "missing " << number << ' ' << request << ' ' << at(request).sentAt << '\n';
    }
    for (const std::string& fault : faults) out << "fault " << fault << '\n';
    faults.clear();
  }

  int sent = 0;
  int answered = 0;
  int repeated = 0;
  std::uint64_t bytes = 0;

 private:
  struct Asked {
    int attempts = 0;
    std::int64_t sentAt = 0;
    std::set<int> answers;  // the attempts that were answered
  };

  Asked& at(int request) { return requests[static_cast<std::size_t>(request)]; }

  void take(const std::string& subject, const support::Parts& parts) {
    const auto header = Header::parse(parts[0]);
    if (!header || subject != load::answerSubject) {
      addFault(parts[0] + " is no answer");
      return;
    }
    if (header->client != number) {
      addFault(parts[0] + " is another's answer");
      return;
    }
    if (header->number < 0 || header->number >= settings.requests ||
        header->attempt > at(header->number).attempts) {
      addFault(parts[0] + " was never asked");
      return;
    }
    if (parts != load::requestParts(settings.seed, *header)) {
      addFault(parts[0] + " is damaged");
      return;
    }
    Asked& asked = at(header->number);
    if (!asked.answers.insert(header->attempt).second) {
      addFault(parts[0] + " came twice");
      return;
    }
    for (const std::string& part : parts) bytes += part.size();
    onTheirWay.erase(header->number);
    missing.erase(header->number);
    toSend.erase(std::remove(toSend.begin(), toSend.end(), header->number), toSend.end());
    ++(asked.answers.size() == 1 ? answered : repeated);
  }

  const Settings& settings;
  const int number;
  tavrik::AsyncRouterDealerChannel channel{"client-" + std::to_string(number), ASYNC_DEALER_CLIENT};
  std::vector<Asked> requests;
  std::deque<int> toSend;
  std::map<int, Clock::time_point> onTheirWay;  // until when each is waited for
  std::set<int> missing;
  std::vector<std::string> faults;
  bool insisting = false;
};

// The clients of a thread.
using Group = std::list<Client>;

void work(Group& group) {
  while (std::any_of(group.begin(), group.end(), std::mem_fn(&Client::busy))) {
    std::vector<tavrik_pollitem_t> items;
    for (Client& client : group) {
      client.fillWindow();
      items.push_back({client.polled(), TAVRIK_POLLIN, 0});
    }
    constexpr long overdueCheck = 50;  // milliseconds
    tavrik::channel_poll(items.data(), static_cast<unsigned int>(items.size()), overdueCheck);
    for (Client& client : group) {
      client.takeAnswers();
      client.giveUpOverdue();
    }
  }
}

class Process {
 public:
  explicit Process(Settings all) : settings(std::move(all)), groups(size(settings.threads)) {
    int client = settings.firstClient;
    for (Group& group : groups) {
      for (int i = 0; i < load::channelsPerThread; ++i) group.emplace_back(settings, client++);
    }
  }

  void ask() {
    std::list<std::thread> threads;
    for (Group& group : groups) {
      threads.emplace_back([&group] {
        try {
          work(group);
        } catch (const std::exception& exception) {
          group.front().addFault(exception.what());
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }

  void askAgain() {
    for (Group& group : groups) {
      for (Client& client : group) client.askAgain();
    }
    ask();
  }

  void awaitRepeated(int count) {
    load::waitUntil([&] {
      for (Group& group : groups) {
        for (Client& client : group) client.takeAnswers();
      }
      return sum(&Client::repeated) >= count;
    });
  }

  void report() {
    for (Group& group : groups) {
      for (Client& client : group) client.report(std::cout);
    }
    std::cout << "report " << sum(&Client::sent) << ' ' << sum(&Client::answered) << ' '
              << sum(&Client::repeated) << ' ' << sum(&Client::bytes) << std::endl;
  }

 private:
  static std::size_t size(int count) { return static_cast<std::size_t>(count); }

  template <class Number>
  Number sum(Number Client::*counter) const {
    Number total = 0;
    for (const Group& group : groups) {
      for (const Client& client : group) total += client.*counter;
    }
    return total;
  }

  const Settings settings;
  std::vector<Group> groups;
};

int run(char** arguments) {
  Process process({arguments[1], std::stoi(arguments[2]), std::stoi(arguments[3]),
                   std::stoi(arguments[4]), std::chrono::milliseconds(std::stoi(arguments[5])),
                   static_cast<std::uint32_t>(std::stoul(arguments[6]))});
  std::string order;
  while (std::cin >> order) {
    if (order == "go") process.ask();
    if (order == "again") process.askAgain();
    if (order == "end") {
      int repeated = 0;
      std::cin >> repeated;
      process.awaitRepeated(repeated);
    }
    process.report();
    if (order == "end") return 0;
  }
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) return 2;
  try {
    return run(argv);
  } catch (const std::exception& exception) {
    std::cout << "fault " << exception.what() << std::endl;
    return 1;
  }
}
