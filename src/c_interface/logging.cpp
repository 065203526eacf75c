// The C functions of the log.
#include <core/log_line.hpp>
#include <tavrik/tavrik.h>

void tavrik_Install_Logfn(tavrik_logfn_t logfn) {
  tavrik::setLogFunction(logfn);
}

void syslog_Logfn(int level, const char* text) {
  tavrik::logToSystem(level, text);
}
