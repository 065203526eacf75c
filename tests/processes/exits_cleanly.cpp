// Programs that end with something of the library still in use. Each takes the name of what that
// is; the exit status tells whether everything before the end went well.
#include <tavrik/tavrik.hpp>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

using tavrik::Message;
using tavrik::TavrikChannel;

struct Pair {
  explicit Pair(const std::string& endpoint) {
    server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
    client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
    server.initializeStatsMonitoring();
    client.initializeStatsMonitoring();
  }

  bool exchange() {
    Message message;
    char subject[SUBJECT_BUFFER_SIZE];
    client.send("ask", &message);
    if (server.receive(subject, &message, -1) != 0) return false;
    server.send("answer", &message);
    return client.receive(subject, &message, -1) == 0 && std::strcmp(subject, "answer") == 0;
  }

  TavrikChannel server{"exit", REQUEST_REPLY_PATTERN, REP_SERVER};
  TavrikChannel client{"exit", REQUEST_REPLY_PATTERN, REQ_CLIENT};
};

// Made before main() and destroyed after it.
Pair staticPair("inproc://static");

// A failure while static objects are destroyed would be logged; there may be none.
void failOnLogLine(int, const char* text) {
  std::fprintf(stderr, "logged: %s\n", text);
  std::_Exit(3);
}

bool staticStorage() {
  return staticPair.exchange();
}

Pair* left = nullptr;

bool channelsLeftAlive() {
  left = new Pair("inproc://left");
  return left->exchange();
}

bool threadThatWaits() {
  static std::atomic<bool> connected{false};
  std::thread([] {
    auto* const pair = new Pair("inproc://waits");  // outlives the end of the process
    Message message;
    char subject[SUBJECT_BUFFER_SIZE];
    pair->server.receive(subject, &message, 0);
    connected = true;
    pair->server.receive(subject, &message, -1);
  }).detach();
  while (!connected) std::this_thread::yield();
  return true;
}

bool threadThatIsBusy() {
  static std::atomic<int> exchanges{0};
  std::thread([] {
    auto* const pair = new Pair("inproc://busy");  // outlives the end of the process
    while (pair->exchange()) ++exchanges;
  }).detach();
  while (exchanges < 100) std::this_thread::yield();
  return true;
}

bool nothingUsed() {
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string scenario = argc == 2 ? argv[1] : "";
  tavrik_Install_Logfn(failOnLogLine);
  bool well = false;
  if (scenario == "nothing_used") well = nothingUsed();
  if (scenario == "static_storage") well = staticStorage();
  if (scenario == "channels_left_alive") well = channelsLeftAlive();
  if (scenario == "thread_that_waits") well = threadThatWaits();
  if (scenario == "thread_that_is_busy") well = threadThatIsBusy();
  return well ? EXIT_SUCCESS : EXIT_FAILURE;
}
