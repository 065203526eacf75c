// Turns the C++ exception that is being handled into a Python exception.
//
// The generated code includes this after Python.h. It calls raiseFailure() in the handler around
// each call into the library, with the interpreter lock held.
#ifndef TAVRIK_PYTHON_FAILURE_HPP
#define TAVRIK_PYTHON_FAILURE_HPP

#include <cstring>
#include <exception>
#include <ios>
#include <new>
#include <stdexcept>
#include <typeinfo>

// Error texts quote names, endpoints and values, which may not be UTF-8.
inline void setFailure(PyObject* type, const char* text) {
#if PY_MAJOR_VERSION < 3
  PyErr_SetString(type, text);
#else
  PyObject* const message =
      PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "surrogateescape");
  if (message == nullptr) return;  // the decoder has set a Python error
  PyErr_SetObject(type, message);
  Py_DECREF(message);
#endif
}

inline void raiseFailure() {
  try {
    throw;
  } catch (const std::bad_alloc& failure) {
    setFailure(PyExc_MemoryError, failure.what());
  } catch (const std::bad_cast& failure) {
    setFailure(PyExc_TypeError, failure.what());
  } catch (const std::bad_typeid& failure) {
    setFailure(PyExc_TypeError, failure.what());
  } catch (const std::domain_error& failure) {
    setFailure(PyExc_ValueError, failure.what());
  } catch (const std::invalid_argument& failure) {
    setFailure(PyExc_ValueError, failure.what());
  } catch (const std::ios_base::failure& failure) {
    setFailure(PyExc_IOError, failure.what());
  } catch (const std::out_of_range& failure) {
    setFailure(PyExc_IndexError, failure.what());
  } catch (const std::overflow_error& failure) {
    setFailure(PyExc_OverflowError, failure.what());
  } catch (const std::range_error& failure) {
    setFailure(PyExc_ArithmeticError, failure.what());
  } catch (const std::underflow_error& failure) {
    setFailure(PyExc_ArithmeticError, failure.what());
  } catch (const std::exception& failure) {
    setFailure(PyExc_RuntimeError, failure.what());
  } catch (...) {
    setFailure(PyExc_RuntimeError, "Unknown exception");
  }
}

#endif
