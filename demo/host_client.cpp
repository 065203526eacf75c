// Asks the server about this host and compares each answer with a reading of its own.
//
// host_client_cpp ENDPOINT FILE
//
// Exits non-zero when an answer is wrong or missing.
#include "host.h"

#include <tavrik/tavrik.hpp>

#include <cstdlib>
#include <exception>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using tavrik::Message;
using tavrik::TavrikChannel;

constexpr long patience = 5000;  // milliseconds

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

class HostClient {
 public:
  explicit HostClient(const std::string& endpoint) : kind(endpoint.substr(0, 3)) {
    channel.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
    channel.initializeStatsMonitoring();
  }

  void askLoad() {
    load before{};
    load after{};
    require(read_load(&before) != 0, "no reading of the load");
    const Message answer = ask("load");
    require(read_load(&after) != 0, "no reading of the load");
    for (unsigned int i = 0; i < 3; ++i) {
      const double average = number(answer, i);
      require(average == before.average[i] || average == after.average[i], "a load is wrong");
    }
    const double uptime = number(answer, 3);
    require(before.uptime <= uptime && uptime <= after.uptime, "the uptime is wrong");
    say() << "load " << number(answer, 0) << ' ' << number(answer, 1) << ' ' << number(answer, 2)
          << ", up for " << uptime << " s\n";
  }

  void askMemory() {
    memory own{};
    require(read_memory(&own) != 0, "no reading of the memory");
    const Message answer = ask("memory");
    require(answer.getPart(0) == std::to_string(own.total), "the memory's size is wrong");
    require(number(answer, 1) > 0 && number(answer, 1) <= number(answer, 0),
            "the available memory is wrong");
    say() << "memory " << own.total / 1024 << " MB, "
          << static_cast<unsigned long>(number(answer, 1)) / 1024 << " MB available\n";
  }

  void askNetwork() {
    network before{};
    network after{};
    require(read_network(&before) != 0, "no reading of the network");
    const Message answer = ask("network");
    require(read_network(&after) != 0, "no reading of the network");
    require(answer.getnumParts() == 3 * before.count, "interfaces are missing");
    for (unsigned int i = 0; i < static_cast<unsigned int>(before.count); ++i) {
      require(answer.getPart(3 * i) == before.interfaces[i].name, "an interface has another name");
      const auto sent = std::stoull(answer.getPart(3 * i + 2));
      require(before.interfaces[i].sent <= sent && sent <= after.interfaces[i].sent,
              "a counter of sent bytes is wrong");
      say() << "interface " << answer.getPart(3 * i) << ": " << answer.getPart(3 * i + 1)
            << " bytes in, " << sent << " bytes out\n";
    }
  }

  void askFile(const std::string& path) {
    unsigned int size = 0;
    const std::unique_ptr<char, decltype(&std::free)> own(read_file(path.c_str(), &size),
                                                          &std::free);
    require(own != nullptr, "the file cannot be read");
    const Message answer = ask("file", path);
    require(answer.getPart(0) == std::string(own.get(), size), "the file has other bytes");
    say() << "file " << path << ": " << size << " bytes, each as on disk\n";
  }

  void printStatistics() {
    tavrikStatistics stats{};
    channel.getTavrikStats(&stats);
    require(stats.sentCount == asked && stats.rcvdCount == asked, "the statistics are wrong");
    say() << stats.sentCount << " questions sent, " << stats.rcvdCount << " answers received\n";
  }

  // A line of output. The destructor writes it in one piece.
  class Line {
   public:
    explicit Line(const std::string& kind) {
      text << "C++ client      " << kind << ": " << std::fixed << std::setprecision(2);
    }
    ~Line() { std::cout << text.str() << std::flush; }

    template <class Value>
    Line& operator<<(const Value& value) {
      text << value;
      return *this;
    }

   private:
    std::ostringstream text;
  };
  Line say() const { return Line(kind); }

 private:
  Message ask(const char* subject, const std::string& text = "") {
    Message message;
    if (!text.empty()) message.insertPart(0, text);
    channel.send(subject, &message);
    char heard[SUBJECT_BUFFER_SIZE] = "";
    channel.receive(heard, &message, patience);
    require(std::string(heard) == subject, "no answer, or an answer to something else");
    ++asked;
    return message;
  }

  static double number(const Message& answer, unsigned int part) {
    return std::stod(answer.getPart(part));
  }

  std::string kind;
  TavrikChannel channel{"host", REQUEST_REPLY_PATTERN, REQ_CLIENT};
  unsigned int asked = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  try {
    HostClient client(argv[1]);
    client.askLoad();
    client.askMemory();
    client.askNetwork();
    client.askFile("/etc/os-release");
    client.askFile(argv[2]);
    client.printStatistics();
  } catch (const std::exception& failure) {
    std::cerr << "C++ client      " << argv[1] << ": " << failure.what() << '\n';
    return 1;
  }
  return 0;
}
