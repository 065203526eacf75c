// A relay between clients and a server, which can break one side of a connection only.
#ifndef TAVRIK_TESTS_SUPPORT_RELAY_HPP
#define TAVRIK_TESTS_SUPPORT_RELAY_HPP

#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace support {

// Listens on a loopback port that the system chose and forwards each connection to the server's ipc
// endpoint, in a thread of its own.
class Relay {
 public:
  explicit Relay(const std::string& serverEndpoint);
  ~Relay();
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  // The tcp endpoint for clients.
  const std::string& endpoint() const { return address; }

  // Closes the clients' sides of all connections and keeps the server's sides open, so that the
  // server does not notice. Returns when that is done.
  void dropClients();

 private:
  struct Link {
    int client;  // -1: dropped
    int server;
  };

  void run();
  void accept();
  void closeClients();
  void wake() const;

  std::string path;  // of the server's socket
  std::string address;
  int listener = -1;
  int wakeUp = -1;
  std::vector<Link> links;  // only the thread uses them
  std::mutex mutex;         // guards the members below
  std::promise<void>* drop = nullptr;
  bool ending = false;
  std::thread thread;
};

}  // namespace support

#endif
