// The allocation routines that a program may install for itself and for ZeroMQ.
#include <tavrik/tavrik.h>

#include <cstdlib>

tavrik_mm_routines_t tavrik_mm_routines = {nullptr, nullptr, nullptr};
uint32_t tavrikmalloccount = 0;
uint32_t tavrikcalloccount = 0;
uint32_t tavrikrealloccount = 0;

// Only some builds of ZeroMQ have this entry point. Its address is null where it is missing.
extern "C" int zmq_install_mmfns(tavrik_mm_routines_t* routines)
    __attribute__((weak, visibility("default")));

void* tavrik_malloc(size_t size) {
  ++tavrikmalloccount;
  const auto routine = tavrik_mm_routines.malloc_routine;
  return routine != nullptr ? routine(size) : std::malloc(size);
}

void* tavrik_calloc(size_t count, size_t size) {
  ++tavrikcalloccount;
  const auto routine = tavrik_mm_routines.calloc_routine;
  return routine != nullptr ? routine(count, size) : std::calloc(count, size);
}

void* tavrik_realloc(void* block, size_t size) {
  ++tavrikrealloccount;
  const auto routine = tavrik_mm_routines.realloc_routine;
  return routine != nullptr ? routine(block, size) : std::realloc(block, size);
}

int tavrik_Install_mm_routines(const tavrik_mm_routines_t* routines) {
  // A null entry keeps the installed routine. A routine can be replaced but never removed, because
  // its blocks may still be in use.
  const auto install = [](auto& installed, auto routine) {
    if (routine != nullptr) installed = routine;
  };
  install(tavrik_mm_routines.malloc_routine, routines->malloc_routine);
  install(tavrik_mm_routines.calloc_routine, routines->calloc_routine);
  install(tavrik_mm_routines.realloc_routine, routines->realloc_routine);
  return zmq_install_mmfns != nullptr ? zmq_install_mmfns(&tavrik_mm_routines) : 0;
}
