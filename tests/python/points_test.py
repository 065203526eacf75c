"""Each allocation in C++ and each call of ZeroMQ that the module makes fails once. Needs the
interposer. The suite prints how many points it visited."""
from __future__ import print_function

import ctypes
import errno
import os
import sys
import traceback

import libtavrik
from libtavrik import Message, Role, TavrikChannel
from common import inproc_endpoint, unique_name
from support import TestCase, interposer, main

library = interposer()
library.call_text.restype = ctypes.c_char_p
library.expected_text.restype = ctypes.c_char_p
library.make_handle.restype = ctypes.c_size_t
library.open_peer.restype = ctypes.c_void_p
library.close_peer.argtypes = [ctypes.c_void_p]
library.peer_send.argtypes = [ctypes.c_void_p, ctypes.c_char_p]
library.peer_receive.argtypes = [ctypes.c_void_p]
library.peer_receive.restype = ctypes.c_char_p

# Longer than what std::string and ZeroMQ store without an allocation. Made here, so that its
# references can be counted.
# How many points the tests visit at least: allocations and calls.
MESSAGES, PROPERTIES, SETTERS = (30, 0), (130, 0), (30, 25)
CONNECTING, MESSAGING, LIFETIMES = (150, 1400), (200, 600), (150, 70)

LONG = ' '.join(['a text that nothing stores without', 'an allocation of its own'])
SUBJECT = 'subject of ' + LONG
PARTS = [LONG + '0', 'short']
HANDLE = library.make_handle(b'client')
WORKER_NAME = unique_name() + LONG

EFSM_TEXT = 'Operation cannot be accomplished in current state'
HWM, TOS, HEARTBEAT, MAX_SIZE, LINGER = {Role.PUBLISHER: 9, Role.SUBSCRIBER: 10,
                                         Role.ASYNC_DEALER_CLIENT: 6}, 7, 4096, 4097, 4098
NAMES = ['client', 'server', 'publisher', 'subscriber', 'dealer client', 'worker']
CLASSES = [libtavrik.RequestReplyChannel, libtavrik.PublishSubscribeChannel,
           libtavrik.AsyncRouterDealerChannel]
ENDPOINTS = [0, 0, 1, 1, 4, 5]
# The type of a plain socket that is the role's peer, and whether it binds.
PEERS = [(4, 1), (3, 0), (2, 0), (1, 1), (6, 1), (5, 1)]


def encoded(parts):
    return [part.encode('ascii') for part in parts]


def frames(number):
    """The n-th message of a scene, with its subject in front."""
    return [SUBJECT, LONG + str(number), 'short']


def start_proxy():
    """New workers of this name then start no proxy, so a peer can take the proxy's place."""
    worker = libtavrik.AsyncRouterDealerChannel(WORKER_NAME, Role.ASYNC_DEALER_WORKER)
    worker.setServerEndPoint(inproc_endpoint())
    worker.setWorkerEndPoint(inproc_endpoint())
    worker.receive(1)


