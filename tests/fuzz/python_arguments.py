"""Random calls of the Python module with random arguments, on Python 2.7 and on every Python 3.

A call has to return, or raise what is documented; nothing may crash, hang, keep a reference, or
keep memory. Every case is made from its number alone and can be run again with --case.
"""
import argparse
import copy
import ctypes
import gc
import itertools
import numbers
import os
import pickle
import random
import re
import signal
import sys
import time

import libtavrik
from libtavrik import (AsyncRouterDealerChannel, Message, PublishSubscribeChannel,
                       RequestReplyChannel, TavrikChannel, freeMsgHandle)

PYTHON3 = sys.version_info[0] >= 3
PATIENCE = 20000  # milliseconds
HANG = 60  # seconds that a case never takes

if not PYTHON3:
    range = xrange  # noqa: F821


class Finding(Exception):
    """Something that must not happen."""


class Planted(Exception):
    """Raised by an argument; the module lets it pass."""


class BadNumber(object):
    def __int__(self):
        raise Planted('int')

    def __index__(self):
        raise Planted('index')


class NoNumber(object):
    def __int__(self):
        return 'no number'


class Index(object):
    def __init__(self, value):
        self.value = value

    def __index__(self):
        return self.value


class Text(str):
    pass


class Parts(list):
    pass


class ChangingParts(list):
    """Shrinks while it is read."""

    def __iter__(self):
        while self:
            yield self.pop()


class PlainSubclass(Message):
    pass


class LyingMessage(Message):
    """Has another number of parts than it says."""

    def __len__(self):
        return 3


class FailingMessage(Message):
    def insert(self, index, part):
        raise Planted('insert')

    def __getitem__(self, index):
        raise Planted('getitem')

    def getHandle(self):
        raise Planted('getHandle')


class WrongMessage(Message):
    def __getitem__(self, index):
        return None

    def getHandle(self):
        return 'no handle'


NUMBERS = (numbers.Number, Index)

# Objects that the calls take again and again. None of them may gain or lose a reference.
OBJECTS = [
    object(), BadNumber(), NoNumber(), Index(1), Text('text'), Parts([b'a']), ['a', 5], ['a', b'b'],
    [bytearray(b'x')], (b'a', b'b'), {'a': 1}, frozenset([1]), bytearray(b'bytes\0array'),
    memoryview(b'view'), 'text \xe4'[:], b'bytes \xff\x00', u'\u20ac', u'\ud800', 'x' * 300,
    1.5 * 10 ** 300, -(2 ** 80), 2 ** 63, 2 ** 64, 10 ** 40, float('nan'), float('inf'),
    lambda: 0, Message, TavrikChannel, Ellipsis, [[]], slice(1, 2)]

DOCUMENTED = (AssertionError, NotImplementedError, OverflowError, Planted, RuntimeError, TypeError,
              ValueError)
LIBRARY_TEXT = re.compile('(tavrik:-[0-9]+|zeromq:[0-9]+)$')
NOT_INITIALISED = "the channel's __init__ has not run, or has failed"

names = itertools.count()


def unique_endpoint():
    return 'inproc://python-%d' % next(names)


class Peers(object):
    """What the channels connect to, and where reply handles come from."""

    def __init__(self):
        self.servers = [RequestReplyChannel('peer', libtavrik.Role.REP_SERVER) for _ in range(2)]
        self.endpoints = []
        for server in self.servers:
            self.endpoints.append(unique_endpoint())
            server.setServerEndPoint(self.endpoints[-1])
            server.receive(0)
        self.front, self.back = unique_endpoint(), unique_endpoint()
        self.worker = self.new_worker()
        self.worker.receive(1)
        client = AsyncRouterDealerChannel('proxy', libtavrik.Role.ASYNC_DEALER_CLIENT)
        client.setServerEndPoint(self.front)
        client.sendparts('subject', [b'part'])
        subject, self.template = self.worker.receive(PATIENCE)
        if subject != 'subject':
            raise Finding('the worker received no message')

    def new_worker(self):
        """All workers share a name: a proxy ends with the process only."""
        worker = AsyncRouterDealerChannel('proxy', libtavrik.Role.ASYNC_DEALER_WORKER)
        worker.setServerEndPoint(self.front)
        worker.setWorkerEndPoint(self.back)
        return worker

    @staticmethod
    def answer(server):
        """Answers a request; whether there may be another."""
        try:
            subject, message = server.receive(0)
            if subject is None:
                return False
        except RuntimeError:
            # A request without parts was received as nothing, and is to be answered too.
            message = Message()
        server.send('', message)
        return True

    def serve(self):
        """Lets the peers handle what arrived and which connections have ended."""
        for server in self.servers:
            answered = True
            while answered:
                answered = self.answer(server)
        while self.worker.receive(0)[0] is not None:
            pass


