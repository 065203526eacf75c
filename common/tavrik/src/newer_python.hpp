// Included in front of what Cython 0.29 generates, which reaches into the interpreter in ways that
// end with Python 3.12 and 3.13. Turned off, it takes the documented ways instead.
#ifndef TAVRIK_PYTHON_NEWER_PYTHON_HPP
#define TAVRIK_PYTHON_NEWER_PYTHON_HPP

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#if PY_VERSION_HEX >= 0x030C0000
#define CYTHON_FAST_THREAD_STATE 0
#define CYTHON_USE_DICT_VERSIONS 0
#define CYTHON_USE_EXC_INFO_STACK 0
#define CYTHON_USE_PYLONG_INTERNALS 0
#define CYTHON_USE_TP_FINALIZE 0
#define CYTHON_USE_UNICODE_INTERNALS 0
#endif

#if PY_VERSION_HEX >= 0x030D0000
// It has got a parameter more. Only conversions that the module does not use call it.
#define _PyLong_AsByteArray(number, bytes, size, littleEndian, isSigned) \
  _PyLong_AsByteArray(number, bytes, size, littleEndian, isSigned, 1)
#endif

#endif
