// A temporary folder of the test, and endpoints that no other test uses.
#ifndef TAVRIK_TESTS_SUPPORT_TEMP_DIR_HPP
#define TAVRIK_TESTS_SUPPORT_TEMP_DIR_HPP

#include <string>

namespace support {

// The destructor removes the folder and its contents.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return directory; }

  // Returns an ipc endpoint in the folder, a different one with each call.
  std::string ipcEndpoint();

 private:
  std::string directory;
  int endpoints = 0;
};

// Returns an inproc endpoint, a different one with each call.
std::string inprocEndpoint();

// Returns a tcp endpoint on loopback whose port is free now. Another process may take the port
// before the caller binds it; the caller then has to try another endpoint.
std::string tcpEndpoint();

}  // namespace support

#endif