class Scene(object):
    """A channel in a state, with a plain socket as its peer, everything in one thread."""

    def __init__(self, role=None):
        self.role = role
        self.peer = None
        self.channel = None
        self.message = Message()
        self.message.join(PARTS, HANDLE)
        if role is None:
            return
        self.endpoint = inproc_endpoint() + LONG
        self.pattern = role // 2
        self.takes_turns = self.pattern == 0
        self.routing_frames = int(role == Role.ASYNC_DEALER_WORKER)
        name = WORKER_NAME if role == Role.ASYNC_DEALER_WORKER else LONG
        self.channel = CLASSES[self.pattern](name, role)
        if self.pattern != 1:
            self.set_endpoint()

    def close(self):
        self.channel = None
        self.close_peer()

    def close_peer(self):
        if self.peer is not None:
            library.close_peer(self.peer)
        self.peer = None

    def set_endpoint(self):
        assert self.channel.setProperty(ENDPOINTS[self.role], self.endpoint) == 0

    def set_every_property(self):
        for prop in TOS, HEARTBEAT, MAX_SIZE:
            self.channel.setProperty(prop, '200')
        if self.role in HWM:
            self.channel.setProperty(HWM[self.role], '5')
        if self.role == Role.SUBSCRIBER:
            self.channel.subscribe(SUBJECT)

    def open_peer(self):
        kind, binds = PEERS[self.role]
        self.peer = library.open_peer(kind, self.endpoint.encode('ascii'), binds)

    def connect(self):
        self.open_peer()
        if self.role == Role.PUBLISHER:
            self.set_endpoint()
            while self.channel.send(SUBJECT, self.message) and self.receive_at_peer() is None:
                pass
        elif self.role == Role.SUBSCRIBER:
            self.set_endpoint()
            self.send(frames(0))
            while self.receive_now() is None:
                self.send(frames(0))
        elif self.role == Role.REQ_CLIENT:
            self.obtain(0)
            self.receive_now()
        elif self.role == Role.ASYNC_DEALER_CLIENT:
            self.channel.send(SUBJECT, self.message)
            self.receive_at_peer()
        else:
            self.channel.receive(self.routing_frames)

    def obtain(self, number):
        """The n-th message is there to be received."""
        if self.role == Role.REQ_CLIENT:
            self.channel.send(SUBJECT, self.message)
            self.receive_at_peer()
        self.send(frames(number))

    def make_sendable(self):
        if self.role == Role.REP_SERVER:
            self.obtain(0)
            self.receive_now()

    def send(self, parts):
        library.peer_send(self.peer, '\n'.join(parts).encode('ascii'))

    def receive_at_peer(self):
        lines = library.peer_receive(self.peer)
        return None if lines is None else lines.decode('ascii').split('\n')[:-1]

    def receive_now(self):
        return of_receive(self.channel.receive(0))

    def content(self):
        """The message's parts, and whether it has a handle."""
        handle = self.message.getHandle()
        libtavrik.freeMsgHandle(handle)
        return list(self.message), handle != 0


def of_receive(received):
    subject, message = received
    return None if subject is None else [subject] + [part.decode('ascii') for part in message]


def of_receiveparts(received):
    subject, parts, handle = received
    libtavrik.freeMsgHandle(handle or 0)
    return None if subject is None else [subject] + [part.decode('ascii') for part in parts]


def of_handle(handle):
    libtavrik.freeMsgHandle(handle)
    return handle != 0


class Refusal(object):
    """What an operation is expected to raise. The text ends with the code, or contains it."""

    def __init__(self, code):
        self.code = code

    def matches(self, outcome):
        return outcome[0] is RuntimeError and self.code in outcome[1]


class Operation(object):
    """An action on a scene in a state, and its result where nothing fails."""

    def __init__(self, name, prepare, action, result, view=lambda value: value, exempt=(),
                 afterwards=None, quiet=False, changes=None, has_points=True, may_leave=0):
        self.name = name
        self.prepare = prepare
        self.action = action
        self.result = result
        self.view = view              # what of the value is compared with the result
        self.exempt = exempt          # failed calls that do not raise: start of text, error, result
        self.afterwards = afterwards  # checks the scene after a failure; None: the action works
        self.quiet = quiet            # it reports no failure
        self.changes = changes        # what may be left in the message; None: its own content
        self.has_points = has_points
        self.may_leave = may_leave    # sockets, after a failed call

    def attempt(self, scene):
        """(None, result), or the exception's type and text."""
        try:
            return None, self.action(scene)
        except BaseException as failure:
            return type(failure), str(failure)


def in_role(role, *states):
    def prepare():
        scene = Scene(role)
        for state in states:
            state(scene)
        return scene
    return prepare


