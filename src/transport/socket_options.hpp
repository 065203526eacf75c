// What createEndpt() and setOption() put on sockets, as tables.
#ifndef TAVRIK_TRANSPORT_SOCKET_OPTIONS_HPP
#define TAVRIK_TRANSPORT_SOCKET_OPTIONS_HPP

#include <tavrik/mq_wrapper.hpp>
#include <transport/transport_error.hpp>

#include <zmq.h>

namespace tavrik {

enum class ValueForm { text, number };

// The library's options by ZeroMQ's numbers.
struct OptionRow {
  option_t option;
  int number;
  ValueForm form;
};

inline constexpr OptionRow optionRows[] = {
    {OPT_SUBSCRIBE, ZMQ_SUBSCRIBE, ValueForm::text},
    {OPT_UNSUBSCRIBE, ZMQ_UNSUBSCRIBE, ValueForm::text},
    {OPT_IDENTITY, ZMQ_IDENTITY, ValueForm::text},
    {OPT_SNDHWM, ZMQ_SNDHWM, ValueForm::number},
    {OPT_TOS, ZMQ_TOS, ValueForm::number},
    {OPT_RCVHWM, ZMQ_RCVHWM, ValueForm::number},
};

// TCP keep-alive, the same for every socket and set in this order. A peer that vanished is noticed
// about 2 hours and 11 minutes after the last byte.
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
