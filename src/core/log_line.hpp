// Writes log lines from inside the library.
#ifndef TAVRIK_CORE_LOG_LINE_HPP
#define TAVRIK_CORE_LOG_LINE_HPP

#include <tavrik/types.h>

namespace tavrik {

// Logs prefix + text. Never throws: when memory is too short to compose the line, the line is
// dropped, so that a failure being reported is the one that goes on.
void logLine(tavrik_loglevel_t level, const char* prefix, const char* text = "");

}  // namespace tavrik

#endif
