// The version of the library at run time.
#include <tavrik/version.h>

#define TEXT_OF(number) #number
#define VERSION_TEXT(major, minor, patch) TEXT_OF(major) "." TEXT_OF(minor) "." TEXT_OF(patch)

const char* tavrik_version() {
  return VERSION_TEXT(TAVRIK_VERSION_MAJOR, TAVRIK_VERSION_MINOR, TAVRIK_VERSION_PATCH);
}