class Case(object):
    """One sequence of calls."""

    def __init__(self, number, peers):
        self.random = random.Random(number)
        self.peers = peers
        self.messages = [Message()]
        self.channels = []
        self.handles = []

    # Arguments: mostly one of the right kind, otherwise anything that the call has to refuse.

    def any(self):
        return self.random.choice(OBJECTS)

    def argument(self, kind):
        right = getattr(self, kind)
        return right() if self.random.random() < 0.8 else self.wrong(kind)

    def wrong(self, kind):
        value = self.any()
        # An address is used as it is, so numbers that are no handle's must not get there.
        # Parts and waits are limited, so that a case does not take all memory or never ends.
        limited = kind in ('handle', 'no_handle', 'count', 'timeout')
        return None if limited and isinstance(value, NUMBERS) else value

    def integer(self):
        edges = [-1, 0, 1, 2, 255, 256, 2 ** 31 - 1, 2 ** 31, -2 ** 31, -2 ** 31 - 1, 2 ** 32 - 1,
                 2 ** 32, 2 ** 64 - 1, True, 2.9]
        choice = self.random.random()
        if choice < 0.6:
            return self.random.randint(-3, 8)
        return self.random.choice(edges) if choice < 0.9 else self.random.getrandbits(70) - 2 ** 69

    index = integer

    def count(self):
        return self.random.choice([0, 1, 2, 7, 30, True, 2.5, -1, 2 ** 32, 2 ** 64, -2 ** 70])

    def timeout(self):
        return self.random.choice(
            [0, 0, 0, 1, False, 0.5, -2, -2 ** 31, 2 ** 31, -2 ** 31 - 1, 2 ** 80])

    def part(self):
        length = self.random.choice([0, 1, 3, 20, 300])
        value = bytes(bytearray(self.random.getrandbits(8) for _ in range(length)))
        kind = self.random.random()
        if kind < 0.2:
            return bytearray(value)
        return value.decode('latin-1') if PYTHON3 and kind < 0.5 else value

    def text(self):
        length = self.random.choice([0, 1, 5, 20, 255, 256])
        value = ''.join(self.random.choice('abc*01;/-') for _ in range(length))
        return value + '\0' if self.random.random() < 0.05 else value

    subject = filter = name = text

    def parts(self):
        return [self.part() for _ in range(self.random.randint(0, 4))]

    def list_of_parts(self):
        choice = self.random.random()
        if choice < 0.7:
            return self.parts()
        if choice < 0.8:
            return ChangingParts(self.parts())
        if choice < 0.9:
            return Parts(self.parts())
        return self.parts() + [self.any()]

    def handle(self):
        choice = self.random.random()
        if choice < 0.4:
            return 0
        if choice < 0.5:
            return self.random.choice([-1, -2 ** 64, 2 ** 64])
        if not self.handles or choice < 0.7:
            self.handles.append(self.peers.template.getHandle())
        return self.random.choice(self.handles)

    def message(self):
        return self.random.choice(self.messages)

    def endpoint(self):
        malformed = ['', 'abc', 'foo://bar', 'inproc://', 'tcp://*:5555', 'x' * 256]
        return self.random.choice(self.peers.endpoints + malformed)

    def pattern(self):
        return self.random.choice([0, 1, 2, 0, 1, 2, 3, -1, 2 ** 31])

    def role(self):
        return self.random.choice([0, 1, 2, 3, 4, 0, 1, 2, 3, 4, 6, -1, 2 ** 40])

    def prop(self):
        known = [0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 4096, 4097]
        unknown = [12, -1, 2 ** 31, 2 ** 31 - 1, 4099]
        return self.random.choice(known if self.random.random() < 0.9 else unknown)

    def value(self):
        return self.random.choice([self.endpoint, self.text, lambda: str(self.integer())])()

    # Calls

    def call(self, function, *kinds):
        """Calls with arguments of these kinds, now and then one too few or too many, or by name."""
        arguments = [self.argument(kind) for kind in kinds]
        named = {}
        chance = self.random.random()
        if chance < 0.03:
            arguments.append(self.wrong('handle'))  # where that is optional it may be one
        elif chance < 0.06 and arguments and kinds[-1] != 'timeout':  # the default waits
            arguments.pop()
        elif chance < 0.08:
            named['unknown'] = self.any()
        try:
            return function(*arguments, **named)
        except DOCUMENTED as failure:
            check_failure(failure)
        return None

    def step(self):
        self.random.choice([self.message_step, self.message_step, self.channel_step,
                            self.object_step])()

    def message_step(self):
        message = self.message()
        calls = [
            (message.insert, 'index', 'part'), (message.remove, 'index'),
            (message.resize, 'count'), (message.join, 'list_of_parts', 'handle'),
            (message.join, 'list_of_parts'), (message.setHandle, 'handle'),
            (message.__getitem__, 'index'), (message.__setitem__, 'index', 'part'),
            (message.__delitem__, 'index'), (message.__iadd__, 'list_of_parts'),
            (message.__len__,), (list, 'message'), (message.__init__, 'count'),
            (message.split,), (message.getHandle,)]
        call = self.random.choice(calls)
        before = self.contents(message)
        result = self.call(*call)
        if call[0] == message.split and result is not None:
            result = result[1]
        if call[0] in (message.getHandle, message.split) and isinstance(result, numbers.Number):
            self.handles.append(result)
        changes = ('insert', 'remove', 'resize', 'join', '__setitem__', '__iadd__', '__init__')
        if getattr(call[0], '__name__', '') not in changes and self.contents(message) != before:
            raise Finding('%r changed the message' % (call[0],))

    @staticmethod
    def contents(message):
        parts = list(Message.__iter__(message))
        if len(parts) != Message.__len__(message) or any(type(part) is not bytes for part in parts):
            raise Finding('the parts are %r' % (parts,))
        return parts

    def object_step(self):
        choice = self.random.randint(0, 6)
        if choice == 0:
            kinds = [Message, Message, PlainSubclass, LyingMessage, FailingMessage, WrongMessage]
            made = self.call(self.random.choice(kinds), 'count')
            self.messages += [made] if made is not None else []
        elif choice == 1:
            self.messages.append(Message.__new__(Message))
        elif choice == 2:
            things = self.messages + self.channels
            function = self.random.choice([copy.copy, copy.deepcopy, pickle.dumps])
            try:
                function(self.random.choice(things))
            except (TypeError, pickle.PicklingError):
                pass
            else:
                raise Finding('a copy was made')
        elif choice == 3:
            self.call(freeMsgHandle, 'no_handle')
        elif choice == 4 and self.handles:
            freeMsgHandle(self.handles.pop())
        elif choice == 5 and len(self.messages) > 1:
            self.messages.pop()
        else:
            repr(self.random.choice(self.messages + self.channels))

    def no_handle(self):
        return self.random.choice([0, -1, 2 ** 64, None, 'x'])

    def new_channel(self):
        makers = [(TavrikChannel, 'name', 'pattern', 'role'), (RequestReplyChannel, 'name', 'role'),
                  (PublishSubscribeChannel, 'name', 'role'),
                  (AsyncRouterDealerChannel, 'name', 'role')]
        choice = self.random.random()
        if choice < 0.1:
            made = TavrikChannel.__new__(TavrikChannel)
        elif choice < 0.2:
            made = self.peers.new_worker()
        else:
            made = self.call(*self.random.choice(makers))
        if made is None:
            return
        self.channels.append(made)
        if self.random.random() < 0.5:
            self.call(made.setProperty, 'request_reply_endpoint', 'bound_endpoint')

    @staticmethod
    def request_reply_endpoint():
        return 0

    def bound_endpoint(self):
        return self.random.choice(self.peers.endpoints)

    def channel_step(self):
        if len(self.channels) < 3 and self.random.random() < 0.5:
            return self.new_channel()
        if not self.channels:
            return None
        channel = self.random.choice(self.channels)
        calls = [(channel.setProperty, 'prop', 'value'), (channel.getProperty, 'prop'),
                 (channel.send, 'subject', 'message'),
                 (channel.sendparts, 'subject', 'list_of_parts', 'handle'),
                 (channel.sendparts, 'subject', 'list_of_parts'),
                 (channel.receive, 'timeout'), (channel.receiveparts, 'timeout')]
        for setter, kind in (('setServerEndPoint', 'endpoint'), ('setWorkerEndPoint', 'endpoint'),
                             ('setPublisherEndPoint', 'endpoint'), ('subscribe', 'filter'),
                             ('unsubscribe', 'filter')):
            if hasattr(channel, setter):
                calls.append((getattr(channel, setter), kind))
        call = self.random.choice(calls)
        result = self.call(*call)
        if call[0] == channel.receiveparts and result is not None and result[2]:
            self.handles.append(result[2])
        elif call[0] == channel.receive and result is not None and result[1] is not None:
            self.messages.append(result[1])
        return None

    def run(self):
        for _ in range(self.random.randint(1, 30)):
            self.step()
        for handle in self.handles:
            freeMsgHandle(handle)


