#include "workers.hpp"

#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <tavrik/message.hpp>

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <stdexcept>
#include <utility>

namespace load {
namespace {

// A proxy outlives the workers, so others need another name.
std::string newName() {
  static std::atomic<int> count{0};
  return "load-" + std::to_string(count++);
}

}  // namespace

void Ledger::received(const Header& header, int worker) {
  const std::lock_guard<std::mutex> lock(mutex);
  all[idOf(header)].push_back({worker, header.attempt, false});
  ++receivedTotal;
  changed.notify_all();
}

void Ledger::answered(const Header& header, int worker) {
  const std::lock_guard<std::mutex> lock(mutex);
  for (Receipt& receipt : all[idOf(header)]) {
    if (receipt.worker == worker && receipt.attempt == header.attempt) receipt.answered = true;
  }
}

bool Ledger::waitUntilReceived(std::size_t count) const {
  std::unique_lock<std::mutex> lock(mutex);
  return changed.wait_for(lock, std::chrono::milliseconds(support::patience),
                          [&] { return receivedTotal >= count; });
}

std::size_t Ledger::receivedSoFar() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return receivedTotal;
}

bool Ledger::hasBeenAskedAgain(const RequestId& request) const {
  const std::lock_guard<std::mutex> lock(mutex);
  const auto found = all.find(request);
  return found != all.end() && std::any_of(found->second.begin(), found->second.end(),
                                           [](const Receipt& one) { return one.attempt > 1; });
}

std::map<RequestId, std::vector<Receipt>> Ledger::receipts() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return all;
}

Workers::Workers(int count, std::uint32_t delaySeed) : name(newName()), seed(delaySeed) {
  // Somebody else may take the port before the proxy binds it.
  constexpr int attempts = 100;
  Channel first;
  for (int i = 0; i < attempts && first == nullptr; ++i) {
    ipc = dir.ipcEndpoint();
    tcp = support::tcpEndpoint();
    back = dir.ipcEndpoint();
    try {
      first = newChannel();
    } catch (const std::runtime_error&) {
    }
  }
  if (first == nullptr) throw std::runtime_error("no free port");
  for (int i = 0; i < count; ++i) {
    workers.push_back(std::make_unique<Worker>());
    start(*workers.back(), i == 0 ? std::move(first) : newChannel());
  }
}

Workers::~Workers() {
  for (const auto& worker : workers) worker->stopping = true;
  for (const auto& worker : workers) {
    if (worker->thread.joinable()) worker->thread.join();
  }
}

Workers::Channel Workers::newChannel() const {
  auto channel = std::make_unique<tavrik::AsyncRouterDealerChannel>(name, ASYNC_DEALER_WORKER);
  channel->setServerEndPoint(ipc);
  channel->setServerEndPoint(tcp);
  channel->setWorkerEndPoint(back);
  char subject[SUBJECT_BUFFER_SIZE];
  tavrik::Message message;
  channel->receive(subject, &message, 1);  // connects
  return channel;
}

void Workers::start(Worker& worker, Channel channel) {
  worker.number = started++;
  worker.channel = std::move(channel);
  worker.ending = false;
  worker.idleLooks = 0;
  worker.thread = std::thread([this, &worker] { serve(worker); });
}

void Workers::startAgain(std::size_t place) {
  start(*workers[place], newChannel());
}

int Workers::end(std::size_t place, End how) {
  Worker& worker = *workers[place];
  worker.how = how;
  worker.ending = true;
  worker.thread.join();
  return worker.number;
}

void Workers::keepOneAside(std::size_t place) {
  workers[place]->keeping = true;
}

std::optional<RequestId> Workers::keptAside() const {
  const std::lock_guard<std::mutex> lock(keptMutex);
  return kept;
}

bool Workers::waitUntilIdle() const {
  const auto isIdle = [](const auto& worker) {
    constexpr int enough = 5;
    return worker->idleLooks >= enough;
  };
  return waitUntil([&] { return std::all_of(workers.begin(), workers.end(), isIdle); });
}

void Workers::serve(Worker& worker) {
  std::mt19937 random(seed + static_cast<std::uint32_t>(worker.number));
  char subject[SUBJECT_BUFFER_SIZE];
  std::optional<Header> asideHeader;
  tavrik::Message aside;
  while (!worker.stopping) {
    if (asideHeader && ledger.hasBeenAskedAgain(idOf(*asideHeader))) {
      answer(worker, *asideHeader, aside);
      asideHeader.reset();
    }
    tavrik::Message message;
    constexpr long look = 20;  // milliseconds between looks at what else there is to do
    if (worker.channel->receive(subject, &message, look) < 1) {
      ++worker.idleLooks;
      continue;
    }
    worker.idleLooks = 0;
    const auto header = Header::parse(message.getPart(0));
    if (!header) continue;
    ledger.received(*header, worker.number);
    if (worker.ending) return leave(worker, *header, message);
    if (worker.keeping.exchange(false)) {
      asideHeader = header;
      aside = message;
      const std::lock_guard<std::mutex> lock(keptMutex);
      kept = idOf(*header);
      continue;
    }
    const bool slow = random() % 10 == 0;
    if (slow) poll(nullptr, 0, static_cast<int>(1 + random() % 5));
    answer(worker, *header, message);
  }
}

void Workers::answer(Worker& worker, const Header& header, tavrik::Message& message) {
  worker.channel->send(answerSubject, &message);
  ledger.answered(header, worker.number);
}

void Workers::leave(Worker& worker, const Header& inHand, tavrik::Message& message) {
  // The proxy hands each worker its share in turn, so a queue comes together while others work.
  constexpr std::size_t byOthers = 400;
  ledger.waitUntilReceived(ledger.receivedSoFar() + byOthers);
  if (worker.how == End::talking) {
    constexpr int some = 20;
    char subject[SUBJECT_BUFFER_SIZE];
    answer(worker, inHand, message);
    for (int i = 1; i < some && worker.channel->receive(subject, &message, 0) > 0; ++i) {
      const auto header = Header::parse(message.getPart(0));
      ledger.received(*header, worker.number);
      answer(worker, *header, message);
    }
  }
  worker.channel.reset();
}

}  // namespace load
