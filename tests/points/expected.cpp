#include "expected.hpp"

#include <zmq.h>

#include <cerrno>
#include <stdexcept>

namespace points {
namespace {

struct Row {
  const char* call;  // the start of its text
  int site;
  const char* description;
  const char* member;  // of the transport; null: it does not log
  bool connecting;
  std::vector<int> errors;
};

const std::vector<int> optionErrors{EINVAL, EINTR, ETERM, ENOTSOCK};
const std::vector<int> bindErrors{
    EINVAL,        EACCES,          EMFILE,         ENODEV,   ENOENT, ENAMETOOLONG, EADDRINUSE,
    EADDRNOTAVAIL, EPROTONOSUPPORT, ENOCOMPATPROTO, EMTHREAD, ETERM,  ENOTSOCK};

// The first row whose text starts the call's is the call's.
const Row rows[] = {
    {"zmq_ctx_new",
     0x1000000,
     "Failed to create ZeroMQ Context",
     "MQWrapper",
     false,
     {EMFILE, ENOMEM}},
    {"zmq_ctx_set",
     0x1120000,
     "Failed to set ZMQ_IO_THREADS : ",
     "MQWrapper",
     false,
     {EINVAL, EFAULT}},
    {"zmq_socket_monitor",
     0x1170000,
     "Failed to monitor ZeroMQ Socket : ",
     nullptr,
     false,
     {EINVAL, EMFILE, EADDRINUSE, EPROTONOSUPPORT, EMTHREAD, ETERM, ENOTSOCK}},
    {"zmq_socket 0",
     0x1170000,
     "Failed to monitor ZeroMQ Socket : ",
     nullptr,
     false,
     {EMFILE, ENFILE, ETERM}},
    {"zmq_connect inproc://tavrik.monitor.",
     0x1170000,
     "Failed to monitor ZeroMQ Socket : ",
     nullptr,
     false,
     {EINVAL, ECONNREFUSED, EMTHREAD, ETERM, ENOTSOCK}},
    {"zmq_socket",
     0x1010000,
     "Failed to create ZeroMQ Socket : ",
     "createEndpt",
     true,
     {EINVAL, EFAULT, EMFILE, ENFILE, ETERM}},
    {"zmq_setsockopt 34 ", 0x1020000,
     "Failed to configure TCP Keepalive mode on socket : ", "createEndpt", true, optionErrors},
    {"zmq_setsockopt 36 ", 0x1030000, "Failed to configure TCP Keepalive idle value on socket : ",
     "createEndpt", true, optionErrors},
    {"zmq_setsockopt 37 ", 0x1040000,
     "Failed to configure TCP Keepalive interval value on socket : ", "createEndpt", true,
     optionErrors},
    {"zmq_setsockopt 35 ", 0x1050000,
     "Failed to configure TCP Keepalive count on socket : ", "createEndpt", true, optionErrors},
    {"zmq_setsockopt 17 ", 0x1060000, "Failed to  set ZeroMQ Socket Linger Period : ", nullptr,
     false, optionErrors},
    {"zmq_setsockopt ", 0x1070000, "Failed to set ZeroMQ Socket Option : ", "setOption", true,
     optionErrors},
    {"zmq_bind ", 0x1090000, "Failed to bind ZeroMQ Socket : ", "registerSender", true, bindErrors},
    {"zmq_connect ",
     0x10a0000,
     "Failed to connect ZeroMQ Socket : ",
     "registerReceiver",
     true,
     {EINVAL, ECONNREFUSED, EPROTONOSUPPORT, ENOCOMPATPROTO, EMTHREAD, ETERM, ENOTSOCK}},
    {"zmq_msg_init_size ",
     0x10d0000,
     "Failed to initialize ZeroMQ messagepart : ",
     "send",
     false,
     {ENOMEM}},
    {"zmq_msg_init", 0, "", nullptr, false, {}},
    {"zmq_msg_send ",
     0x10b0000,
     "Failed to send messagepart : ",
     "send",
     false,
     {EAGAIN, EINTR, EINVAL, EFAULT, ENOTSUP, EHOSTUNREACH, EFSM, ETERM, ENOTSOCK}},
    {"zmq_msg_recv ",
     0x10e0000,
     "Failed to get messagepart : ",
     "receive",
     false,
     {EAGAIN, EINTR, EFAULT, ENOTSUP, EFSM, ETERM, ENOTSOCK}},
    {"zmq_msg_close", 0x10c0000, "Failed to close ZeroMQ messagepart : ", "send", false, {EFAULT}},
    {"zmq_getsockopt 13 ", 0x10f0000, "Failed to get ZMQ_RCVMORE Option : ", "receive", false,
     optionErrors},
    {"zmq_poll ",
     0x1110000,
     "Failed to poll on zmq_items : ",
     nullptr,
     false,
     {EINTR, EFAULT, ENOMEM, ETERM}},
    {"zmq_close", 0x10c0000, "Failed to  close ZeroMQ Socket : ", nullptr, false, {ENOTSOCK}},
};

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

const Row& rowOf(const std::string& call) {
  for (const Row& row : rows) {
    if (startsWith(call, row.call)) return row;
  }
  throw std::logic_error("a call that no row is for: " + call);
}

// ZeroMQ's own numbers are counted from their base and marked by bit 15.
int composite(int site, int error) {
  return error >= ZMQ_HAUSNUMERO ? site | 0x8000 | (error - ZMQ_HAUSNUMERO) : site | error;
}

}  // namespace

const std::vector<int>& plausibleErrors(const std::string& call) {
  return rowOf(call).errors;
}

Expected::Expected(const std::string& call, const std::string& before, int error) {
  const Row& row = rowOf(call);
  std::string endpoint;
  if ((startsWith(call, "zmq_bind ") || startsWith(call, "zmq_connect ")) &&
      row.member != nullptr) {
    endpoint = " : End Point : " + call.substr(call.find(' ') + 1);
  }
  const std::string errorText = startsWith(call, "zmq_ctx_new") ? "" : zmq_strerror(error);
  const int positive = composite(row.site, error);
  code = -positive;
  text = row.description + errorText + endpoint + "zeromq:" + std::to_string(positive);
  if (row.member != nullptr) {
    std::string member = row.member;
    if (call == "zmq_msg_close" && startsWith(before, "zmq_msg_recv")) member = "receive";
    memberPrefix = "Error : Tavrik::MQWrapper::" + member + "() : ";
  }
  connecting = row.connecting;
}

}  // namespace points
