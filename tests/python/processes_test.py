"""The three patterns between processes, with peers in C, C++ and Python."""
import ctypes
import os

from libtavrik import AsyncRouterDealerChannel, Channel_prop, Pattern, PublishSubscribeChannel
from libtavrik import RequestReplyChannel, Role, freeMsgHandle
from common import PATIENCE, SAMPLE, unique_name
from support import TestCase, main, tcp_endpoint

ECHO_SERVER = os.environ['ECHO_SERVER']
PEER = os.environ['PEER']


class Processes(TestCase):
    def endpoints(self):
        return self.ipc_endpoint(), tcp_endpoint()


class RequestReply(Processes):
    def test_a_client_of_a_server_in_c(self):
        for endpoint in self.endpoints():
            self.assertEqual('ready', self.start(ECHO_SERVER, endpoint).line())
            client = RequestReplyChannel('client', Role.REQ_CLIENT)
            client.setServerEndPoint(endpoint)
            for _ in range(3):
                self.assertEqual(3, client.sendparts('question', SAMPLE))
                self.assertEqual(('question', SAMPLE, 0), client.receiveparts(PATIENCE))

    def test_a_server_of_a_client_in_cpp(self):
        for endpoint in self.endpoints():
            server = RequestReplyChannel('server', Role.REP_SERVER)
            server.setServerEndPoint(endpoint)
            self.assertEqual((None, None), server.receive(0))
            peer = self.start(PEER, 'client', endpoint)
            subject, parts, handle = server.receiveparts(PATIENCE)
            self.assertEqual(('question', SAMPLE, 0), (subject, parts, handle))
            server.sendparts('answer', parts)
            self.assertEqual(('intact\n', 0), peer.rest())


class PublishSubscribe(Processes):
    def test_a_subscriber_of_a_publisher_in_cpp(self):
        for endpoint in self.endpoints():
            peer = self.start(PEER, 'publisher', endpoint)
            self.assertEqual('ready', peer.line())
            subscriber = PublishSubscribeChannel('subscriber', Role.SUBSCRIBER)
            subscriber.subscribe('news')
            subscriber.setPublisherEndPoint(endpoint)
            received = (None, None, None)
            while received == (None, None, None):
                peer.tell('publish')
                received = subscriber.receiveparts(50)
            self.assertEqual(('news', SAMPLE, 0), received)

    def test_a_publisher_for_a_subscriber_in_cpp(self):
        for endpoint in self.endpoints():
            publisher = PublishSubscribeChannel('publisher', Role.PUBLISHER)
            publisher.setPublisherEndPoint(endpoint)
            peer = self.start(PEER, 'subscriber', endpoint)
            while not peer.has_line(50):
                publisher.sendparts('other', [b'not subscribed'])
                publisher.sendparts('news', SAMPLE)
            self.assertEqual(('intact\n', 0), peer.rest())


class RouterDealer(Processes):
    def expect_all_served(self, endpoint):
        """Clients in Python and C++, here and in processes of their own."""
        here = AsyncRouterDealerChannel('client', Role.ASYNC_DEALER_CLIENT)
        here.setServerEndPoint(endpoint)
        others = [self.start_program('dealer_client', endpoint),
                  self.start(PEER, 'dealer_client', endpoint)]
        here.sendparts('question', SAMPLE)
        self.assertEqual(('question', SAMPLE, 0), here.receiveparts(PATIENCE))
        for other in others:
            self.assertEqual(('intact\n', 0), other.rest())

    def test_clients_of_a_worker_in_cpp(self):
        for endpoint in self.endpoints():
            worker = self.start(PEER, 'worker', endpoint, self.ipc_endpoint())
            self.assertEqual('ready', worker.line())
            self.expect_all_served(endpoint)

    def test_clients_of_a_worker_in_python(self):
        for endpoint in self.endpoints():
            worker = self.start_program('worker', endpoint, self.ipc_endpoint())
            self.assertEqual('ready', worker.line())
            self.expect_all_served(endpoint)

    def test_workers_in_python_and_c_share_a_proxy_started_in_c(self):
        name, endpoint, worker_endpoint = unique_name(), self.ipc_endpoint(), self.ipc_endpoint()
        started_in_c = WorkerInC(name, endpoint, worker_endpoint)
        self.addCleanup(started_in_c.close)
        worker = AsyncRouterDealerChannel(name, Role.ASYNC_DEALER_WORKER)
        worker.setWorkerEndPoint(worker_endpoint)
        worker.receive(1)  # only connects

        clients = [self.start_program('dealer_client', endpoint),
                   self.start(PEER, 'dealer_client', endpoint)]
        served = {'python': 0, 'c': 0}
        while sum(served.values()) < len(clients):
            served['c'] += started_in_c.serve(10)
            subject, parts, handle = worker.receiveparts(10)
            if parts is not None:
                self.assertEqual(('question', SAMPLE), (subject, parts))
                worker.sendparts(subject, parts, handle)
                freeMsgHandle(handle)
                served['python'] += 1
        for client in clients:
            self.assertEqual(('intact\n', 0), client.rest())
        self.assertEqual({'python': 1, 'c': 1}, served)


class WorkerInC(object):
    """A worker of this process that was made through the library's C interface."""

    def __init__(self, name, endpoint, worker_endpoint):
        self.tavrik = ctypes.CDLL('libtavrik.so.1')
        for make in (self.tavrik.tavrik_createChannel, self.tavrik.tavrik_createMessage):
            make.restype = ctypes.c_void_p
        self.channel = ctypes.c_void_p(self.tavrik.tavrik_createChannel(
            name.encode('ascii'), Pattern.ASYNC_ROUTER_DEALER_PATTERN, Role.ASYNC_DEALER_WORKER))
        self.message = ctypes.c_void_p(self.tavrik.tavrik_createMessage(0))
        for prop, value in ((Channel_prop.ASYNC_DEALER_CLIENT_ENDPOINT, endpoint),
                            (Channel_prop.ASYNC_DEALER_WORKER_ENDPOINT, worker_endpoint)):
            assert self.tavrik.tavrik_setProperty(self.channel, prop, value.encode('ascii')) == 0
        self.serve(1)  # only connects

    def serve(self, timeout):
        """Sends back what it receives in time: 1, or 0 when there is nothing."""
        subject = ctypes.create_string_buffer(256)
        received = self.tavrik.tavrik_receivemsg(self.channel, subject, self.message,
                                                  ctypes.c_long(timeout))
        assert received >= 0
        if received > 0:
            self.tavrik.tavrik_sendmsg(self.channel, subject, self.message)
        return min(received, 1)

    def close(self):
        self.tavrik.tavrik_deleteMessage(self.message)
        self.tavrik.tavrik_deleteChannel(self.channel)


if __name__ == '__main__':
    main()
