# cython: language_level=3str
# cython: always_allow_keywords=True
# cython: auto_pickle=False
# cython: binding=False
#
# The Python module libtavrik: messages and channels of the library as Python objects.
#
# The same source is used for Python 2.7 and Python 3, with Cython 0.29 and Cython 3. Parts and texts
# are taken as `str` or `bytearray`, in Python 3 also as `bytes`. A Python 3 `str` is encoded as
# UTF-8. The interpreter lock is released only while a receive waits.
#
# Cython 3 makes methods plain Python functions unless `binding` is off. They have to stay built-in
# methods, which refuse an object of another class.

SUBJECT_BUFFER_SIZE = C_SUBJECT_BUFFER_SIZE
PROPERTY_BUFFER_SIZE = C_PROPERTY_BUFFER_SIZE


cdef class Pattern:
    """\t- Patterns of a channel"""
    REQUEST_REPLY_PATTERN = C_REQUEST_REPLY_PATTERN
    PUBLISH_SUBSCRIBE_PATTERN = C_PUBLISH_SUBSCRIBE_PATTERN
    ASYNC_ROUTER_DEALER_PATTERN = C_ASYNC_ROUTER_DEALER_PATTERN


cdef class Role:
    """\t- Roles in a channel; each pattern accepts its own two"""
    REQ_CLIENT = C_REQ_CLIENT
    REP_SERVER = C_REP_SERVER
    PUBLISHER = C_PUBLISHER
    SUBSCRIBER = C_SUBSCRIBER
    ASYNC_DEALER_CLIENT = C_ASYNC_DEALER_CLIENT
    ASYNC_DEALER_WORKER = C_ASYNC_DEALER_WORKER


cdef class Channel_prop:
    """\t- Endpoint and filter properties of a channel"""
    REQ_REP_SERVER_ENDPOINT = C_REQ_REP_SERVER_ENDPOINT
    PUB_SUB_PUBLISHER_ENDPOINT = C_PUB_SUB_PUBLISHER_ENDPOINT
    PUB_SUB_SUBSCRIBE_FILTER = C_PUB_SUB_SUBSCRIBE_FILTER
    PUB_SUB_UNSUBSCRIBE_FILTER = C_PUB_SUB_UNSUBSCRIBE_FILTER
    ASYNC_DEALER_CLIENT_ENDPOINT = C_ASYNC_DEALER_CLIENT_ENDPOINT
    ASYNC_DEALER_WORKER_ENDPOINT = C_ASYNC_DEALER_WORKER_ENDPOINT


cdef bint is_string(value) except -1:
    return isinstance(value, (bytes, str))


# Python 2 would encode `unicode` as ASCII. List elements and subjects have to be `str` also where
# `-O` removes the assertion.
cdef int refuse_unicode(value) except -1:
    if PY_MAJOR_VERSION < 3 and isinstance(value, unicode):
        PyErr_Format(TypeError, "expected str, %.200s found", Py_TYPE(value).tp_name)
    return 0


# Copies a string's bytes. Raises TypeError if the value is not a string.
cdef int take(value, string* text) except -1:
    cdef char* data = NULL
    cdef Py_ssize_t size = 0
    if isinstance(value, bytearray):
        text.assign(PyByteArray_AS_STRING(value), PyByteArray_GET_SIZE(value))
        return 0
    if PY_MAJOR_VERSION >= 3 and isinstance(value, unicode):
        value = PyUnicode_AsEncodedString(value, "utf-8", "surrogateescape")
    PyBytes_AsStringAndSize(value, &data, &size)
    text.assign(data, size)
    return 0


# The same for a name, a value or a subject. These texts end at a zero byte, so none may be in them.
cdef int take_text(value, string* text, const char* what) except -1:
    take(value, text)
    if text.find(b'\0') != text.npos:
        PyErr_Format(ValueError, "embedded null byte in the %s", what)
    return 0


cdef object bytes_of(const string& text):
    return PyBytes_FromStringAndSize(text.data(), text.size())


# The `str` for bytes that may not be UTF-8.
cdef object text_of(const char* data, size_t size):
    if PY_MAJOR_VERSION < 3:
        return PyBytes_FromStringAndSize(data, size)
    return PyUnicode_DecodeUTF8(data, size, "surrogateescape")


# For methods without arguments. Cython has another text for these than for methods with arguments.
cdef int refuse_arguments(tuple arguments, const char* name) except -1:
    if arguments:
        PyErr_Format(TypeError, "%.200s() takes exactly 0 positional arguments (%zd given)", name,
                     <Py_ssize_t>len(arguments))
    return 0


