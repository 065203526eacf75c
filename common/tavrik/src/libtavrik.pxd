# cython: language_level=3str
#
# Declarations of C++, the library and the interpreter. A library name gets the prefix C where the
# module has the same name for Python.

cdef extern from "failure.hpp" nogil:
    void raiseFailure()


cdef extern from "Python.h":
    int PY_MAJOR_VERSION
    ctypedef struct PyTypeObject:
        const char* tp_name
    PyTypeObject* Py_TYPE(object value)
    int PyErr_CheckSignals() except -1
    # Used instead of `raise`: what Cython 0.29 generates for it does not compile for Python 3.12.
    object PyErr_Format(object type, const char* form, ...)
    bytes PyBytes_FromStringAndSize(const char* data, Py_ssize_t size)
    int PyBytes_AsStringAndSize(object value, char** data, Py_ssize_t* size) except -1
    char* PyByteArray_AS_STRING(object value)
    Py_ssize_t PyByteArray_GET_SIZE(object value)
    object PyUnicode_AsEncodedString(object text, const char* encoding, const char* errors)
    object PyUnicode_DecodeUTF8(const char* data, Py_ssize_t size, const char* errors)


cdef extern from "<cstring>" namespace "std" nogil:
    size_t strlen(const char* text)


# Cython's own declarations do not turn every std::bad_alloc into a Python exception.
cdef extern from "<string>" namespace "std" nogil:
    cdef cppclass string:
        string& assign(const char* data, size_t size) except +raiseFailure
        const char* c_str()
        const char* data()
        size_t size()
        size_t find(char character)
        size_t npos


cdef extern from "<memory>" namespace "std" nogil:
    cdef cppclass unique_ptr[T]:
        void reset(T* pointer)
        T* get()

    cdef cppclass shared_ptr[T]:
        void reset()
        void reset(T* pointer) except +raiseFailure
        void swap(shared_ptr[T]& other)
        T* get()


cdef extern from "tavrik/types.h":
    ctypedef enum pattern_t:
        C_REQUEST_REPLY_PATTERN "REQUEST_REPLY_PATTERN"
        C_PUBLISH_SUBSCRIBE_PATTERN "PUBLISH_SUBSCRIBE_PATTERN"
        C_ASYNC_ROUTER_DEALER_PATTERN "ASYNC_ROUTER_DEALER_PATTERN"

    ctypedef enum role_t:
        C_REQ_CLIENT "REQ_CLIENT"
        C_REP_SERVER "REP_SERVER"
        C_PUBLISHER "PUBLISHER"
        C_SUBSCRIBER "SUBSCRIBER"
        C_ASYNC_DEALER_CLIENT "ASYNC_DEALER_CLIENT"
        C_ASYNC_DEALER_WORKER "ASYNC_DEALER_WORKER"

    ctypedef enum channel_prop_t:
        C_REQ_REP_SERVER_ENDPOINT "REQ_REP_SERVER_ENDPOINT"
        C_PUB_SUB_PUBLISHER_ENDPOINT "PUB_SUB_PUBLISHER_ENDPOINT"
        C_PUB_SUB_SUBSCRIBE_FILTER "PUB_SUB_SUBSCRIBE_FILTER"
        C_PUB_SUB_UNSUBSCRIBE_FILTER "PUB_SUB_UNSUBSCRIBE_FILTER"
        C_ASYNC_DEALER_CLIENT_ENDPOINT "ASYNC_DEALER_CLIENT_ENDPOINT"
        C_ASYNC_DEALER_WORKER_ENDPOINT "ASYNC_DEALER_WORKER_ENDPOINT"
        C_CHANNEL_LINGER "CHANNEL_LINGER"

    enum:
        C_SUBJECT_BUFFER_SIZE "SUBJECT_BUFFER_SIZE"
        C_PROPERTY_BUFFER_SIZE "PROPERTY_BUFFER_SIZE"


cdef extern from "tavrik/message_handle.hpp" namespace "tavrik" nogil:
    cdef cppclass MsgHandle:
        pass

    void releaseHandle "tavrik::freeMsgHandle"(const MsgHandle* handle)


cdef extern from "integer.hpp":
    int as_int "intOf"(object value) except? -1
    unsigned int as_unsigned "unsignedOf"(object value) except? 0xFFFFFFFF
    const MsgHandle* as_handle "handleOf"(object value) except? NULL


cdef extern from "tavrik/message.hpp" namespace "tavrik" nogil:
    cdef cppclass CMessage "tavrik::Message":
        CMessage() except +raiseFailure
        CMessage(unsigned int count) except +raiseFailure
        CMessage(const CMessage& other) except +raiseFailure
        int getnumParts()
        int setnumParts(unsigned int count) except +raiseFailure
        string getPart(unsigned int index) except +raiseFailure
        void setPart(unsigned int index, string data) except +raiseFailure
        int insertPart(unsigned int index, string data) except +raiseFailure
        int removePart(unsigned int index) except +raiseFailure
        MsgHandle* getHandle() except +raiseFailure
        void setHandle(const MsgHandle* handle) except +raiseFailure


cdef extern from "tavrik/typed_channels.hpp" namespace "tavrik" nogil:
    cdef cppclass CTavrikChannel "tavrik::TavrikChannel":
        CTavrikChannel(string name, pattern_t pattern, role_t role) except +raiseFailure
        int send(const char* subject, CMessage* message) except +raiseFailure
        int receive(char* subject, CMessage* message, long timeout) except +raiseFailure
        int setProperty(channel_prop_t prop, string value) except +raiseFailure
        string getProperty(channel_prop_t prop) except +raiseFailure

    cdef cppclass CRequestReplyChannel "tavrik::RequestReplyChannel"(CTavrikChannel):
        CRequestReplyChannel(string name, role_t role) except +raiseFailure

    cdef cppclass CPublishSubscribeChannel "tavrik::PublishSubscribeChannel"(CTavrikChannel):
        CPublishSubscribeChannel(string name, role_t role) except +raiseFailure

    cdef cppclass CAsyncRouterDealerChannel "tavrik::AsyncRouterDealerChannel"(CTavrikChannel):
        CAsyncRouterDealerChannel(string name, role_t role) except +raiseFailure
