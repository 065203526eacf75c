// A client and a server channel with a common endpoint.
#ifndef TAVRIK_TESTS_SUPPORT_REQUEST_REPLY_HPP
#define TAVRIK_TESTS_SUPPORT_REQUEST_REPLY_HPP

#include <support/temp_dir.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <string>

namespace support {

// Neither channel is connected before its first use.
struct RequestReply {
  RequestReply() {
    server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
    client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
  }

  TempDir dir;
  std::string endpoint = dir.ipcEndpoint();
  tavrik::TavrikChannel server{"pair", REQUEST_REPLY_PATTERN, REP_SERVER};
  tavrik::TavrikChannel client{"pair", REQUEST_REPLY_PATTERN, REQ_CLIENT};
};

}  // namespace support

#endif
