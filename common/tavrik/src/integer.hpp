// Integer arguments of the module's functions, with the errors that the interpreter's users know.
//
// The conversions that Cython 0.29 generates do not compile for Python 3.13 and take negative
// numbers for positive ones in Python 3.12. These use the interpreter's documented interface alone.
#ifndef TAVRIK_PYTHON_INTEGER_HPP
#define TAVRIK_PYTHON_INTEGER_HPP

#include <tavrik/message_handle.hpp>

#include <climits>
#include <cstddef>
#include <cstdint>

// Whether a type's own slot for a conversion means that its objects have the conversion. Those of
// Python 2's classic classes have every slot, and fail in it with errors that speak of attributes.
inline bool converts(PyObject* value, bool slot, const char* method) {
#if PY_MAJOR_VERSION < 3
  if (PyInstance_Check(value)) return PyObject_HasAttrString(value, method) != 0;
#else
  static_cast<void>(value);
  static_cast<void>(method);
#endif
  return slot;
}

// The number that an object stands for, as a new reference to an int; null with TypeError set for
// what is no number. Text that spells a number is none.
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

// A number cut to 64 bits, and whether it lies below or above them.
struct WideNumber {
  long long value;
  int overflow;  // -1 below, 1 above
};

// With a Python error set when it is no number; the value is -1 then.
inline WideNumber wideNumber(PyObject* value) {
  WideNumber wide{-1, 0};
  PyObject* const number = numberOf(value);
  if (number == nullptr) return wide;
  wide.value = PyLong_AsLongLongAndOverflow(number, &wide.overflow);
  Py_DECREF(number);
  return wide;
}

inline bool isNegative(const WideNumber& number) {
  return number.overflow < 0 || (number.overflow == 0 && number.value < 0);
}

inline int outOfRange(const char* text) {
  PyErr_SetString(PyExc_OverflowError, text);
  return -1;
}

// -1 with a Python error set on failure, as are those below.
inline int intOf(PyObject* value) {
  const WideNumber number = wideNumber(value);
  if (number.overflow != 0 || number.value < INT_MIN || number.value > INT_MAX) {
    return outOfRange("value too large to convert to int");
  }
  return static_cast<int>(number.value);
}

inline unsigned int unsignedOf(PyObject* value) {
  const WideNumber number = wideNumber(value);
  if (PyErr_Occurred() != nullptr) return UINT_MAX;
  if (isNegative(number)) {
    outOfRange("can't convert negative value to unsigned int");
    return UINT_MAX;
  }
  if (number.overflow != 0 || number.value > UINT_MAX) {
    outOfRange("value too large to convert to unsigned int");
    return UINT_MAX;
  }
  return static_cast<unsigned int>(number.value);
}

// A reply handle from the integer that stands for it, which is its address; null on failure.
inline const tavrik::MsgHandle* handleOf(PyObject* value) {
  const WideNumber number = wideNumber(value);
  if (PyErr_Occurred() != nullptr) return nullptr;
  if (isNegative(number)) {
    outOfRange("can't convert negative value to size_t");
    return nullptr;
  }
  // No address has the highest bit set in a process.
  if (number.overflow != 0 || static_cast<unsigned long long>(number.value) > SIZE_MAX) {
    outOfRange("value too large to convert to size_t");
    return nullptr;
  }
  return reinterpret_cast<const tavrik::MsgHandle*>(static_cast<std::size_t>(number.value));
}

#endif
