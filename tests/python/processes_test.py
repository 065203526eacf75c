"""The three patterns between processes, with programs in C, C++ and Python."""
import os

from libtavrik import AsyncRouterDealerChannel, PublishSubscribeChannel, RequestReplyChannel, Role
from common import PATIENCE, SAMPLE
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
        """Clients in Python and C++ get their replies, in this process and in others."""
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


if __name__ == '__main__':
    main()
