"""Programs that the suites start: programs.py NAME [ARGUMENT ...]."""
from __future__ import print_function

import os
import select
import signal
import sys
import threading

from libtavrik import AsyncRouterDealerChannel, RequestReplyChannel, Role
from common import PATIENCE, SAMPLE, inproc_endpoint

INTERRUPTED_BEFORE_THE_WAIT = 'zeromq:17694724'


def say(text):
    os.write(1, (text + '\n').encode('utf-8'))


def pair():
    endpoint = inproc_endpoint()
    server = RequestReplyChannel('program', Role.REP_SERVER)
    client = RequestReplyChannel('program', Role.REQ_CLIENT)
    server.setServerEndPoint(endpoint)
    client.setServerEndPoint(endpoint)
    assert server.receive(0) == (None, None)  # binds
    return client, server


def exchange(client, server):
    client.sendparts('question', [b'1'])
    server.send('answer', server.receive(PATIENCE)[1])
    assert client.receiveparts(PATIENCE) == ('answer', [b'1'], 0)


# Receives that a signal ends.

def waits_until_a_signal(channel):
    """Returns what the receive returns."""
    while True:
        try:
            return channel.receive(-1)
        except RuntimeError as failure:
            if not str(failure).endswith(INTERRUPTED_BEFORE_THE_WAIT):
                raise


def interrupted():
    server = pair()[1]
    # A shell has its background processes ignore SIGINT.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    try:
        say('waiting')
        waits_until_a_signal(server)
    except KeyboardInterrupt:
        ended = 'KeyboardInterrupt'
    else:
        ended = 'nothing raised'
    while True:
        try:
            signal.signal(signal.SIGINT, signal.SIG_IGN)
            break
        except KeyboardInterrupt:
            pass
    say(ended)


def handler_raises_out_of_c():
    """A function in C calls one receive after another, and no Python code runs in between."""
    server = pair()[1]
    begun = []

    def handle(number, frame):
        if begun:
            signal.signal(signal.SIGUSR1, signal.SIG_IGN)
            raise ValueError('raised by the handler')

    signal.signal(signal.SIGUSR1, handle)
    say('waiting')
    try:
        begun.append(True)
        list(map(server.receive, [-1] * 10000))
    except ValueError as failure:
        say(str(failure))


def handled():
    server = pair()[1]
    seen = []
    signal.signal(signal.SIGUSR1, lambda number, frame: seen.append(number))
    say('waiting')
    received = waits_until_a_signal(server)
    signal.signal(signal.SIGUSR1, signal.SIG_IGN)
    say('%r after %d' % (received, seen[0]))


def handler_raises():
    server = pair()[1]

    def handle(number, frame):
        signal.signal(signal.SIGUSR1, signal.SIG_IGN)
        raise ValueError('raised by the handler')

    signal.signal(signal.SIGUSR1, handle)
    try:
        say('waiting')
        waits_until_a_signal(server)
    except ValueError as failure:
        say(str(failure))


def is_usable_after_signals():
    """A channel still works after signals have ended its receives."""
    client, server = pair()
    signal.signal(signal.SIGALRM, lambda number, frame: None)
    for number in range(100):
        signal.setitimer(signal.ITIMER_REAL, 0.001, 0.001)
        assert waits_until_a_signal(server) == (None, None)
        signal.setitimer(signal.ITIMER_REAL, 0)
        exchange(client, server)
    say('nothing lost')


# Programs that end while the module is in use. Each prints "end" last.

def ends_after_import_alone():
    say('end')


def ends_with_channels_alive():
    global left
    left = pair()
    exchange(*left)
    say('end')


def ends_with_a_channel_in_a_cycle():
    class Linked(RequestReplyChannel):
        pass

    channel = Linked('program', Role.REQ_CLIENT)
    channel.itself = channel
    say('end')


def ends_with_a_thread_that_waits():
    client, server = pair()
    begun = threading.Event()

    def wait():
        begun.set()
        server.receive(-1)

    thread = threading.Thread(target=wait)
    thread.daemon = True
    thread.start()
    begun.wait()
    say('end')


def ends_with_a_thread_that_is_busy():
    exchanges = [0]

    # Uses no globals: Python 2.7 clears them while the thread still runs.
    def work(client, server, patience):
        while True:
            client.sendparts('question', [b'1'])
            server.send('answer', server.receive(patience)[1])
            client.receiveparts(patience)
            exchanges[0] += 1

    thread = threading.Thread(target=work, args=pair() + (PATIENCE,))
    thread.daemon = True
    thread.start()
    while exchanges[0] < 100:
        select.select([], [], [], 0)  # lets the other thread run
    say('end')


def ends_with_a_proxy():
    global left
    name = 'program'
    worker = AsyncRouterDealerChannel(name, Role.ASYNC_DEALER_WORKER)
    client = AsyncRouterDealerChannel(name, Role.ASYNC_DEALER_CLIENT)
    worker.setServerEndPoint('inproc://clients')
    worker.setWorkerEndPoint('inproc://workers')
    client.setServerEndPoint('inproc://clients')
    assert worker.receive(1) == (None, None)  # connects
    client.sendparts('question', [b'1'])
    left = worker, client, worker.receive(PATIENCE)
    say('end')


def ends_with_an_exception():
    global left
    left = pair()
    say('end')
    left[0].getProperty(99)


# Peers.

def worker(endpoint, worker_endpoint):
    """Sends each message back, with a proxy of its own."""
    channel = AsyncRouterDealerChannel('worker', Role.ASYNC_DEALER_WORKER)
    channel.setServerEndPoint(endpoint)
    channel.setWorkerEndPoint(worker_endpoint)
    assert channel.receive(1) == (None, None)  # connects
    say('ready')
    while True:
        subject, message = channel.receive()
        if message is not None:
            channel.send(subject, message)


def dealer_client(endpoint):
    channel = AsyncRouterDealerChannel('client', Role.ASYNC_DEALER_CLIENT)
    channel.setServerEndPoint(endpoint)
    channel.sendparts('question', SAMPLE)
    received = channel.receiveparts(PATIENCE)
    say('intact' if received == ('question', SAMPLE, 0) else 'changed')


if __name__ == '__main__':
    globals()[sys.argv[1]](*sys.argv[2:])
