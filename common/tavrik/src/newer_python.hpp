// Included before the generated code. Cython 0.29 generates code that uses internals of the
// interpreter, which Python 3.12 and 3.13 changed. With these settings it uses the documented
// interface instead. Cython 3 does not need them, and works with them.
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
// Python 3.13 added a parameter. The generated code mentions the function in conversions that the
// module does not use.
inline int _PyLong_AsByteArray(PyLongObject* number, unsigned char* bytes, size_t size,
                               int littleEndian, int isSigned) {
  return _PyLong_AsByteArray(number, bytes, size, littleEndian, isSigned, 1);
}
#endif

#endif
