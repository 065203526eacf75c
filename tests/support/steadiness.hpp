// Whether a process that runs long keeps taking more of the system.
#ifndef TAVRIK_TESTS_SUPPORT_STEADINESS_HPP
#define TAVRIK_TESTS_SUPPORT_STEADINESS_HPP

#include <support/footprint.hpp>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <string>
#include <vector>

namespace support {

// The footprints of a process in the course of a run.
class Steadiness {
 public:
  // @p descriptorsThatComeAndGo may be open at any time, without being growth.
  explicit Steadiness(long descriptorsThatComeAndGo = 0)
      : descriptorAllowance(descriptorsThatComeAndGo) {}

  void add(const Footprint& footprint) {
    memory.push_back(footprint.memory);
    descriptors.push_back(footprint.descriptors);
  }

  // Prints what keeps growing. Returns whether nothing does.
  bool isKept(const std::string& process) const {
    constexpr long memoryAllowance = 4096;  // kB
    bool steady = true;
    if (memoryIsMeaningful && keepsGrowing(memory, memoryAllowance)) {
      std::cout << process << ": the memory keeps growing\n";
      steady = false;
    }
    if (keepsGrowing(descriptors, descriptorAllowance)) {
      std::cout << process << ": the number of descriptors keeps growing\n";
      steady = false;
    }
    return steady;
  }

 private:
  // Whether the last quarter of a series lies above its second quarter. What grows while the
  // program warms up does not count, nor do ups and downs.
  static bool keepsGrowing(const std::vector<long>& series, long allowance) {
    const auto quarter = static_cast<std::ptrdiff_t>(series.size() / 4);
    if (quarter == 0) return false;
    const long before = *std::max_element(series.begin() + quarter, series.begin() + 2 * quarter);
    const long after = *std::min_element(series.end() - quarter, series.end());
    return after > before + allowance;
  }

  long descriptorAllowance;
  std::vector<long> memory;
  std::vector<long> descriptors;
};

}  // namespace support

#endif
