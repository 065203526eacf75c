#include <support/temp_dir.hpp>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace support {
namespace {

[[noreturn]] void throwErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tavrik-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throwErrno("mkdtemp");
  directory = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
}

std::string TempDir::ipcEndpoint() {
  return "ipc://" + directory + "/" + std::to_string(endpoints++);
}

std::string inprocEndpoint() {
  static std::atomic<int> count{0};
  return "inproc://test-" + std::to_string(count++);
}

std::string tcpEndpoint() {
  const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
  if (descriptor == -1) throwErrno("socket");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(descriptor, reinterpret_cast<sockaddr*>(&address), size) == -1) throwErrno("bind");
  if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == -1) {
    throwErrno("getsockname");
  }
  close(descriptor);
  return "tcp://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

}  // namespace support
