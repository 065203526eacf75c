// What hostile peers do.
#ifndef TAVRIK_TESTS_HOSTILE_ATTACKS_HPP
#define TAVRIK_TESTS_HOSTILE_ATTACKS_HPP

#include "scenes.hpp"

#include <support/raw_connection.hpp>

#include <cstdint>
#include <list>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace hostile {

namespace zmtp = support::zmtp;
using support::RawConnection;

// Keeps its connections until it leaves.
class Attacker {
 public:
  explicit Attacker(Scene& itsScene) : scene(itsScene) {}
  ~Attacker() { leave(); }
  Attacker(const Attacker&) = delete;
  Attacker& operator=(const Attacker&) = delete;

  const RawConnection& connect() { return connections.emplace_back(scene.meet()); }

  // A connection that the role takes for a peer.
  const RawConnection& shakeHands(const std::string& metadata = "") {
    constexpr int attempts = 10;
    for (int i = 0; i < attempts; ++i) {
      const RawConnection& connection = connect();
      connection.send(zmtp::greeting() + zmtp::ready(scene.peer, metadata));
      const std::string answer = connection.receive(zmtp::greetingSize + 1);
      if (answer.back() != zmtp::commandFlag) continue;  // a connection that was already closed
      if (scene.peer == "SUB") connection.send(zmtp::frame(0, "\x01"));  // to everything
      return connection;
    }
    throw std::runtime_error("the role does not shake hands");
  }

  // A message to the role, as bytes.
  std::string message(const Frames& frames) const {
    return bytes(scene.envelope, zmtp::moreFlag) + bytes(frames, 0);
  }

  static std::string bytes(const Frames& frames, char lastFlag) {
    std::string all;
    for (std::size_t i = 0; i < frames.size(); ++i) {
      all += zmtp::frame(i + 1 < frames.size() ? zmtp::moreFlag : lastFlag, frames[i]);
    }
    return all;
  }

  void leave() {
    connections.clear();
    scene.leave();
  }

  Scene& scene;

 private:
  std::list<RawConnection> connections;
};

struct Attack {
  std::string name;
  void (*run)(Attacker& attacker);
  int exchanges = 20;             // that have to succeed while its connections stay
  bool withoutDelimiter = false;  // whether a server receives requests without delimiter
  long kept = 2048;               // kB: memory that may be kept, however often it is repeated
  long keptEach = 0;              // kB: memory that ZeroMQ keeps each time
};

inline void PrintTo(const Attack& attack, std::ostream* out) {
  *out << attack.name;
}

inline void sendGarbage(Attacker& attacker) {
  std::mt19937 random(1);
  std::string noise(100000, '\0');
  for (int i = 0; i < 8; ++i) {
    for (char& byte : noise) byte = static_cast<char>(random());
    attacker.connect().send(noise);
    attacker.connect().send(zmtp::greeting() + noise);
    attacker.shakeHands().send(noise);
  }
  for (const std::string& text : {std::string("GET / HTTP/1.1\r\nHost: device\r\n\r\n"),
                                  std::string("SSH-2.0-OpenSSH_9.2\r\n"),
                                  std::string("\x16\x03\x01\x02\0\x01\0\x01\xfc\x03\x03", 11),
                                  std::string(1000, '\0'), std::string(1000, '\xff')}) {
    attacker.connect().send(text);
    attacker.shakeHands().send(text);
  }
}

inline void beginHandshakes(Attacker& attacker) {
  const std::string whole = zmtp::greeting() + zmtp::ready(attacker.scene.peer);
  for (const std::size_t size : {0U, 1U, 9U, 10U, 11U, 12U, 33U, 63U, 64U, 65U, 66U, 80U}) {
    for (int i = 0; i < 5; ++i) attacker.connect().send(whole.substr(0, size));
  }
}

inline void failHandshakes(Attacker& attacker) {
  const std::string peer = attacker.scene.peer;
  for (const char* mechanism : {"PLAIN", "CURVE", "GSSAPI", "OTHER", "", "NULLNULLNULLNULLNULL"}) {
    attacker.connect().send(zmtp::greeting(mechanism));
  }
  for (char major = 0; major < 5; ++major) {
    attacker.connect().send(zmtp::greeting("NULL", major) + zmtp::ready(peer));
  }
  for (const std::string& second :
       {zmtp::ready("PAIR"), zmtp::ready("NONE"), zmtp::ready(""), zmtp::command("READY", "\xff"),
        zmtp::command("READY", zmtp::longHeader(0, -1ULL)), zmtp::command("ERROR", "\x05wrong"),
        zmtp::command("ERROR", "\xff"), zmtp::command("HELLO", ""), zmtp::command("", ""),
        zmtp::frame(zmtp::commandFlag, ""), zmtp::frame(0, "no command"), zmtp::frame(0, "")}) {
    attacker.connect().send(zmtp::greeting() + second);
  }
}

// A connection that is reset leaves its port free.
inline void comeAndGo(Attacker& attacker) {
  constexpr int times = 20;
  for (int i = 0; i < times; ++i) {
    for (int k = 0; k < attacker.scene.connectionsAtOnce; ++k) attacker.connect().reset();
    // When this returns, all connections before it have been accepted. TCP takes a second to
    // connect to a listener whose queue is full.
    attacker.shakeHands().reset();
    attacker.leave();
  }
}

