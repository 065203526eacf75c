// A relay between clients and a server, which can break connections, or one side of them only.
#ifndef TAVRIK_TESTS_SUPPORT_RELAY_HPP
#define TAVRIK_TESTS_SUPPORT_RELAY_HPP

#include <poll.h>

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace support {

// Listens on a loopback port that the system chose and forwards each connection to the server's ipc
// endpoint, in a thread of its own. Refuses connections while the server does. No member waits for
// a peer.
class Relay {
 public:
  explicit Relay(const std::string& serverEndpoint);
  ~Relay();
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  // The tcp endpoint for clients.
  const std::string& endpoint() const { return address; }

  // Each of these returns when it is done.

  // Closes one side of all connections and keeps the other side open, so that the peer there does
  // not notice.
  void dropClients();
  void dropServers();

  // Closes both sides of all connections.
  void dropAll();

  // Keeps both sides of all connections open and lets nothing pass. Later connections work.
  void silenceAll();

  // While silent, the connections stay open and nothing passes.
  void setSilent(bool wanted);

  // How many connections there have been, and how many of them still work.
  int accepted() const { return acceptedLinks; }
  int working() const { return workingLinks; }

 private:
  // One way of a connection.
  struct Way {
    int source;
    int destination;      // -1: dropped, and what is read is thrown away
    std::string waiting;  // what the destination does not take yet; nothing is read meanwhile

    bool forward();
  };
  struct Link {
    Link(int clientSide, int serverSide)
        : client(clientSide),
          server(serverSide),
          toServer{client, server, ""},
          toClient{server, client, ""} {}

    bool works() const { return client != -1 && server != -1 && !silent; }

    int client;  // -1: dropped
    int server;  // -1: dropped
    Way toServer;
    Way toClient;
    bool silent = false;
  };

  void run();
  void accept();
  void forward(const std::vector<pollfd>& watched);
  bool obey();
  void inThread(std::function<void()> task);
  void wake() const;

  std::string path;  // of the server's socket
  std::string address;
  int listener = -1;
  int wakeUp = -1;
  std::list<Link> links;  // this and silent: only the thread uses them
  bool silent = false;
  std::atomic<int> acceptedLinks{0};
  std::atomic<int> workingLinks{0};
  std::mutex mutex;  // guards the members below
  std::function<void()> waitingTask;
  bool ending = false;
  std::thread thread;
};

}  // namespace support

#endif
