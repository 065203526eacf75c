// Conversions of the module's integer arguments, with the interpreter's usual errors.
//
// The conversions that Cython 0.29 generates do not compile for Python 3.13, and in Python 3.12
// they read negative numbers as positive ones. These use only the interpreter's documented
// interface.
#ifndef TAVRIK_PYTHON_INTEGER_HPP
#define TAVRIK_PYTHON_INTEGER_HPP

#include <tavrik/message_handle.hpp>

#include <climits>
#include <cstddef>
#include <cstdint>

// Whether an object has a conversion, which is usually the case if its type has the slot for it.
// Objects of Python 2's classic classes have every slot. Without the method, the slot raises
// AttributeError.
inline bool converts(PyObject* value, bool slot, const char* method) {
#if PY_MAJOR_VERSION < 3
  if (PyInstance_Check(value)) return PyObject_HasAttrString(value, method) != 0;
#else
  static_cast<void>(value);
  static_cast<void>(method);
#endif
  return slot;
}

// The object as a number: a new reference to an int, or null with a Python error set. It is
// TypeError if the object is not a number. Text with digits is not a number.
inline PyObject* numberOf(PyObject* value) {
  const PyNumberMethods* const methods = Py_TYPE(value)->tp_as_number;
  if (converts(value, methods != nullptr && methods->nb_int != nullptr, "__int__")) {
#if PY_MAJOR_VERSION < 3
    return PyNumber_Int(value);
#else
    return PyNumber_Long(value);
#endif
  }
  if (converts(value, PyIndex_Check(value) != 0, "__index__")) return PyNumber_Index(value);
  PyErr_SetString(PyExc_TypeError, "an integer is required");
  return nullptr;
}

// -1 with a Python error set on failure.
inline int intOf(PyObject* value) {
  PyObject* const number = numberOf(value);
  if (number == nullptr) return -1;
  int overflow = 0;
  const long long wide = PyLong_AsLongLongAndOverflow(number, &overflow);
  Py_DECREF(number);
  if (overflow != 0 || wide < INT_MIN || wide > INT_MAX) {
    PyErr_SetString(PyExc_OverflowError, "value too large to convert to int");
    return -1;
  }
  return static_cast<int>(wide);
}

// Converts to an unsigned type with this largest value. On failure a Python error is set, and the
// result is the largest value.
inline unsigned long long unsignedNumberOf(PyObject* value, unsigned long long largest,
                                           const char* type) {
  PyObject* const number = numberOf(value);
  if (number == nullptr) return largest;
  int overflow = 0;
  const long long wide = PyLong_AsLongLongAndOverflow(number, &overflow);
  // Only a number of 64 bits or more overflows. Python 2 has it as a long, never as an int.
  const unsigned long long result =
      overflow > 0 ? PyLong_AsUnsignedLongLong(number) : static_cast<unsigned long long>(wide);
  Py_DECREF(number);
  if (overflow < 0 || (overflow == 0 && wide < 0)) {
    PyErr_Format(PyExc_OverflowError, "can't convert negative value to %s", type);
    return largest;
  }
  if (PyErr_Occurred() != nullptr || result > largest) {
    PyErr_Format(PyExc_OverflowError, "value too large to convert to %s", type);
    return largest;
  }
  return result;
}

// UINT_MAX with a Python error set on failure.
inline unsigned int unsignedOf(PyObject* value) {
  return static_cast<unsigned int>(unsignedNumberOf(value, UINT_MAX, "unsigned int"));
}

// The reply handle at an address. On failure a Python error is set, and the result is no handle.
inline const tavrik::MsgHandle* handleOf(PyObject* value) {
  const unsigned long long address = unsignedNumberOf(value, SIZE_MAX, "size_t");
  if (PyErr_Occurred() != nullptr) return nullptr;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): Python keeps handles as integers.
  return reinterpret_cast<const tavrik::MsgHandle*>(static_cast<std::size_t>(address));
}

#endif
