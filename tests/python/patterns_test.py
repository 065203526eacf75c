"""The typed channels: their setters, and exchanges over each pattern within a process."""
import numbers

from libtavrik import AsyncRouterDealerChannel, Channel_prop, Message, PublishSubscribeChannel
from libtavrik import RequestReplyChannel, Role, freeMsgHandle
from common import PATIENCE, inproc_endpoint
from support import TestCase, main


class Setters(TestCase):
    def test_a_role_of_another_pattern_is_refused(self):
        for kind, role, code in ((RequestReplyChannel, Role.PUBLISHER, -12),
                                 (PublishSubscribeChannel, Role.REQ_CLIENT, -15),
                                 (AsyncRouterDealerChannel, Role.SUBSCRIBER, -23)):
            self.assert_fails(RuntimeError, 'Invalid Role specifiedtavrik:%d' % code,
                              kind, 'name', role)

    def test_each_endpoint_setter_sets_its_property(self):
        client = RequestReplyChannel('name', Role.REQ_CLIENT)
        publisher = PublishSubscribeChannel('name', Role.PUBLISHER)
        dealer = AsyncRouterDealerChannel('name', Role.ASYNC_DEALER_CLIENT)
        worker = AsyncRouterDealerChannel('name', Role.ASYNC_DEALER_WORKER)
        for channel, setter, prop in (
                (client, client.setServerEndPoint, Channel_prop.REQ_REP_SERVER_ENDPOINT),
                (publisher, publisher.setPublisherEndPoint,
                 Channel_prop.PUB_SUB_PUBLISHER_ENDPOINT),
                (dealer, dealer.setServerEndPoint, Channel_prop.ASYNC_DEALER_CLIENT_ENDPOINT),
                (worker, worker.setWorkerEndPoint, Channel_prop.ASYNC_DEALER_WORKER_ENDPOINT)):
            endpoint = inproc_endpoint()
            self.assertEqual(0, setter(endpoint))
            self.assertEqual(endpoint, channel.getProperty(prop))

    def test_filters_are_set_and_removed(self):
        channel = PublishSubscribeChannel('name', Role.SUBSCRIBER)
        self.assertEqual(0, channel.subscribe('news'))
        self.assert_fails(RuntimeError, 'Filter already existstavrik:-17',
                          channel.setProperty, Channel_prop.PUB_SUB_SUBSCRIBE_FILTER, 'news')
        self.assertEqual(0, channel.unsubscribe('news'))
        self.assert_fails(RuntimeError, 'Cannot remove unset filtertavrik:-18',
                          channel.setProperty, Channel_prop.PUB_SUB_UNSUBSCRIBE_FILTER, 'news')

    def test_a_setter_returns_or_raises_what_the_library_does(self):
        channel = RequestReplyChannel('name', Role.REQ_CLIENT)
        self.assertEqual(-1, channel.setServerEndPoint('e' * 256))
        self.assert_fails(RuntimeError, 'Invalid Endpoint : tcp://*:1tavrik:-13',
                          channel.setServerEndPoint, 'tcp://*:1')
        worker = self.router_dealer()[1]
        self.assertEqual(-32, worker.setServerEndPoint('inproc://late'))
        self.assertEqual(-32, worker.setWorkerEndPoint('inproc://late'))


class Exchanges(TestCase):
    def test_a_server_replies_to_a_request(self):
        client, server = self.request_reply()
        self.assertEqual(1, client.sendparts('temperature', ['living room']))
        self.assertEqual(('temperature', [b'living room'], 0), server.receiveparts(PATIENCE))
        self.assertEqual(2, server.sendparts('reading', [b'21.5', b'\0C']))
        subject, message = client.receive(PATIENCE)
        self.assertEqual('reading', subject)
        self.assertEqual(([b'21.5', b'\0C'], 0), message.split())
        self.assertEqual(0, message.getHandle())

    def test_a_subscriber_receives_what_its_filters_let_through(self):
        publisher, subscriber = self.publish_subscribe('news')
        publisher.sendparts('olds', [b'1'])
        publisher.sendparts('news', [b'2'])
        self.assertEqual(('news', [b'2'], 0), subscriber.receiveparts(PATIENCE))

    def test_a_reply_handle_may_be_used_more_than_once(self):
        client, worker = self.router_dealer()
        self.assertEqual(2, client.sendparts('question', [b'1', b'\0']))
        subject, parts, handle = worker.receiveparts(PATIENCE)
        self.assertEqual(('question', [b'1', b'\0']), (subject, parts))
        self.assertGreater(handle, 0)
        try:
            self.assertEqual(1, worker.sendparts('reply', [b'2'], handle))
            self.assertEqual(1, worker.sendparts('more', [b'3'], handle))
        finally:
            freeMsgHandle(handle)
        self.assertEqual(('reply', [b'2'], 0), client.receiveparts(PATIENCE))
        self.assertEqual(('more', [b'3'], 0), client.receiveparts(PATIENCE))

    def request(self):
        """A client, a worker, and a request of the client that the worker has received."""
        client, worker = self.router_dealer()
        client.sendparts('question', [b'1'])
        return client, worker, worker.receive(PATIENCE)[1]

    def test_a_received_message_keeps_its_handle_when_its_parts_change(self):
        client, worker, message = self.request()
        message[0] = b'2'
        self.assertEqual(1, worker.send('reply', message))
        self.assertEqual(('reply', [b'2'], 0), client.receiveparts(PATIENCE))

    def test_a_handle_is_moved_to_another_message(self):
        client, worker, request = self.request()
        handle = request.getHandle()
        reply = Message(1)
        reply.setHandle(handle)
        freeMsgHandle(handle)
        del request
        self.assertEqual(1, worker.send('reply', reply))
        self.assertEqual('reply', client.receive(PATIENCE)[0])

    def test_each_handle_is_a_copy_of_its_own(self):
        message = self.request()[2]
        handles = [message.getHandle(), message.getHandle(), message.split()[1]]
        self.assertEqual(3, len(set(handles)))
        for handle in handles:
            self.assertIsInstance(handle, numbers.Integral)
            freeMsgHandle(handle)

    def test_join_sets_the_handle_or_removes_it(self):
        client, worker, message = self.request()
        handle = message.getHandle()
        message.join(['x', 'y'])
        self.assertEqual(([b'x', b'y'], 0), message.split())
        message.join(['z'], handle)
        freeMsgHandle(handle)
        self.assertEqual(1, worker.send('reply', message))
        self.assertEqual(('reply', [b'z'], 0), client.receiveparts(PATIENCE))

    def test_a_join_that_fails_keeps_the_handle(self):
        client, worker, message = self.request()
        self.assert_raises(AssertionError if __debug__ else TypeError,
                           message.join, ['x', 5])
        self.assertEqual([b'x'], list(message))
        self.assertEqual(1, worker.send('reply', message))
        self.assertEqual(('reply', [b'x'], 0), client.receiveparts(PATIENCE))


if __name__ == '__main__':
    main()
