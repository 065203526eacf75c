// What a process holds of the system.
#ifndef TAVRIK_TESTS_SUPPORT_FOOTPRINT_HPP
#define TAVRIK_TESTS_SUPPORT_FOOTPRINT_HPP

#include <dirent.h>
#include <malloc.h>

#include <fstream>
#include <istream>
#include <ostream>
#include <string>

namespace support {

// The sanitizers keep freed memory for a while.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memoryIsMeaningful = false;
#else
constexpr bool memoryIsMeaningful = true;
#endif

struct Footprint {
  long memory = 0;  // kB that are resident
  long peak = 0;    // kB that have been resident at most
  long descriptors = 0;

  // That of this process. Memory that the allocator keeps although it is free does not count.
  static Footprint now() {
    malloc_trim(0);
    Footprint footprint;
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
      if (word == "VmRSS:") status >> footprint.memory;
      if (word == "VmHWM:") status >> footprint.peak;
    }
    DIR* const directory = opendir("/proc/self/fd");
    while (readdir(directory) != nullptr) ++footprint.descriptors;
    closedir(directory);
    return footprint;
  }
};

inline std::ostream& operator<<(std::ostream& out, const Footprint& footprint) {
  return out << footprint.memory << ' ' << footprint.peak << ' ' << footprint.descriptors;
}

inline std::istream& operator>>(std::istream& in, Footprint& footprint) {
  return in >> footprint.memory >> footprint.peak >> footprint.descriptors;
}

}  // namespace support

#endif