def check_failure(failure):
    """The exceptions of the library carry a code."""
    text = str(failure)
    if type(failure) is RuntimeError and text != NOT_INITIALISED and not LIBRARY_TEXT.search(text):
        raise Finding('RuntimeError without a code: %r' % text)


class Runner(object):
    def __init__(self, progress):
        self.progress = progress
        self.peers = Peers()
        try:
            self.allocated = ctypes.CDLL(None).__sanitizer_get_current_allocated_bytes
            self.allocated.restype = ctypes.c_size_t
        except AttributeError:
            self.allocated = None

    def run(self, number):
        """Runs a case and checks the references it keeps."""
        if self.progress is not None:
            os.lseek(self.progress, 0, os.SEEK_SET)
            os.write(self.progress, ('%-20d\n' % number).encode('ascii'))
        signal.alarm(HANG)
        before = [sys.getrefcount(each) for each in OBJECTS]
        self.run_once(number)
        after = [sys.getrefcount(each) for each in OBJECTS]
        if before != after:
            gc.collect()
            after = [sys.getrefcount(each) for each in OBJECTS]
        for index, each in enumerate(OBJECTS):
            if before[index] != after[index]:
                raise Finding('%r has %d references instead of %d'
                              % (each, after[index], before[index]))

    def run_once(self, number):
        Case(number, self.peers).run()
        self.peers.serve()

    def settled(self):
        """The allocated bytes once the transport's thread has closed the sockets."""
        gc.collect()
        lowest = self.allocated()
        quiet = 0
        while quiet < 20:
            self.peers.serve()
            time.sleep(0.001)
            now = self.allocated()
            quiet = 0 if now < lowest else quiet + 1
            lowest = min(lowest, now)
        return lowest

    def check_memory(self, number):
        """Runs a case again and again. What it keeps each time is a leak."""
        if self.allocated is None:
            return
        repeats = 20
        least = 16 * repeats  # bytes
        signal.alarm(HANG)
        self.run_once(number)
        before = self.settled()
        for _ in range(4):
            for _ in range(repeats):
                self.run_once(number)
            after = self.settled()
            if after < before + least:
                return
            growth, before = after - before, after
        raise Finding('%d runs keep %d bytes' % (repeats, growth))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--seconds', type=float, default=10)
    parser.add_argument('--seed', type=int, default=None, help='the first case; random by default')
    parser.add_argument('--case', type=int, default=None, help='run this case only')
    parser.add_argument('--progress', default=None, help='a file that names the running case')
    options = parser.parse_args()

    signal.signal(signal.SIGALRM, signal.SIG_DFL)
    progress = None
    if options.progress is not None:
        progress = os.open(options.progress, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644)
    runner = Runner(progress)
    first = options.seed if options.seed is not None else random.SystemRandom().getrandbits(40)
    if options.case is not None:
        runner.run(options.case)
        runner.check_memory(options.case)
        print('case %d: nothing found' % options.case)
        return 0

    end = time.time() + options.seconds
    number = first
    try:
        while time.time() < end:
            runner.run(number)
            if number % 50 == 0:
                runner.check_memory(number)
            number += 1
    except Exception:
        sys.stderr.write('FINDING in case %d\n' % number)
        raise
    print('%d cases from %d' % (number - first, first))
    return 0


if __name__ == '__main__':
    sys.exit(main())
