// A client that asks until it is answered, and accounts for each request and each answer.
#ifndef TAVRIK_TESTS_DEATH_AND_RETURN_CLIENT_HPP
#define TAVRIK_TESTS_DEATH_AND_RETURN_CLIENT_HPP

#include "ledger.hpp"
#include "storm.hpp"

#include <support/parts.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <load/request.hpp>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace deaths {

using load::Header;

// A try without an answer after this time is lost.
constexpr std::chrono::milliseconds patience(400);

// A request without an answer after so many tries is lost for good: in the course of the run, and
// after it, when all processes run and all links are up.
constexpr int triesInTrouble = 150;
constexpr int triesWhenWell = 20;

// Continues the account that an earlier process of the client has left.
class Client {
 public:
  Client(Ledger& all, int clientNumber, pattern_t clientPattern, std::string serverEndpoint,
         std::uint32_t contents)
      : ledger(all),
        account(all.of(clientNumber)),
        number(clientNumber),
        pattern(clientPattern),
        endpoint(std::move(serverEndpoint)),
        seed(contents) {
    for (const int request : account.unanswered()) waiting[request];
    renewChannel();
  }

  // Returns when it has been told to finish, was served again, and every request is answered or
  // lost for good.
  void run(const std::atomic<bool>& finishing) {
    while (!finishing) step(window());
    for (int i = 0; i < moreWhenWell; ++i) waiting[account.begin()];
    for (auto& [request, state] : waiting) state.triesLeft = triesWhenWell;
    while (!waiting.empty()) step(0);
  }

 private:
  using Clock = std::chrono::steady_clock;

  struct State {
    Clock::time_point overdue{};  // in the past: to be sent
    int triesOverChannel = 0;
    int triesLeft = triesInTrouble;
  };

  static constexpr int moreWhenWell = 10;
  static constexpr std::size_t mostAsked = 1000;  // tries over one channel that are unanswered

  // A request/reply client takes turns, and cannot ask twice over a channel.
  bool takesTurns() const { return pattern == REQUEST_REPLY_PATTERN; }
  std::size_t window() const { return takesTurns() ? 1 : load::window; }
  int triesEach() const { return takesTurns() ? 1 : 3; }

  // Whether the account still holds every unanswered request.
  bool hasRoom() const {
    return waiting.empty() || account.begun - waiting.begin()->first < Account::kept;
  }

  // A failed send is a try that is lost. A failed receive is repeated.
  void step(std::size_t wanted) {
    try {
      while (waiting.size() < wanted && hasRoom()) waiting[account.begin()];
      sendWhatIsOverdue();
      receive();
      failures = 0;
    } catch (const std::exception&) {
      constexpr int tolerated = 3;
      if (++failures > tolerated) renewChannel();
    }
  }

  void sendWhatIsOverdue() {
    std::size_t sent = 0;
    for (auto request = waiting.begin(); request != waiting.end() && sent < window(); ++sent) {
      State& state = request->second;
      if (state.overdue > Clock::now()) {
        ++request;
      } else if (state.triesLeft == 0) {
        ledger.addFault(nameOf(request->first) + " is lost for good");
        request = waiting.erase(request);
      } else if (state.triesOverChannel == triesEach() || asked.size() > mostAsked) {
        return renewChannel();
      } else {
        state.overdue = Clock::now() + patience;
        ++state.triesOverChannel;
        --state.triesLeft;
        send(request->first);
        ++request;
      }
    }
  }

  void send(int request) {
    const int attempt = ++account.at(request).tries;
    if (attempt > 1) ++account.askedAgain;
    const Header header{number, request, attempt, load::now()};
    asked[{request, attempt}] = header.sentAt;
    tavrik::Message message = support::messageOf(load::requestParts(seed, header));
    channel->send(load::requestSubject, &message);
  }

  void receive() {
    char subject[SUBJECT_BUFFER_SIZE] = "";
    tavrik::Message message;
    // A server that could not receive a request answers with nothing.
    if (receiveInStorm(*channel, subject, message) > 0) judge(subject, support::partsOf(message));
  }

  void judge(const std::string& subject, const support::Parts& parts) {
    const auto header = Header::parse(parts[0]);
    if (!header || subject != load::replySubject || header->client != number ||
        parts != load::requestParts(seed, *header)) {
      return ledger.addFault("client " + std::to_string(number) + " got a wrong answer");
    }
    const auto found = asked.find({header->number, header->attempt});
    if (found == asked.end()) {
      return ledger.addFault(nameOf(header->number) + " was answered twice, or never asked");
    }
    if (found->second != header->sentAt) {
      return ledger.addFault(nameOf(header->number) + " got a wrong answer");
    }
    asked.erase(found);
    if (++account.at(header->number).answers > 1) ++account.late;
    waiting.erase(header->number);
  }

  // Under a new name, and everything that is waiting is asked over it.
  void renewChannel() {
    failures = 0;
    asked.clear();
    const std::string name =
        "client " + std::to_string(number) + ' ' + std::to_string(++account.channels);
    const bool turns = takesTurns();
    channel = std::make_unique<tavrik::TavrikChannel>(name, pattern,
                                                      turns ? REQ_CLIENT : ASYNC_DEALER_CLIENT);
    channel->setProperty(turns ? REQ_REP_SERVER_ENDPOINT : ASYNC_DEALER_CLIENT_ENDPOINT, endpoint);
    for (auto& [request, state] : waiting) state = {{}, 0, state.triesLeft};
  }

  std::string nameOf(int request) const {
    return "request " + std::to_string(request) + " of client " + std::to_string(number);
  }

  Ledger& ledger;
  Account& account;
  const int number;
  const pattern_t pattern;
  const std::string endpoint;
  const std::uint32_t seed;
  std::unique_ptr<tavrik::TavrikChannel> channel;
  std::map<int, State> waiting;
  std::map<std::pair<int, int>, std::int64_t> asked;  // by request and try: when, over this channel
  int failures = 0;
};

}  // namespace deaths

#endif