cdef class Message:
    """\t- Multipart message Constructor
\t- n_parts (Unsigned Integer) number of parts"""

    cdef unique_ptr[CMessage] message

    def __cinit__(self):
        self.message.reset(new CMessage())

    def __init__(self, n_parts=0):
        """\t- Multipart message Constructor
\t- n_parts (Unsigned Integer) number of parts"""
        self.message.reset(new CMessage(as_unsigned(n_parts)))

    def __reduce__(self):
        PyErr_Format(TypeError, "cannot copy or pickle a message")

    # As in lists, a negative index counts from the end. The library refuses an index that is out of
    # range after that.
    cdef unsigned int position(self, index) except? 0xFFFFFFFF:
        cdef int position = as_int(index)
        return position + self.message.get().getnumParts() if position < 0 else position

    cdef list parts(self):
        cdef int index
        cdef list parts = []
        for index in range(self.message.get().getnumParts()):
            parts.append(bytes_of(self.message.get().getPart(index)))
        return parts

    # Calls insert() as a method: a subclass may override it. join() does the same.
    cdef int append(self, parts) except -1:
        assert isinstance(parts, list), "Argument must be a list"
        if not isinstance(parts, list):
            PyErr_Format(TypeError, "expected list, %.200s found", Py_TYPE(parts).tp_name)
        for part in parts:
            assert is_string(part), "Argument must be a list of Strings"
            refuse_unicode(part)
            self.insert(len(self), part)
        return 0

    def __len__(self):
        """\t- returns number of parts"""
        return self.message.get().getnumParts()

    def __iter__(self):
        """\t- returns iterator over the parts"""
        return iter(self.parts())

    def __getitem__(self, index):
        """\t- index (Integer) part to copy; a negative one counts from the end
\t- throws RuntimeError Exception on invalid index
\t- returns [part as String]"""
        return bytes_of(self.message.get().getPart(self.position(index)))

    def __setitem__(self, index, part):
        """\t- index (Integer) part to replace; a negative one counts from the end
\t- part (String) new content
\t- throws RuntimeError Exception on invalid index"""
        cdef unsigned int position = self.position(index)
        cdef string text
        take(part, &text)
        self.message.get().setPart(position, text)

    def __iadd__(self, parts):
        """\t- parts (List of Strings) parts to append, in order
\t- returns [the same message]"""
        self.append(parts)
        return self

    def insert(self, index, part):
        """\t- index (Integer) part to insert before, as in lists; the number of parts appends
\t- part (String) content of the new part
\t- throws RuntimeError Exception on invalid index
\t- returns [0 on success]"""
        cdef unsigned int position = self.position(index)
        cdef string text
        take(part, &text)
        return self.message.get().insertPart(position, text)

    def remove(self, index):
        """\t- index (Integer) part to take out; later parts move down by one
\t- throws RuntimeError Exception on invalid index
\t- returns [0 on success]"""
        return self.message.get().removePart(self.position(index))

    def resize(self, n_parts):
        """\t- n_parts (Unsigned Integer) new number of parts; empty ones are added at the end, or the last ones dropped
\t- returns [0 on success]"""
        return self.message.get().setnumParts(as_unsigned(n_parts))

    def join(self, parts, msghandle=0):
        """\t- Replaces the whole content
\t- parts (List of Strings) new parts
\t- msghandle (Unsigned Integer) reply handle to copy, 0 for none; the caller still owns it"""
        as_handle(msghandle)  # refuses a wrong one before the message is changed
        message = self
        message.resize(0)
        message += parts
        message.setHandle(msghandle)

    def split(self, *arguments):
        """\t- returns [tuple (parts (List of Strings), msghandle (Unsigned Integer))]
\t- msghandle is a copy to be released with freeMsgHandle, 0 for none"""
        refuse_arguments(arguments, b"split")
        return self.parts(), self.getHandle()

    def getHandle(self, *arguments):
        """\t- returns [msghandle (Unsigned Integer)]
\t- msghandle is a copy to be released with freeMsgHandle, 0 for none"""
        refuse_arguments(arguments, b"getHandle")
        return <size_t>self.message.get().getHandle()

    def setHandle(self, msghandle):
        """\t- msghandle (Unsigned Integer) reply handle to copy, 0 to remove the message's own; the caller still owns it"""
        self.message.get().setHandle(as_handle(msghandle))