def out_of_turn(test, function, *arguments):
    try:
        function(*arguments)
    except RuntimeError as failure:
        test.assertIn(EFSM_TEXT, str(failure))
    else:
        test.fail('it is not its turn')


def after_sending(test, scene, operation, _call):
    """The peer gets all of the message; if some frames had been sent, behind them."""
    sent = library.calls_worked(b'zmq_msg_send')
    wire = [SUBJECT] + PARTS
    whole = sent == len(wire) + scene.routing_frames
    if whole and scene.takes_turns:
        out_of_turn(test, operation.action, scene)
    else:
        test.assertEqual((None, 2), operation.attempt(scene))
    received = scene.receive_at_peer()
    if sent == 0 or whole:
        test.assertEqual(wire, received)
    test.assertEqual(wire, received[-len(wire):])


def after_receiving(test, scene, _operation, call):
    """The next receive gets what has not been touched, and discards the rest of what has."""
    taken = library.calls_worked(b'zmq_msg_recv')
    measured = library.calls_worked(b'zmq_getsockopt 13')
    whole = not call and measured == 3 + scene.routing_frames
    if taken == 0:
        test.assertEqual(frames(0), scene.receive_now())
        return
    if scene.role == Role.REP_SERVER:
        if whole:
            test.assertEqual(2, scene.channel.send(SUBJECT, scene.message))
            test.assertEqual(frames(0), scene.receive_at_peer())
        else:
            test.assertIsNone(scene.receive_now())
            test.assertEqual([''], scene.receive_at_peer())
    if scene.role == Role.REQ_CLIENT and not whole:
        out_of_turn(test, scene.channel.receive, 0)
    scene.obtain(2)
    test.assertEqual(frames(2), scene.receive_now())


def after_first_endpoint(test, scene, operation, call):
    """A subscriber lists the endpoint although a call failed, and the next receive connects."""
    if scene.role == Role.SUBSCRIBER and call:
        test.assertTrue(Refusal('tavrik:-38').matches(operation.attempt(scene)))
        scene.receive_now()
        test.assertEqual(1, library.open_sockets())
    else:
        test.assertEqual((None, 0), operation.attempt(scene))


def after_call(code):
    def check(test, scene, operation, call):
        outcome = operation.attempt(scene)
        if call:
            test.assertTrue(Refusal(code).matches(outcome), outcome)
        else:
            test.assertEqual((None, 0), outcome)
    return check


def after_init(test, scene, _operation, _call):
    """The old channel still exists."""
    test.assertEqual(1, library.open_sockets())


SENDS = [('send', lambda s: s.channel.send(SUBJECT, s.message)),
         ('sendparts', lambda s: s.channel.sendparts(SUBJECT, PARTS, HANDLE))]


def receives(timeout):
    return [('receive', lambda s: s.channel.receive(timeout), of_receive),
            ('receiveparts', lambda s: s.channel.receiveparts(timeout), of_receiveparts)]


def setting(prop, value=None):
    return lambda s: s.channel.setProperty(prop, value or s.endpoint)


def getting(prop):
    return lambda s: s.channel.getProperty(prop)


# ZeroMQ destroys a socket only when its peers in the process have let go of it.
LINGERING = [setting(LINGER, '20000'), Scene.connect, Scene.close_peer]
NOTHING_THERE = ('zmq_msg_recv', 11, None)


def connecting(role):
    for how, states in (('', [Scene.open_peer]),
                        (', every property', [Scene.set_every_property, Scene.open_peer])):
        prepare = in_role(role, *states)
        if role in (Role.PUBLISHER, Role.SUBSCRIBER):
            yield Operation('setPublisherEndPoint connects' + how, prepare,
                            lambda s: s.channel.setPublisherEndPoint(s.endpoint), 0,
                            afterwards=after_first_endpoint)
            continue
        if role != Role.REP_SERVER:
            for name, action in SENDS:
                yield Operation(name + ' connects' + how, prepare, action, 2)
        if role != Role.REQ_CLIENT:
            timeout = 0 if role == Role.REP_SERVER else 1
            for name, action, view in receives(timeout):
                yield Operation(name + ' connects' + how, prepare, action, None, view,
                                exempt=[NOTHING_THERE] if timeout == 0 else ())


