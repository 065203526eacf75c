/**
 * @file
 * The whole library for C++ programs.
 */
#ifndef TAVRIK_TAVRIK_HPP
#define TAVRIK_TAVRIK_HPP

#include <tavrik/async_router_dealer_msg_pattern.hpp>
#include <tavrik/error.hpp>
#include <tavrik/export.h>
#include <tavrik/logger.hpp>
#include <tavrik/message.hpp>
#include <tavrik/message_handle.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/msg_pattern.hpp>
#include <tavrik/msg_pattern_factory.hpp>
#include <tavrik/mutex_ra.hpp>
#include <tavrik/proxy_thread.hpp>
#include <tavrik/publish_subscribe_msg_pattern.hpp>
#include <tavrik/request_reply_msg_pattern.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/tavrik_channel.hpp>
#include <tavrik/tavrik_stats.hpp>
#include <tavrik/typed_channels.hpp>
#include <tavrik/types.h>
#include <tavrik/version.h>

#endif
