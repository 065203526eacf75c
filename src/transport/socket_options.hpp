// The socket options that createEndpt() and setOption() set.
#ifndef TAVRIK_TRANSPORT_SOCKET_OPTIONS_HPP
#define TAVRIK_TRANSPORT_SOCKET_OPTIONS_HPP

#include <tavrik/mq_wrapper.hpp>
#include <transport/transport_error.hpp>

#include <zmq.h>

namespace tavrik {

enum class ValueForm { text, number, number64 };

// One option: the library's name, ZeroMQ's number, and the form in which ZeroMQ takes the value.
struct OptionRow {
  option_t option;
  int number;
  ValueForm form;
};

// ZeroMQ 4.1 has neither heartbeats nor a time-out for connecting; it rejects their numbers.
#ifndef ZMQ_HEARTBEAT_IVL
#define ZMQ_HEARTBEAT_IVL 75
#define ZMQ_HEARTBEAT_TIMEOUT 77
#define ZMQ_CONNECT_TIMEOUT 79
#endif

inline constexpr OptionRow optionRows[] = {
    {OPT_SUBSCRIBE, ZMQ_SUBSCRIBE, ValueForm::text},
    {OPT_UNSUBSCRIBE, ZMQ_UNSUBSCRIBE, ValueForm::text},
    {OPT_IDENTITY, ZMQ_IDENTITY, ValueForm::text},
    {OPT_SNDHWM, ZMQ_SNDHWM, ValueForm::number},
    {OPT_TOS, ZMQ_TOS, ValueForm::number},
    {OPT_RCVHWM, ZMQ_RCVHWM, ValueForm::number},
    {OPT_HEARTBEAT_INTERVAL, ZMQ_HEARTBEAT_IVL, ValueForm::number},
    {OPT_HEARTBEAT_TIMEOUT, ZMQ_HEARTBEAT_TIMEOUT, ValueForm::number},
    {OPT_MAX_MESSAGE_SIZE, ZMQ_MAXMSGSIZE, ValueForm::number64},
    {OPT_ROUTER_HANDOVER, ZMQ_ROUTER_HANDOVER, ValueForm::number},
    {OPT_CONNECT_TIMEOUT, ZMQ_CONNECT_TIMEOUT, ValueForm::number},
    {OPT_HANDSHAKE_TIMEOUT, ZMQ_HANDSHAKE_IVL, ValueForm::number},
};

// Returns the row of an option. An option that the table lacks has ZeroMQ's number 0, which ZeroMQ
// rejects.
constexpr OptionRow rowOf(option_t option) {
  for (const OptionRow& row : optionRows) {
    if (row.option == option) return row;
  }
  return {option, 0, ValueForm::text};
}

// TCP keep-alive, the same for every socket and set in this order. A peer that has vanished is
// detected about 2 hours and 11 minutes after the last byte.
struct KeepAliveRow {
  int option;
  int value;
  Site refused;          // the option was refused and the socket closed
  int andNotClosedCode;  // the option was refused and the socket could not be closed either
};

inline constexpr KeepAliveRow keepAliveRows[] = {
    {ZMQ_TCP_KEEPALIVE,
     1,
     {0x1020000, "Failed to configure TCP Keepalive mode on socket : "},
     0x1130000},
    {ZMQ_TCP_KEEPALIVE_IDLE,
     7200,
     {0x1030000, "Failed to configure TCP Keepalive idle value on socket : "},
     0x1140000},
    {ZMQ_TCP_KEEPALIVE_INTVL,
     75,
     {0x1040000, "Failed to configure TCP Keepalive interval value on socket : "},
     0x1150000},
    {ZMQ_TCP_KEEPALIVE_CNT,
     9,
     {0x1050000, "Failed to configure TCP Keepalive count on socket : "},
     0x1160000},
};

}  // namespace tavrik

#endif
