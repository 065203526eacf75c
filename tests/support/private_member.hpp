// Reaches private members that no test can do without.
//
// The names in an explicit instantiation are not subject to access checks, so a template that is
// instantiated with a pointer to the member can hand it out.
#ifndef TAVRIK_TESTS_SUPPORT_PRIVATE_MEMBER_HPP
#define TAVRIK_TESTS_SUPPORT_PRIVATE_MEMBER_HPP

#include <tavrik/msg_pattern.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <atomic>

namespace support {

template <class Tag, typename Tag::Member member>
struct Reveal {
  friend typename Tag::Member revealed(Tag) { return member; }
};

struct ChannelPattern {
  using Member = tavrik::MsgPattern* tavrik::TavrikChannel::*;
  friend Member revealed(ChannelPattern);
};
template struct Reveal<ChannelPattern, &tavrik::TavrikChannel::msgPattern>;

struct PatternSocket {
  using Member = std::atomic<void*> tavrik::MsgPattern::*;
  friend Member revealed(PatternSocket);
};
template struct Reveal<PatternSocket, &tavrik::MsgPattern::socket>;

// The pattern that a channel owns.
inline tavrik::MsgPattern*& patternOf(tavrik::TavrikChannel& channel) {
  return channel.*revealed(ChannelPattern{});
}

// The ZeroMQ socket of a channel, or null.
inline void* socketOf(tavrik::TavrikChannel& channel) {
  return patternOf(channel)->*revealed(PatternSocket{});
}

}  // namespace support

#endif
