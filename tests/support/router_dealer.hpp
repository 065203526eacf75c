// Router/dealer workers of the running test.
#ifndef TAVRIK_TESTS_SUPPORT_ROUTER_DEALER_HPP
#define TAVRIK_TESTS_SUPPORT_ROUTER_DEALER_HPP

#include <tavrik/async_router_dealer_msg_pattern.hpp>

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace support {

// A channel name that no other test uses: a proxy runs longer than the test that started it.
inline std::string testName() {
  return testing::UnitTest::GetInstance()->current_test_info()->name();
}

using Worker = std::unique_ptr<tavrik::AsyncRouterDealerMsgPattern>;

// Not connected.
inline Worker newWorker(const std::vector<std::string>& clientEndpoints,
                        const std::string& workerEndpoint, const std::string& name = testName()) {
  auto worker = std::make_unique<tavrik::AsyncRouterDealerMsgPattern>(name, ASYNC_DEALER_WORKER);
  for (const std::string& endpoint : clientEndpoints) {
    worker->setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, endpoint);
  }
  worker->setProperty(ASYNC_DEALER_WORKER_ENDPOINT, workerEndpoint);
  return worker;
}

}  // namespace support

#endif
