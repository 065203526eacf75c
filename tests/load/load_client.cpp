// A process of clients. Each thread has two channels and keeps several requests of each waiting for
// their replies. Reads one order per line:
//   ask WAIT  sends each request that has no reply yet. One without a reply after WAIT milliseconds
//             is missing. Prints "missing CLIENT NUMBER" for each missing request, "fault TEXT" for
//             each wrong reply, and then "report SENT ANSWERED".
//   end       ends the process.
// A failure of the library ends it too, with its text on the error output.
#include "request.hpp"

#include <support/parts.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <algorithm>
#include <chrono>
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
  std::uint32_t seed;
};

class Client {
 public:
  Client(const Settings& all, int clientNumber)
      : settings(all), number(clientNumber), requests(static_cast<std::size_t>(all.requests)) {
    channel.setServerEndPoint(settings.endpoint);
    for (int i = 0; i < settings.requests; ++i) missing.insert(i);
  }

  void ask(std::chrono::milliseconds time) {
    wait = time;
    toSend.swap(missing);
  }

  bool busy() const { return !toSend.empty() || !waitingUntil.empty(); }

  void* polled() { return &channel; }

  void fillWindow() {
    while (!toSend.empty() && waitingUntil.size() < static_cast<std::size_t>(load::window)) {
      const int request = *toSend.begin();
      toSend.erase(request);
      const Header header{number, request, ++at(request).attempts, load::now()};
      tavrik::Message message = support::messageOf(load::requestParts(settings.seed, header));
      channel.send(load::requestSubject, &message);
      waitingUntil[request] = Clock::now() + wait;
      ++sent;
    }
  }

  void takeReplies() {
    char subject[SUBJECT_BUFFER_SIZE];
    tavrik::Message message;
    while (channel.receive(subject, &message, 0) > 0) take(subject, support::partsOf(message));
  }

  void giveUpOverdue() {
    const Clock::time_point now = Clock::now();
    for (auto one = waitingUntil.begin(); one != waitingUntil.end();) {
      const bool overdue = one->second <= now;
      if (overdue) missing.insert(one->first);
      one = overdue ? waitingUntil.erase(one) : std::next(one);
    }
  }

  void report() {
    for (const int request : missing) {
      std::cout << "missing " << number << ' ' << request << '\n';
    }
    for (const std::string& fault : faults) std::cout << "fault " << fault << '\n';
    faults.clear();
  }

  int sent = 0;
  int answered = 0;

 private:
  void addFault(const std::string& text) {
    faults.push_back("client " + std::to_string(number) + ": " + text);
  }

  struct Request {
    int attempts = 0;
    std::set<int> repliedTo;  // the attempts with a reply
  };

  Request& at(int request) { return requests[static_cast<std::size_t>(request)]; }

  void take(const std::string& subject, const support::Parts& parts) {
    const auto header = Header::parse(parts[0]);
    if (!header || subject != load::replySubject) {
      addFault(parts[0] + " is not a reply");
    } else if (header->client != number) {
      addFault(parts[0] + " is a reply to another client");
    } else if (header->number < 0 || header->number >= settings.requests ||
               header->attempt > at(header->number).attempts) {
      addFault(parts[0] + " was never sent");
    } else if (parts != load::requestParts(settings.seed, *header)) {
      addFault(parts[0] + " is damaged");
    } else if (!at(header->number).repliedTo.insert(header->attempt).second) {
      addFault(parts[0] + " arrived twice");
    } else {
      waitingUntil.erase(header->number);
      missing.erase(header->number);
      if (at(header->number).repliedTo.size() == 1) ++answered;
    }
  }

  const Settings& settings;
  const int number;
  tavrik::AsyncRouterDealerChannel channel{"client-" + std::to_string(number), ASYNC_DEALER_CLIENT};
  std::vector<Request> requests;
  std::set<int> toSend;
  std::map<int, Clock::time_point> waitingUntil;
  std::set<int> missing;
  std::vector<std::string> faults;
  std::chrono::milliseconds wait{};
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
      client.takeReplies();
      client.giveUpOverdue();
    }
  }
}

void ask(std::vector<Group>& groups, std::chrono::milliseconds wait) {
  std::vector<std::thread> threads;
  for (Group& group : groups) {
    threads.emplace_back([&group, wait] {
      for (Client& client : group) client.ask(wait);
      work(group);
    });
  }
  for (std::thread& thread : threads) thread.join();
  int sent = 0;
  int answered = 0;
  for (Group& group : groups) {
    for (Client& client : group) {
      client.report();
      sent += client.sent;
      answered += client.answered;
    }
  }
  std::cout << "report " << sent << ' ' << answered << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) return 2;
  const Settings settings{argv[1], std::stoi(argv[2]), std::stoi(argv[3]), std::stoi(argv[4]),
                          static_cast<std::uint32_t>(std::stoul(argv[5]))};
  std::vector<Group> groups(static_cast<std::size_t>(settings.threads));
  int client = settings.firstClient;
  for (Group& group : groups) {
    for (int i = 0; i < load::channelsPerThread; ++i) group.emplace_back(settings, client++);
  }
  for (std::string order; std::cin >> order && order == "ask";) {
    int wait = 0;
    std::cin >> wait;
    ask(groups, std::chrono::milliseconds(wait));
  }
}
