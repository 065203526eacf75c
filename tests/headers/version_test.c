/* The version: the headers', the library's and the project's are one, in the preprocessor too. */
#include <tavrik/version.h>

#include <stdio.h>
#include <string.h>

#define MAJOR TAVRIK_VERSION_MAJOR
#define MINOR TAVRIK_VERSION_MINOR
#define PATCH TAVRIK_VERSION_PATCH

#if !TAVRIK_VERSION_AT_LEAST(MAJOR, MINOR, PATCH) || \
    !TAVRIK_VERSION_AT_LEAST(MAJOR, MINOR, PATCH - 1)
#error "not at least the version that it is"
#endif
#if !TAVRIK_VERSION_AT_LEAST(MAJOR, MINOR - 1, PATCH + 1) || \
    !TAVRIK_VERSION_AT_LEAST(MAJOR - 1, MINOR + 1, PATCH + 1)
#error "not at least an older version"
#endif
#if TAVRIK_VERSION_AT_LEAST(MAJOR, MINOR, PATCH + 1) || \
    TAVRIK_VERSION_AT_LEAST(MAJOR, MINOR + 1, 0) || TAVRIK_VERSION_AT_LEAST(MAJOR + 1, 0, 0)
#error "at least a newer version"
#endif

int main(void) {
  char headers[32];
  snprintf(headers, sizeof headers, "%d.%d.%d", MAJOR, MINOR, PATCH);
  printf("project %s, headers %s, library %s\n", PROJECT_VERSION, headers, tavrik_version());
  return strcmp(headers, PROJECT_VERSION) != 0 || strcmp(tavrik_version(), PROJECT_VERSION) != 0;
}
