"""Used by the suites, which run on Python 2.7 and on Python 3."""
import ctypes
import os
import select
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest

import libtavrik
from common import PATIENCE, inproc_endpoint, unique_name

PYTHON3 = sys.version_info[0] >= 3


def tcp_endpoint():
    """Its port was free. Another process may take it before it is bound."""
    probe = socket.socket()
    probe.bind(('127.0.0.1', 0))
    port = probe.getsockname()[1]
    probe.close()
    return 'tcp://127.0.0.1:%d' % port


def interposer():
    """The functions of interposer.cpp, in a suite that is run with it."""
    return ctypes.CDLL(None)


class TestCase(unittest.TestCase):
    maxDiff = None

    def assert_fails(self, kind, text, function, *arguments, **named):
        """The call raises exactly this kind of exception with exactly this text."""
        try:
            result = function(*arguments, **named)
        except BaseException as failure:
            self.assertIs(kind, type(failure), repr(failure))
            self.assertEqual(text, str(failure))
        else:
            self.fail('%r instead of %s' % (result, kind.__name__))

    def assert_raises(self, kind, function, *arguments):
        """The call raises exactly this kind of exception, with any text."""
        try:
            result = function(*arguments)
        except BaseException as failure:
            self.assertIs(kind, type(failure), repr(failure))
        else:
            self.fail('%r instead of %s' % (result, kind.__name__))

    def temp_dir(self):
        folder = tempfile.mkdtemp(prefix='tavrik-')
        self.addCleanup(shutil.rmtree, folder)
        return folder

    def ipc_endpoint(self):
        return 'ipc://%s/socket' % self.temp_dir()

    def request_reply(self, endpoint=None):
        """A client and a bound server."""
        endpoint = endpoint or inproc_endpoint()
        server = libtavrik.RequestReplyChannel('server', libtavrik.Role.REP_SERVER)
        client = libtavrik.RequestReplyChannel('client', libtavrik.Role.REQ_CLIENT)
        server.setServerEndPoint(endpoint)
        client.setServerEndPoint(endpoint)
        self.assertEqual((None, None), server.receive(0))
        return client, server

    def publish_subscribe(self, *filters):
        """A publisher and a subscriber, whose subscription has reached the publisher."""
        endpoint = inproc_endpoint()
        publisher = libtavrik.PublishSubscribeChannel('news', libtavrik.Role.PUBLISHER)
        subscriber = libtavrik.PublishSubscribeChannel('news', libtavrik.Role.SUBSCRIBER)
        for name in filters:
            self.assertEqual(0, subscriber.subscribe(name))
        self.assertEqual(0, publisher.setPublisherEndPoint(endpoint))
        self.assertEqual(0, subscriber.setPublisherEndPoint(endpoint))
        self.publish_until_received(publisher, subscriber, filters[-1] if filters else 'hello')
        return publisher, subscriber

    def publish_until_received(self, publisher, subscriber, subject):
        """Until the subscription has reached the publisher, and the last message has arrived."""
        parts = None
        number = 0
        while parts is None:
            number += 1
            publisher.sendparts(subject, [str(number)])
            parts = subscriber.receiveparts(10)[1]
        while parts != [str(number).encode('ascii')]:
            parts = subscriber.receiveparts(PATIENCE)[1]
            self.assertIsNotNone(parts)

    def router_dealer(self, workers=1):
        """A client and connected workers, with a proxy of their own."""
        name = unique_name()
        client_endpoint, worker_endpoint = inproc_endpoint(), inproc_endpoint()
        client = libtavrik.AsyncRouterDealerChannel(name, libtavrik.Role.ASYNC_DEALER_CLIENT)
        client.setServerEndPoint(client_endpoint)
        made = []
        for _ in range(workers):
            worker = libtavrik.AsyncRouterDealerChannel(name, libtavrik.Role.ASYNC_DEALER_WORKER)
            worker.setServerEndPoint(client_endpoint)
            worker.setWorkerEndPoint(worker_endpoint)
            self.assertEqual((None, None), worker.receive(1))  # connects
            made.append(worker)
        return [client] + made

    def start(self, *command):
        process = Process(command)
        self.addCleanup(process.kill)
        return process

    def start_program(self, *arguments):
        """One of programs.py, with this interpreter."""
        programs = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'programs.py')
        return self.start(sys.executable, programs, *arguments)


class Process(object):
    """A program that the test talks to through its standard input and output."""

    def __init__(self, command):
        self.popen = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                      stderr=subprocess.STDOUT, bufsize=0)

    def line(self):
        """Waits for a line of output. Returns it without its newline, or '' at the end."""
        return self.popen.stdout.readline().decode('utf-8').rstrip('\n')

    def has_line(self, milliseconds):
        """Returns whether a line of output, or its end, is available within this time."""
        return bool(select.select([self.popen.stdout], [], [], milliseconds / 1000.0)[0])

    def tell(self, text):
        self.popen.stdin.write(text.encode('utf-8') + b'\n')
        self.popen.stdin.flush()

    def rest(self):
        """Waits until it ends. Returns the rest of its output and its exit status."""
        printed = self.popen.communicate()[0].decode('utf-8')
        return printed, self.popen.returncode

    def kill(self):
        if self.popen.poll() is None:
            self.popen.kill()
            self.popen.wait()
        self.popen.stdin.close()
        self.popen.stdout.close()


def main():
    unittest.main(verbosity=2)
