#include <support/c_proxy_control.h>
#include <support/proxy_control.hpp>

#include <optional>

namespace {

std::optional<support::ProxyControl> control;
std::optional<support::ThreadFailure> failure;
int ended = 0;  // of the proxies held

}  // namespace

void hold_proxies() {
  control.emplace();
  ended = 0;
}

void end_proxy(int error) {
  control->waitForCalls(++ended);
  control->end(error);
}

void release_proxies() {
  control.reset();
}

void fail_threads(int fail) {
  failure.reset();
  if (fail != 0) failure.emplace();
}
