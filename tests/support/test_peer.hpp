// Reaches the private members that some tests need: the library declares this class a friend.
#ifndef TAVRIK_TESTS_SUPPORT_TEST_PEER_HPP
#define TAVRIK_TESTS_SUPPORT_TEST_PEER_HPP

#include <tavrik/msg_pattern.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <map>
#include <string>

namespace tavrik {

struct TestPeer {
  // The pattern that a channel owns.
  static MsgPattern*& patternOf(TavrikChannel& channel) { return channel.msgPattern; }

  // The ZeroMQ socket of a pattern or of a channel's pattern, or null.
  static void* socketOf(const MsgPattern& pattern) { return pattern.socket; }
  static void* socketOf(TavrikChannel& channel) { return socketOf(*patternOf(channel)); }

  // The properties that a pattern has stored.
  static const std::map<channel_prop_t, std::string>& propertiesOf(const MsgPattern& pattern) {
    return pattern.properties;
  }

  // Gives a pattern a role that its constructor refuses.
  static void setRole(MsgPattern& pattern, role_t role) { pattern.role = role; }
};

}  // namespace tavrik

namespace support {

using tavrik::TestPeer;

}  // namespace support

#endif
