// A folder of the test's own, and endpoints that no other test can have.
#ifndef TAVRIK_TESTS_SUPPORT_TEMP_DIR_HPP
#define TAVRIK_TESTS_SUPPORT_TEMP_DIR_HPP

#include <string>

namespace support {

// Removed with everything in it when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return directory; }

  // An ipc endpoint in the folder; another with each call.
  std::string ipcEndpoint();

 private:
  std::string directory;
  int endpoints = 0;
};

// An inproc endpoint; another with each call.
std::string inprocEndpoint();

// A tcp endpoint on loopback whose port was free a moment ago. Somebody else may take it before it
// is bound: whoever binds has to be ready to try with another.
std::string tcpEndpoint();

}  // namespace support

#endif
