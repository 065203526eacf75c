// Reply handles.
#include <core/failure.hpp>
#include <tavrik/message_handle.hpp>

#include <memory>

namespace tavrik {

MsgHandle::~MsgHandle() = default;

AsyncRouterDealerMsgHandle::AsyncRouterDealerMsgHandle() = default;
AsyncRouterDealerMsgHandle::~AsyncRouterDealerMsgHandle() = default;

void AsyncRouterDealerMsgHandle::setIdentity(const std::string& id) {
  identity = id;
}

std::string AsyncRouterDealerMsgHandle::getIdentity() const {
  return identity;
}

MsgHandle* AsyncRouterDealerMsgHandle::clone() const {
  return logged("Error : Tavrik::AsyncRouterDealerMsgHandle::clone() : ", [&] {
    auto copy = std::make_unique<AsyncRouterDealerMsgHandle>();
    copy->setIdentity(identity);
    return copy.release();
  });
}

void freeMsgHandle(const MsgHandle* handle) {
  delete handle;
}

}  // namespace tavrik