def messaging(role):
    if role != Role.SUBSCRIBER:
        for name, action in SENDS:
            yield Operation(name, in_role(role, Scene.connect, Scene.make_sendable), action, 2,
                            afterwards=after_sending)
    if role != Role.PUBLISHER:
        for name, action, view in receives(0):
            yield Operation(name, in_role(role, Scene.connect, lambda s: s.obtain(0)), action,
                            frames(0), view, exempt=[NOTHING_THERE], afterwards=after_receiving)
    if role == Role.SUBSCRIBER:
        yield Operation('send is refused', in_role(role, Scene.connect), SENDS[0][1],
                        Refusal('tavrik:-20'))
    if role == Role.PUBLISHER:
        yield Operation('receive is refused', in_role(role, Scene.connect), receives(0)[0][1],
                        Refusal('tavrik:-21'))


def properties(role):
    values = [(TOS, '8'), (HEARTBEAT, '1000'), (MAX_SIZE, '1000'), (LINGER, '1000')]
    if role in HWM:
        values.append((HWM[role], '20'))
    if role not in (Role.PUBLISHER, Role.SUBSCRIBER):
        values.append((ENDPOINTS[role], LONG))
    for prop, value in values:
        yield Operation('property %d is set' % prop, in_role(role), setting(prop, value), 0)
        padded = '20' + ' ' * 50
        yield Operation('property %d is read' % prop, in_role(role, setting(prop, padded)),
                        getting(prop), padded)
    foreign = 1 if role // 2 != 1 else 0
    code = ['tavrik:-14', 'tavrik:-19', 'tavrik:-27'][role // 2]
    yield Operation('no property to set', in_role(role), setting(foreign, LONG), Refusal(code))
    yield Operation('no property to read', in_role(role), getting(foreign), Refusal(code))
    yield Operation('a late property', in_role(role, Scene.connect), setting(TOS, '1'),
                    Refusal('channel is already connected1tavrik:-11'))


def setters():
    def subscribe(s):
        return s.channel.subscribe(LONG)

    def unsubscribe(s):
        return s.channel.unsubscribe(LONG)

    def last(s):
        return s.channel.unsubscribe(SUBJECT)

    for role in (Role.REQ_CLIENT, Role.REP_SERVER, Role.ASYNC_DEALER_CLIENT,
                 Role.ASYNC_DEALER_WORKER):
        yield Operation('setServerEndPoint', in_role(role),
                        lambda s: s.channel.setServerEndPoint(s.endpoint), 0)
    yield Operation('setWorkerEndPoint', in_role(Role.ASYNC_DEALER_WORKER),
                    lambda s: s.channel.setWorkerEndPoint(s.endpoint), 0)
    role = Role.SUBSCRIBER
    filtered = [Scene.set_every_property, Scene.connect]
    yield Operation('subscribe', in_role(role), subscribe, 0)
    yield Operation('subscribe connected', in_role(role, Scene.connect), subscribe, 0)
    yield Operation('a second subscribe', in_role(role, *filtered), subscribe, 0)
    yield Operation('unsubscribe', in_role(role, subscribe), unsubscribe, 0)
    yield Operation('unsubscribe is refused', in_role(role), unsubscribe, Refusal('tavrik:-18'))
    yield Operation('unsubscribe connected', in_role(role, *(filtered + [subscribe])), unsubscribe,
                    0, afterwards=after_call('tavrik:-18'))
    yield Operation('the last unsubscribe', in_role(role, *filtered), last, 0,
                    afterwards=after_call('tavrik:-18'))
    yield Operation('a second endpoint', in_role(role, Scene.connect),
                    setting(1, 'inproc://second.' + LONG), 0, afterwards=after_call('tavrik:-38'))


def lifetimes(role):
    make = CLASSES[role // 2]
    other = (role // 2 + 1) % 3
    code = ['tavrik:-15', 'tavrik:-23', 'tavrik:-12'][role // 2]

    def delete(scene):
        scene.channel = None

    nothing = in_role(None)

    def is_made(channel):
        return channel is not None

    yield Operation('its class is made', nothing, lambda s: make(LONG, role), True, is_made)
    yield Operation('TavrikChannel is made', nothing,
                    lambda s: TavrikChannel(LONG, role // 2, role), True, is_made)
    yield Operation('the role is refused', nothing, lambda s: TavrikChannel(LONG, other, role),
                    Refusal(code))
    yield Operation('it is deleted', in_role(role, Scene.connect), delete, None, quiet=True)
    if role == Role.REQ_CLIENT:
        yield Operation('it is deleted and lingers', in_role(role, *LINGERING), delete, None,
                        quiet=True, may_leave=2)
    yield Operation('it is made again', in_role(role, Scene.connect),
                    lambda s: s.channel.__init__(LONG, role), None, quiet=True,
                    afterwards=after_init)


def messages():
    part = LONG
    own = (encoded(PARTS), True)
    nothing = in_role(None)

    def assign(scene):
        scene.message[1] = part

    def extend(scene):
        scene.message += [part, part]

    yield Operation('Message', nothing, lambda s: Message(), 0, len)
    yield Operation('Message of 10', nothing, lambda s: Message(10), 10, len)
    yield Operation('__init__ again', nothing, lambda s: s.message.__init__(10), None)
    yield Operation('len', nothing, lambda s: len(s.message), 2, has_points=False)
    yield Operation('item', nothing, lambda s: s.message[0], own[0][0])
    yield Operation('no item', nothing, lambda s: s.message[9], Refusal('tavrik:-5'))
    yield Operation('assignment', nothing, assign, None)
    yield Operation('iteration', nothing, lambda s: list(s.message), own[0])
    yield Operation('insert', nothing, lambda s: s.message.insert(1, part), 0)
    yield Operation('remove', nothing, lambda s: s.message.remove(0), 0, has_points=False)
    yield Operation('no part to remove', nothing, lambda s: s.message.remove(9),
                    Refusal('tavrik:-5'))
    yield Operation('resize', nothing, lambda s: s.message.resize(50), 0)
    first = encoded([part])
    without = (own[0], False)
    yield Operation('+=', nothing, extend, None, changes=[own, (own[0] + first, True)])
    yield Operation('join', nothing, lambda s: s.message.join([part, part], HANDLE), None,
                    changes=[(first * count, True) for count in (0, 1, 2)] + [(first * 2, False)])
    yield Operation('split', nothing, lambda s: s.message.split(), own,
                    lambda value: (value[0], of_handle(value[1])))
    yield Operation('getHandle', nothing, lambda s: s.message.getHandle(), True, of_handle)
    yield Operation('setHandle', nothing, lambda s: s.message.setHandle(HANDLE), None,
                    changes=[without])
    yield Operation('setHandle without one', nothing, lambda s: s.message.setHandle(0), None,
                    has_points=False)
    yield Operation('freeMsgHandle', nothing,
                    lambda s: libtavrik.freeMsgHandle(library.make_handle(b'client')), None,
                    has_points=False)


def of_each_role(operations):
    for role, name in enumerate(NAMES):
        for operation in operations(role):
            operation.name = name + ': ' + operation.name
            yield operation


class Trial(object):
    """One run of an operation on a new scene, and what has to hold in every run."""
    made = 0

    def __init__(self, test, operation):
        self.test = test
        self.operation = operation
        # ZeroMQ destroys sockets in a thread of its own, and a context has a limited number.
        Trial.made += 1
        if Trial.made % 100 == 0:
            settle_deletions()
        self.handles = library.handles_alive()
        library.watch_calls()
        self.scene = operation.prepare()
        self.content = self.scene.content()
        self.sockets = library.open_sockets()
        self.left = 0

    def go(self, nth=0, call=0, error=0):
        """With the nth allocation or a call failing. Returns whether there was such an
        allocation."""
        library.fail_call(call, error)
        if nth:
            library.fail_allocation(nth)
        self.outcome = self.operation.attempt(self.scene)
        happened = bool(nth and library.end_failing())
        if self.outcome[0] is None:
            self.outcome = (None, self.operation.view(self.outcome[1]))
        return happened

    def expect_result(self, outcome=None):
        outcome = outcome or self.outcome
        expected = self.operation.result
        if isinstance(expected, Refusal):
            self.test.assertTrue(expected.matches(outcome), outcome)
        else:
            self.test.assertEqual((None, expected), outcome)

    def expect_out_of_memory(self):
        refused = isinstance(self.operation.result, Refusal) and self.outcome[0] is RuntimeError
        if refused:
            self.expect_result()
        else:
            self.test.assertEqual((MemoryError, 'std::bad_alloc'), self.outcome)
        self.expect_object('')

    def expect_failure(self, call, error):
        operation = self.operation
        text = library.call_text(call).decode('ascii')
        if operation.quiet:
            self.expect_result()
            self.left = operation.may_leave
            if text == 'zmq_close' or text.startswith('zmq_setsockopt 17'):
                library.close_socket_of(call)
            return
        for start, number, result in operation.exempt:
            if number == error and text.startswith(start) and \
                    library.calls_worked(start.encode('ascii')) == 0:
                self.test.assertEqual((None, result), self.outcome)
                if self.sockets > 0:
                    operation.afterwards(self.test, self.scene, operation, text)
                return
        expected = library.expected_text(call, error).decode('ascii')
        self.test.assertEqual((RuntimeError, expected), self.outcome)
        self.expect_object(text)

    def expect_object(self, call):
        """The objects after a failure."""
        operation, scene, test = self.operation, self.scene, self.test
        if operation.changes is None:
            test.assertEqual(self.content, scene.content())
        else:
            test.assertIn(scene.content(), operation.changes)
        if scene.channel is not None and library.open_sockets() != self.sockets:
            test.assertEqual((0, 1), (self.sockets, library.open_sockets()))
            test.assert_fails(RuntimeError, 'channel is already connected1tavrik:-11',
                              scene.channel.setProperty, TOS, '1')
        elif operation.afterwards is not None:
            operation.afterwards(test, scene, operation, call)
        else:
            again = operation.attempt(scene)
            if again[0] is None:
                again = (None, operation.view(again[1]))
            self.expect_result(again)

    def close(self):
        self.outcome = None
        self.scene.close()
        self.scene = None
        sockets, open_frames = library.open_sockets(), library.open_frames()
        library.end_watching()
        if self.operation.may_leave:
            settle_deletions()
        self.test.assertIn(sockets, range(self.left + 1), 'sockets')
        self.test.assertEqual(0, open_frames, 'frames')
        self.test.assertEqual(self.handles, library.handles_alive(), 'handles')


def settle_deletions():
    """Waits until ZeroMQ has destroyed a socket, and so those before it, and until the library has
    released what it keeps of deleted channels that linger."""
    kept = 1
    while kept:
        library.watch_calls()
        library.fail_call(0, 0)
        scene = Scene(Role.REQ_CLIENT)
        scene.channel.setProperty(LINGER, '20000')
        scene.connect()
        scene.close_peer()
        scene.close()
        kept = library.calls_worked(b'zmq_poll 1 0')
        library.end_watching()


def references():
    return [sys.getrefcount(value) for value in (LONG, SUBJECT, PARTS, PARTS[0], PARTS[1])]


class FirstChannel(TestCase):
    """It makes the context, so each point needs a process without one. Runs before the others."""

    def in_child(self, body):
        """Returns whether the body does."""
        child = os.fork()
        if child == 0:
            status = 2
            try:
                status = int(body())
            except BaseException:
                traceback.print_exc()
            finally:
                os._exit(status)
        status = os.waitpid(child, 0)[1]
        self.assertIn(status, (0, 1 << 8))
        return status != 0

    def visit(self, **failure):
        def body():
            trial = Trial(self, next(lifetimes(Role.REQ_CLIENT)))
            happened = trial.go(**failure)
            if 'error' in failure:
                self.assertEqual(b'zmq_ctx_new', library.call_text(0))
                trial.expect_failure(failure['call'], failure['error'])
            elif happened:
                trial.expect_out_of_memory()
            else:
                trial.expect_result()
            trial.close()
            return happened
        return self.in_child(body)

    def test_each_allocation_and_each_call_fails(self):
        for call, error in ((0, errno.EMFILE), (0, errno.ENOMEM), (1, errno.EINVAL),
                            (1, errno.EFAULT)):
            self.visit(call=call, error=error)
        nth = 1
        while self.visit(nth=nth):
            nth += 1
        print('%d allocations and 4 calls of ZeroMQ failed once' % (nth - 1))
        self.assertGreaterEqual(nth - 1, 5)


class Points(TestCase):
    @classmethod
    def setUpClass(cls):
        start_proxy()

    def visit_allocations(self, operation):
        nth = 0
        happened = True
        while happened:
            nth += 1
            trial = Trial(self, operation)
            self.point = '%s: allocation %d' % (operation.name, nth)
            happened = trial.go(nth=nth)
            trial.expect_out_of_memory() if happened else trial.expect_result()
            trial.close()
        return nth - 1

    def visit_calls(self, operation):
        trial = Trial(self, operation)
        trial.go()
        count = library.calls_made()
        errors = [[library.plausible_error(call, number) for number in range(20)]
                  for call in range(count)]
        trial.close()
        points = 0
        for call in range(count):
            for error in filter(None, errors[call]):
                trial = Trial(self, operation)
                self.point = '%s: call %d, error %d' % (operation.name, call, error)
                trial.go(call=call, error=error)
                trial.expect_failure(call, error)
                trial.close()
                points += 1
        return points

    def visit(self, operations, at_least):
        ignored = []
        if hasattr(sys, 'unraisablehook'):
            sys.unraisablehook = ignored.append
            self.addCleanup(setattr, sys, 'unraisablehook', sys.__unraisablehook__)
        allocations = calls = 0
        for operation in operations:
            self.visit_calls(operation)  # makes what is made once
            before = references()
            try:
                allocated = self.visit_allocations(operation)
                called = self.visit_calls(operation)
            except BaseException:
                print(self.point, file=sys.stderr)
                raise
            self.assertEqual(before, references(), operation.name)
            self.assertEqual(operation.has_points, allocated + called > 0, operation.name)
            allocations += allocated
            calls += called
        self.assertEqual([], ignored)
        print('%d allocations and %d calls of ZeroMQ failed once' % (allocations, calls))
        self.assertGreaterEqual(allocations, at_least[0])
        self.assertGreaterEqual(calls, at_least[1])

    def test_messages(self):
        self.visit(messages(), MESSAGES)

    def test_properties(self):
        self.visit(of_each_role(properties), PROPERTIES)

    def test_setters(self):
        self.visit(setters(), SETTERS)

    def test_connecting(self):
        self.visit(of_each_role(connecting), CONNECTING)

    def test_sending_and_receiving(self):
        self.visit(of_each_role(messaging), MESSAGING)

    def test_making_and_deleting(self):
        self.visit(of_each_role(lifetimes), LIFETIMES)


if __name__ == '__main__':
    main()
