// Creates the pattern object for a pattern number.
#include <core/failure.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>
#include <tavrik/msg_pattern_factory.hpp>
#include <tavrik/publish_subscribe_msg_pattern.hpp>
#include <tavrik/request_reply_msg_pattern.hpp>

namespace tavrik {

MsgPatternFactory* MsgPatternFactory::getInstance() {
  static MsgPatternFactory factory;
  return &factory;
}

MsgPattern* MsgPatternFactory::createMsgPattern(const std::string& name, pattern_t pattern,
                                                role_t role) const {
  return logged("Error : Tavrik::MsgPatternFactory::createMsgPattern() : ", [&]() -> MsgPattern* {
    switch (pattern) {
      case REQUEST_REPLY_PATTERN:
        return new RequestReplyMsgPattern(name, role);
      case PUBLISH_SUBSCRIBE_PATTERN:
        return new PublishSubscribeMsgPattern(name, role);
      case ASYNC_ROUTER_DEALER_PATTERN:
        return new AsyncRouterDealerMsgPattern(name, role);
      default:
        fail(failures::invalidPattern);
    }
  });
}

}  // namespace tavrik