# Calls the object's methods: a subclass may override them.
cdef int copy_message(msg, CMessage* private) except -1:
    cdef string text
    cdef unsigned int index
    cdef unsigned int n_parts = len(msg)
    private.setnumParts(n_parts)
    for index in range(n_parts):
        take(msg[index], &text)
        private.setPart(index, text)
    cdef const MsgHandle* handle = as_handle(msg.getHandle())
    try:
        private.setHandle(handle)
    finally:
        releaseHandle(handle)
    return 0


cdef class TavrikChannel:
    """\t- Channel Constructor
\t- ch_name (String) name of the channel
\t- ch_pattern (Integer) one of Pattern
\t- ch_role (Integer) one of Role"""

    # Shared with a waiting receive: another thread may call __init__ again at the same time.
    cdef shared_ptr[CTavrikChannel] channel
    cdef bint lingers

    def __dealloc__(self):
        cdef shared_ptr[CTavrikChannel] none
        self.exchange(none)

    # Deleting the old channel waits if it lingers, so other threads run then.
    cdef int exchange(self, shared_ptr[CTavrikChannel]& other) except -1:
        cdef bint waits = self.lingers
        other.swap(self.channel)
        self.lingers = False
        if waits:
            with nogil:
                other.reset()
        return 0

    # Owns the new channel at once. Its allocation failure leaves the old one.
    cdef int replace(self, CTavrikChannel* channel) except -1:
        cdef shared_ptr[CTavrikChannel] owned
        owned.reset(channel)
        return self.exchange(owned)

    def __init__(self, ch_name, ch_pattern, ch_role):
        """\t- Channel Constructor
\t- ch_name (String) name of the channel
\t- ch_pattern (Integer) one of Pattern
\t- ch_role (Integer) one of Role"""
        cdef string name
        take_text(ch_name, &name, b"name")
        self.replace(
            new CTavrikChannel(name, <pattern_t>as_int(ch_pattern), <role_t>as_int(ch_role)))

    def __reduce__(self):
        PyErr_Format(TypeError, "cannot copy or pickle a channel")

    cdef shared_ptr[CTavrikChannel] opened(self) except *:
        if self.channel.get() == NULL:
            PyErr_Format(RuntimeError, "the channel's __init__ has not run, or has failed")
        return self.channel

    cdef object set(self, int prop, value):
        cdef shared_ptr[CTavrikChannel] channel = self.opened()
        cdef string text
        cdef int status
        take_text(value, &text, b"value")
        status = channel.get().setProperty(<channel_prop_t>prop, text)
        if prop == C_CHANNEL_LINGER:
            self.lingers = True
        return status

    def setProperty(self, prop, prop_val):
        """\t- prop (Integer) one of Channel_prop
\t- prop_val (String) value, cannot exceed 'PROPERTY_BUFFER_SIZE - 1' characters
\t- returns [0 on success | -1 on failure]"""
        return self.set(as_int(prop), prop_val)

    def getProperty(self, prop):
        """\t- prop (Integer) one of Channel_prop
\t- returns [value as String]"""
        cdef shared_ptr[CTavrikChannel] channel = self.opened()
        return string_text(channel.get().getProperty(<channel_prop_t>as_int(prop)))

    def send(self, subject, msg):
        """\t- subject (String) cannot exceed 'SUBJECT_BUFFER_SIZE - 1' characters
\t- msg (Message) is not changed
\t- returns [number of parts sent | -1 on failure]"""
        cdef shared_ptr[CTavrikChannel] channel = self.opened()
        cdef CMessage private
        cdef string text
        assert isinstance(msg, Message), "msg must be a multipart Message Object"
        if not isinstance(msg, Message):
            PyErr_Format(TypeError, "expected Message, %.200s found", Py_TYPE(msg).tp_name)
        copy_message(msg, &private)
        assert is_string(subject), "Subject must be a String"
        refuse_unicode(subject)
        take_text(subject, &text, b"subject")
        return channel.get().send(text.c_str(), &private)

    def sendparts(self, subject, parts, handle=0):
        """\t- subject (String) cannot exceed 'SUBJECT_BUFFER_SIZE - 1' characters
\t- parts (List of Strings) parts of the message
\t- handle (Unsigned Integer) reply handle of the request, 0 for none; the caller still owns it
\t- returns [number of parts sent | -1 on failure]"""
        msg = Message()
        msg.join(parts, handle)
        return self.send(subject, msg)

    def receive(self, timeout=-1):
        """\t- timeout (Integer) milliseconds, 0 does not wait, -1 waits indefinitely
\t- returns [tuple (subject (String), msg (Message)) | (None, None) when nothing is received]"""
        cdef shared_ptr[CTavrikChannel] channel = self.opened()
        cdef CMessage private
        cdef char subject[C_SUBJECT_BUFFER_SIZE]
        cdef int wait = as_int(timeout)
        cdef int status
        with nogil:
            status = channel.get().receive(subject, &private, wait)
        if status < 1:
            PyErr_CheckSignals()
            return None, None
        cdef Message msg = Message()
        msg.message.reset(new CMessage(private))
        return text_of(subject, strlen(subject)), msg

    def receiveparts(self, timeout=-1):
        """\t- timeout (Integer) milliseconds, 0 does not wait, -1 waits indefinitely
\t- returns [tuple (subject (String), parts (List of Strings), handle (Unsigned Integer)) | (None, None, None) when nothing is received]
\t- handle must be released with freeMsgHandle, 0 for none"""
        subject, msg = self.receive(timeout)
        parts = handle = None
        if msg:
            parts, handle = msg.split()
        return subject, parts, handle


