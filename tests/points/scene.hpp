// A channel in a state, with a plain socket as its peer, everything in one thread.
#ifndef TAVRIK_TESTS_POINTS_SCENE_HPP
#define TAVRIK_TESTS_POINTS_SCENE_HPP

#include <support/parts.hpp>
#include <support/test_peer.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <memory>
#include <string>
#include <vector>

namespace points {

using support::Parts;
using tavrik::Message;
using tavrik::TavrikChannel;

// Longer than what std::string and ZeroMQ store without an allocation.
const std::string longText = "a text that nothing stores without an allocation of its own";

// The frames of the n-th message of a scene, without an identity.
inline Parts frames(int number) {
  return {"subject of " + longText, longText + std::to_string(number), "short"};
}

inline pattern_t patternOf(role_t role) {
  return static_cast<pattern_t>(role / 2);
}

// The property that holds a role's endpoint.
channel_prop_t endpointOf(role_t role);

// The channel and its peer use an inproc endpoint, so that a message that one has sent is there for
// the other. A failure of what prepares the scene throws.
class Scene {
 public:
  explicit Scene(role_t channelRole);
  ~Scene();
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  // A scene without a channel.
  Scene() : Scene(noRole) {}

  // The states of the channel. Each needs the one before it.
  void setEveryProperty();   // that connecting applies
  void connect();            // to a peer
  void obtain(int number);   // the n-th message is there to be received
  void receive(int number);  // the n-th message has been received into the message
  void tear();               // message 0 has failed to be received after its first frame

  void makeSendable();  // the channel may send now
  void openPeer();      // the peer waits for the channel to connect
  void closePeer();
  void joinProxy();  // a worker has a name whose proxy runs; first of all

  // Lets the library release what it keeps after deletions whose linger has run out.
  static void settleDeletions();

  // Frames from and to the peer. There is always one to receive, but for a publisher's peer.
  void send(const Parts& parts);
  Parts receiveAtPeer();

  // Receives with the channel. Returns the parts with the subject in front, none if none is there.
  Parts receiveNow();

  int routingFrames() const { return role == ASYNC_DEALER_WORKER ? 1 : 0; }
  bool takesTurns() const { return patternOf(role) == REQUEST_REPLY_PATTERN; }
  bool isConnected() const;
  bool hasEndpoint() const { return role != PUBLISHER && role != SUBSCRIBER; }
  // What every property reads, and whether the channel is connected.
  Parts state();

  const role_t role;
  std::string name;
  const std::string endpoint;
  std::unique_ptr<TavrikChannel> channel;
  Message message = support::messageOf({longText + "0", "short"});
  Message other;
  std::string subject = frames(0)[0];
  char buffer[512] = "";
  void* data = nullptr;
  unsigned int size = 0;

 private:
  static constexpr role_t noRole = static_cast<role_t>(99);
  std::unique_ptr<TavrikChannel> newChannel() const;
  void setEndpoint();
  void publishUntilReceived();

  void* peer = nullptr;
};

}  // namespace points

#endif
