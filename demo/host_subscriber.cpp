// Receives readings of this host and compares each with a reading of its own.
//
// host_subscriber ENDPOINT [FILTER [NEXT_FILTER]]
//
// Receives readings under the filter, then as many under the next one. Without a filter it receives
// everything. Exits non-zero if a reading is wrong, lost, doubled or does not match the filter.
#include "host.h"

#include <tavrik/tavrik.hpp>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using tavrik::Message;
using tavrik::PublishSubscribeChannel;

constexpr long patience = 5000;            // milliseconds
constexpr unsigned int readingsEach = 40;  // for every filter

void require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

double number(const Message& reading, unsigned int part) {
  return std::stod(reading.getPart(part));
}

// A reading was made in the past, so a figure that only grows is at most its present value.
void checkLoad(const Message& reading) {
  load now{};
  require(read_load(&now) != 0, "no reading of the load");
  require(number(reading, 2) > 0 && number(reading, 2) <= now.uptime, "the uptime is wrong");
}

void checkMemory(const Message& reading) {
  memory now{};
  require(read_memory(&now) != 0, "no reading of the memory");
  require(number(reading, 1) == static_cast<double>(now.total), "the memory's size is wrong");
  require(number(reading, 2) <= number(reading, 1), "the available memory is wrong");
}

void checkNetwork(const std::string& name, const Message& reading) {
  network now{};
  require(read_network(&now) != 0, "no reading of the network");
  for (int i = 0; i < now.count; ++i) {
    if (name != now.interfaces[i].name) continue;
    require(number(reading, 1) <= static_cast<double>(now.interfaces[i].received) &&
                number(reading, 2) <= static_cast<double>(now.interfaces[i].sent),
            "the counters of " + name + " are wrong");
    return;
  }
  throw std::runtime_error("there is no interface " + name);
}

class Subscriber {
 public:
  Subscriber(const std::string& endpoint, const std::string& firstFilter) : filter(firstFilter) {
    // The default drops messages when the subscriber is more than 10 behind.
    channel.setProperty(PUB_SUB_SET_SUB_RCVHWM, "1000");
    if (!filter.empty()) channel.subscribe(filter);
    channel.setPublisherEndPoint(endpoint);
    channel.initializeStatsMonitoring();
  }

  void receiveReadings() {
    for (unsigned int n = 0; n < readingsEach; ++n) {
      Message reading;
      char subject[SUBJECT_BUFFER_SIZE] = "";
      require(channel.receive(subject, &reading, patience) == 3, "no reading");
      check(subject, reading);
    }
    received += readingsEach;
    std::cout << "subscriber      " << (filter.empty() ? "everything" : filter) << ": "
              << readingsEach << " readings, none lost, the last " << last << std::endl;
  }

  // The next receive returns no message under the old filter.
  void changeFilter(const std::string& next) {
    channel.unsubscribe(filter);
    channel.subscribe(next);
    std::cout << "subscriber      " << filter << ": from now on " << next << std::endl;
    filter = next;
  }

  void checkStatistics() {
    tavrikStatistics stats{};
    channel.getTavrikStats(&stats);
    require(stats.rcvdCount == received, "the statistics are wrong");
  }

 private:
  void check(const std::string& subject, const Message& reading) {
    require(startsWith(subject, filter), subject + " was not asked for");
    const unsigned long count = std::stoul(reading.getPart(0));
    const auto before = counts.find(subject);
    require(before == counts.end() || before->second + 1 == count,
            "a reading of " + subject + " is lost or doubled");
    counts[subject] = count;

    const std::string network = "network.";
    if (subject == "load") {
      checkLoad(reading);
    } else if (subject == "memory") {
      checkMemory(reading);
    } else {
      require(startsWith(subject, network), "nothing is known of " + subject);
      checkNetwork(subject.substr(network.size()), reading);
    }
    last = subject + " " + reading.getPart(1) + " " + reading.getPart(2);
  }

  PublishSubscribeChannel channel{"host news", SUBSCRIBER};
  std::string filter;
  std::map<std::string, unsigned long> counts;  // the last of each subject
  std::string last;
  unsigned int received = 0;
};

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty() || args.size() > 3) return 2;
  const std::string filter = args.size() > 1 ? args[1] : "";
  try {
    Subscriber subscriber(args[0], filter);
    subscriber.receiveReadings();
    if (args.size() > 2) {
      subscriber.changeFilter(args[2]);
      subscriber.receiveReadings();
    }
    subscriber.checkStatistics();
  } catch (const std::exception& failure) {
    std::cerr << "subscriber      " << filter << ": " << failure.what() << '\n';
    return 1;
  }
  return 0;
}