inline void stay(Attacker& attacker) {
  for (int i = 0; i < 2 * attacker.scene.connectionsAtOnce; ++i) attacker.shakeHands();
}

inline void neverRead(Attacker& attacker) {
  const RawConnection& connection = attacker.shakeHands();
  const std::string message = attacker.message({"never read", payload});
  constexpr int count = 3000;
  for (int i = 0; i < count; ++i) connection.send(message);
}

// To a publisher these are subscriptions.
inline void flood(Attacker& attacker) {
  const RawConnection& connection = attacker.shakeHands();
  constexpr int count = 20000;
  for (int i = 0; i < count; ++i) {
    connection.send(attacker.message({"\x01" + std::to_string(i)}));
  }
}

inline void sendManyFrames(Attacker& attacker) {
  constexpr std::size_t count = 100000;
  attacker.shakeHands().send(attacker.message(Frames(count, "f")));
}

inline void sendHugeFrame(Attacker& attacker) {
  const std::string megabyte(1000000, 'h');
  constexpr std::uint64_t megabytes = 100;
  const RawConnection& connection = attacker.shakeHands();
  connection.send(Attacker::bytes(attacker.scene.envelope, zmtp::moreFlag) +
                  zmtp::longHeader(0, megabytes * megabyte.size()));
  for (std::uint64_t i = 0; i < megabytes; ++i) connection.send(megabyte);
}

inline void claimHugeFrames(Attacker& attacker) {
  for (const int bits : {27, 31, 32, 33, 40, 47, 62, 63}) {
    for (const char flag : {'\0', zmtp::commandFlag}) {
      attacker.shakeHands().send(zmtp::longHeader(flag, (1ULL << bits) - 1) + payload);
      attacker.shakeHands().send(zmtp::longHeader(flag, 1ULL << bits) + payload);
    }
  }
}

inline void assumeIdentity(Attacker& attacker, const std::string& identity) {
  attacker.shakeHands(zmtp::metadata("Identity", identity))
      .send(attacker.message({"subject", "part"}));
}

inline void assumeIdentities(Attacker& attacker) {
  for (const std::string& identity :
       {std::string(), std::string(), std::string(1, '\0'), std::string(5, '\0'),
        std::string(255, 'i'), std::string(256, 'i'), std::string(5000, 'i')}) {
    assumeIdentity(attacker, identity);
  }
}

inline void duplicateIdentities(Attacker& attacker) {
  constexpr int times = 10;
  for (int i = 0; i < times; ++i) {
    assumeIdentity(attacker, attacker.scene.identityOfAnother());
    assumeIdentity(attacker, "duplicate");
  }
}

inline void sendUnusualMessages(Attacker& attacker) {
  const RawConnection& connection = attacker.shakeHands();
  for (const Frames& frames :
       {Frames{""}, Frames{"", ""}, Frames(20, ""), Frames{std::string(300, 's'), "part"},
        Frames{std::string("a\0b", 3), ""}, Frames{std::string(100000, 's')}}) {
    connection.send(attacker.message(frames));
  }
  for (const std::string& command :
       {zmtp::command("PING", std::string("\0\1", 2)), zmtp::command("PONG", "context"),
        zmtp::command("SUBSCRIBE", "topic"), zmtp::command("CANCEL", "topic"),
        zmtp::command("UNKNOWN", payload)}) {
    connection.send(command);
  }
  // The rest of this message never comes.
  attacker.shakeHands().send(attacker.message({"subject"}) +
                             zmtp::frame(zmtp::moreFlag, "subject"));
}

inline void sendWithoutEnvelope(Attacker& attacker) {
  const RawConnection& connection = attacker.shakeHands();
  for (const Frames& frames : {Frames{"x"}, Frames{""}, Frames{"a", "b"}, Frames{"a", "b", "c"}}) {
    connection.send(Attacker::bytes(frames, 0));
  }
}

constexpr long fragmentation = 12288;  // of the memory in which many frames were
constexpr long pipesOfDuplicates = 20L * 20;

inline const std::vector<Attack> attacks{
    {"Garbage", sendGarbage, 20, true},
    {"HalfHandshakes", beginHandshakes},
    {"FailedHandshakes", failHandshakes, 20, true},
    {"ThousandsOfConnections", comeAndGo},
    {"ConnectionsThatStay", stay, 5},
    {"SlowReader", neverRead, 500},
    {"Flood", flood},
    {"HundredThousandFrames", sendManyFrames, 20, false, fragmentation},
    {"HundredMegabyteFrame", sendHugeFrame},
    {"ClaimsOfHugeFrames", claimHugeFrames},
    {"Identities", assumeIdentities},
    {"DuplicateIdentities", duplicateIdentities, 20, false, 2048, pipesOfDuplicates},
    {"UnusualMessages", sendUnusualMessages},
    {"MessagesWithoutEnvelope", sendWithoutEnvelope, 20, true},
};

}  // namespace hostile

#endif
