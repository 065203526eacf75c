/**
 * @file
 * Creates pattern objects by kind.
 */
#ifndef TAVRIK_MSG_PATTERN_FACTORY_HPP
#define TAVRIK_MSG_PATTERN_FACTORY_HPP

#include <tavrik/export.h>
#include <tavrik/types.h>

#include <string>

namespace tavrik {

class MsgPattern;

/** Creates patterns. Every member may be called from any thread. */
class TAVRIK_API MsgPatternFactory {
 public:
  /** @return the factory of the process */
  static MsgPatternFactory* getInstance();

  MsgPatternFactory(const MsgPatternFactory&) = delete;
  MsgPatternFactory& operator=(const MsgPatternFactory&) = delete;

  /**
   * Creates an unconnected pattern.
   * @param name the channel's name, not empty
   * @param pattern the kind
   * @param role one of the kind's two
   * @return a new object that the caller deletes
   * @throws std::logic_error -10 "Invalid Message Pattern"; -1 for an empty name; the role
   * error of the pattern (-12 request/reply, -15 publish/subscribe, -23 router/dealer)
   * @throws std::runtime_error -3 "Failed to instantiate MQWrapper Object"; the transport's sites
   * 0x1000000 and 0x1120000
   */
  MsgPattern* createMsgPattern(const std::string& name, pattern_t pattern, role_t role) const;

 private:
  MsgPatternFactory() = default;
  ~MsgPatternFactory() = default;
};

}  // namespace tavrik

#endif
