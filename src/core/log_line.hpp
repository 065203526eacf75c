// The log function of the process, and log lines from inside the library.
#ifndef TAVRIK_CORE_LOG_LINE_HPP
#define TAVRIK_CORE_LOG_LINE_HPP

#include <tavrik/types.h>

namespace tavrik {

using LogFunction = void (*)(int level, const char* text);

// The default log function: the system log.
void logToSystem(int level, const char* text);

// Replaces the log function. With null, log lines are dropped.
void setLogFunction(LogFunction function);

// Passes a line to the log function. Never throws: what the log function throws is dropped.
void emitLine(tavrik_loglevel_t level, const char* text);

// Logs prefix + text. Never throws: on allocation failure the line is dropped, so that the failure
// being reported is the one that propagates.
void logLine(tavrik_loglevel_t level, const char* prefix, const char* text = "");

}  // namespace tavrik

#endif
