// For a test program that defines a function of a shared library itself: the library's function.
#ifndef TAVRIK_TESTS_SUPPORT_NEXT_FUNCTION_HPP
#define TAVRIK_TESTS_SUPPORT_NEXT_FUNCTION_HPP

#include <dlfcn.h>

#include <cstring>
#include <stdexcept>

namespace support {

// The function of the same name as the one at this address, in the libraries after the program.
template <class Function>
Function* nextAfter(const void* address) {
  Dl_info info{};
  void* found = nullptr;
  if (dladdr(address, &info) != 0 && info.dli_sname != nullptr) {
    found = dlsym(RTLD_NEXT, info.dli_sname);
  }
  if (found == nullptr || found == address) throw std::logic_error("not a function of a library");
  return reinterpret_cast<Function*>(found);
}

// A member function that is not virtual is called like a plain one with the object in front.
template <class Result, class Class, class... Arguments>
auto next(Result (Class::*member)(Arguments...)) {
  void* address = nullptr;
  std::memcpy(&address, &member, sizeof address);
  return nextAfter<Result(Class*, Arguments...)>(address);
}

template <class Result, class Class, class... Arguments>
auto next(Result (Class::*member)(Arguments...) const) {
  void* address = nullptr;
  std::memcpy(&address, &member, sizeof address);
  return nextAfter<Result(const Class*, Arguments...)>(address);
}

template <class Result, class... Arguments>
auto next(Result (*function)(Arguments...)) {
  return nextAfter<Result(Arguments...)>(reinterpret_cast<const void*>(function));
}

}  // namespace support

#endif