cdef object string_text(const string& text):
    return text_of(text.data(), text.size())


cdef class AsyncRouterDealerChannel(TavrikChannel):
    """\t- Asynchronous router/dealer channel Constructor
\t- ch_name (String) name of the channel
\t- ch_role (Integer) Role.ASYNC_DEALER_CLIENT or Role.ASYNC_DEALER_WORKER"""

    def __init__(self, ch_name, ch_role):
        """\t- Asynchronous router/dealer channel Constructor
\t- ch_name (String) name of the channel
\t- ch_role (Integer) Role.ASYNC_DEALER_CLIENT or Role.ASYNC_DEALER_WORKER"""
        cdef string name
        take_text(ch_name, &name, b"name")
        self.replace(new CAsyncRouterDealerChannel(name, <role_t>as_int(ch_role)))

    def setServerEndPoint(self, endpt):
        """\t- endpt (String) IP : Port / IPC name
\t- returns [0 on success | negative on failure]"""
        return self.set(C_ASYNC_DEALER_CLIENT_ENDPOINT, endpt)

    def setWorkerEndPoint(self, endpt):
        """\t- endpt (String) IP : Port / IPC name
\t- returns [0 on success | negative on failure]"""
        return self.set(C_ASYNC_DEALER_WORKER_ENDPOINT, endpt)


cdef class PublishSubscribeChannel(TavrikChannel):
    """\t- Publish/subscribe channel Constructor
\t- ch_name (String) name of the channel
\t- ch_role (Integer) Role.PUBLISHER or Role.SUBSCRIBER"""

    def __init__(self, ch_name, ch_role):
        """\t- Publish/subscribe channel Constructor
\t- ch_name (String) name of the channel
\t- ch_role (Integer) Role.PUBLISHER or Role.SUBSCRIBER"""
        cdef string name
        take_text(ch_name, &name, b"name")
        self.replace(new CPublishSubscribeChannel(name, <role_t>as_int(ch_role)))

    def setPublisherEndPoint(self, endpt):
        """\t- endpt (String) IP : Port / IPC name
\t- returns [0 on success | -1 on failure]"""
        return self.set(C_PUB_SUB_PUBLISHER_ENDPOINT, endpt)

    def subscribe(self, filterstr):
        """\t- filterstr (String) Subject filter string
\t- returns [0 on success | -1 on failure]"""
        return self.set(C_PUB_SUB_SUBSCRIBE_FILTER, filterstr)

    def unsubscribe(self, filterstr):
        """\t- filterstr (String) Subject filter string
\t- returns [0 on success | -1 on failure]"""
        return self.set(C_PUB_SUB_UNSUBSCRIBE_FILTER, filterstr)


cdef class RequestReplyChannel(TavrikChannel):
    """\t- Request/reply channel Constructor
\t- ch_name (String) name of the channel
\t- ch_role (Integer) Role.REQ_CLIENT or Role.REP_SERVER"""

    def __init__(self, ch_name, ch_role):
        """\t- Request/reply channel Constructor
\t- ch_name (String) name of the channel
\t- ch_role (Integer) Role.REQ_CLIENT or Role.REP_SERVER"""
        cdef string name
        take_text(ch_name, &name, b"name")
        self.replace(new CRequestReplyChannel(name, <role_t>as_int(ch_role)))

    def setServerEndPoint(self, endpt):
        """\t- endpt (String) IP : Port / IPC name
\t- returns [0 on success | -1 on failure]"""
        return self.set(C_REQ_REP_SERVER_ENDPOINT, endpt)


def freeMsgHandle(handle):
    """\t- handle (Unsigned Integer) reply handle to release, 0 is ignored; must not be used afterwards"""
    releaseHandle(as_handle(handle))
