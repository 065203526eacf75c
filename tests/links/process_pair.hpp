// A server and a client of one pattern, each in a process of its own, with heartbeats.
#ifndef TAVRIK_TESTS_LINKS_PROCESS_PAIR_HPP
#define TAVRIK_TESTS_LINKS_PROCESS_PAIR_HPP

#include "../network/remote_channel.hpp"
#include "../network/two_hosts_test.hpp"
#include "roles.hpp"

#include <chrono>
#include <ostream>
#include <string>

namespace links {

constexpr int interval = 100;  // milliseconds between heartbeats

// By when an exchange succeeds again. A lost peer is given up after four intervals at most; the
// rest is for a machine that is busy.
constexpr std::chrono::milliseconds aFewIntervals{40 * interval};

// The two roles of a pattern.
struct Roles {
  std::string name;
  const Role& server;
  const Role& client;
};

inline void PrintTo(const Roles& roles, std::ostream* out) {
  *out << roles.name;
}

inline const std::vector<Roles> allPatterns{{"RequestReply", replier, requester},
                                            {"PublishSubscribe", publisher, subscriber},
                                            {"RouterDealer", worker, client}};

class ProcessPair {
 public:
  // The hosts are null for this machine.
  ProcessPair(const Roles& roles, const support::Host* ofServer, const std::string& serverEndpoint,
              const support::Host* ofClient, const std::string& clientEndpoint)
      : server(start(ofServer, roles.server, serverEndpoint)),
        client(start(ofClient, roles.client, clientEndpoint)),
        serverSpeaks(roles.server.role == PUBLISHER) {
    if (!serverSpeaks) server.echo(1);  // binds
  }

  // Returns whether the client receives something that was asked or published during this call.
  // Asks or publishes repeatedly: what is sent over a link that is about to break is lost. A
  // requester can ask only once.
  bool exchange() {
    const int first = latest + 1;
    for (const auto end = endOfPatience(); Clock::now() < end;) {
      (serverSpeaks ? server : client).send("ask", std::to_string(++latest));
      if (!serverSpeaks) server.echo(aMoment);
      const std::string received = client.receive(aMoment);
      if (!received.empty() && std::stoi(received.substr(received.find(' '))) >= first) return true;
    }
    return false;
  }

  RemoteChannel server;
  RemoteChannel client;

 private:
  static RemoteChannel start(const support::Host* host, const Role& role,
                             const std::string& endpoint) {
    Properties properties = endpointProperties(role.role, endpoint);
    properties.insert(properties.begin(), {CHANNEL_HEARTBEAT, std::to_string(interval)});
    return {host, support::testName(), role.pattern, role.role, properties};
  }

  bool serverSpeaks;
  int latest = 0;
};

}  // namespace links

#endif
