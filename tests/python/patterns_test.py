"""The typed channels: their setters, and an exchange over each pattern within a process."""
from libtavrik import AsyncRouterDealerChannel, Channel_prop, Message, PublishSubscribeChannel
from libtavrik import RequestReplyChannel, Role, freeMsgHandle
from common import PATIENCE, inproc_endpoint
from support import TestCase, main


class RequestReply(TestCase):
    def test_other_roles_are_refused(self):
        for role in (Role.PUBLISHER, Role.SUBSCRIBER, Role.ASYNC_DEALER_CLIENT,
                     Role.ASYNC_DEALER_WORKER, -1, 6):
            self.assert_fails(RuntimeError, 'Invalid Role specifiedtavrik:-12',
                              RequestReplyChannel, 'name', role)

    def test_the_endpoint_is_property_0(self):
        channel = RequestReplyChannel('name', Role.REQ_CLIENT)
        self.assertEqual(0, channel.setServerEndPoint('inproc://x'))
        self.assertEqual('inproc://x', channel.getProperty(Channel_prop.REQ_REP_SERVER_ENDPOINT))

    def test_an_endpoint_is_refused_by_the_library(self):
        channel = RequestReplyChannel('name', Role.REQ_CLIENT)
        self.assertEqual(-1, channel.setServerEndPoint('e' * 256))
        self.assert_fails(RuntimeError, 'Invalid Endpoint : tcp://*:1tavrik:-13',
                          channel.setServerEndPoint, 'tcp://*:1')

    def test_a_connected_channel_keeps_its_endpoint(self):
        server = self.request_reply()[1]
        self.assertEqual(-1, server.setServerEndPoint('inproc://late'))

    def test_a_request_is_answered(self):
        client, server = self.request_reply()
        self.assertEqual(1, client.sendparts('temperature', ['living room']))
        self.assertEqual(('temperature', [b'living room'], 0), server.receiveparts(PATIENCE))
        self.assertEqual(2, server.sendparts('reading', [b'21.5', b'\0C']))
        subject, message = client.receive(PATIENCE)
        self.assertEqual('reading', subject)
        self.assertEqual(([b'21.5', b'\0C'], 0), message.split())
        self.assertEqual(0, message.getHandle())


class PublishSubscribe(TestCase):
    def test_other_roles_are_refused(self):
        for role in (Role.REQ_CLIENT, Role.REP_SERVER, Role.ASYNC_DEALER_CLIENT, -1):
            self.assert_fails(RuntimeError, 'Invalid Role specifiedtavrik:-15',
                              PublishSubscribeChannel, 'name', role)

    def test_the_endpoint_is_property_1(self):
        endpoint = inproc_endpoint()
        channel = PublishSubscribeChannel('name', Role.PUBLISHER)
        self.assertEqual(0, channel.setPublisherEndPoint(endpoint))
        self.assertEqual(endpoint, channel.getProperty(Channel_prop.PUB_SUB_PUBLISHER_ENDPOINT))

    def test_filters_are_properties_2_and_3(self):
        channel = PublishSubscribeChannel('name', Role.SUBSCRIBER)
        self.assertEqual(0, channel.subscribe('news'))
        self.assert_fails(RuntimeError, 'Filter already existstavrik:-17',
                          channel.setProperty, Channel_prop.PUB_SUB_SUBSCRIBE_FILTER, 'news')
        self.assertEqual(0, channel.unsubscribe('news'))
        self.assert_fails(RuntimeError, 'Cannot remove unset filtertavrik:-18',
                          channel.setProperty, Channel_prop.PUB_SUB_UNSUBSCRIBE_FILTER, 'news')
        self.assert_fails(RuntimeError, 'Cannot remove unset filtertavrik:-18',
                          channel.unsubscribe, 'news')
        self.assertEqual(0, channel.subscribe(''))

    def test_values_of_256_characters_are_refused(self):
        channel = PublishSubscribeChannel('name', Role.SUBSCRIBER)
        for setter in (channel.setPublisherEndPoint, channel.subscribe, channel.unsubscribe):
            self.assertEqual(-1, setter('v' * 256))

    def test_a_subscriber_receives_what_it_has_subscribed_to(self):
        publisher, subscriber = self.publish_subscribe('weather', 'news')
        self.assertEqual(1, publisher.sendparts('sports', [b'1']))
        self.assertEqual(2, publisher.sendparts('newsflash', [b'2', b'\0']))
        self.assertEqual(1, publisher.sendparts('weather', [b'3']))
        self.assertEqual(('newsflash', [b'2', b'\0'], 0), subscriber.receiveparts(PATIENCE))
        self.assertEqual(('weather', [b'3'], 0), subscriber.receiveparts(PATIENCE))

    def test_a_subscriber_without_filters_receives_everything(self):
        publisher, subscriber = self.publish_subscribe()
        publisher.sendparts('anything', [b'1'])
        self.assertEqual(('anything', [b'1'], 0), subscriber.receiveparts(PATIENCE))

    def test_each_does_only_its_part(self):
        publisher = PublishSubscribeChannel('name', Role.PUBLISHER)
        subscriber = PublishSubscribeChannel('name', Role.SUBSCRIBER)
        self.assert_fails(RuntimeError,
                          'receive() Operation NOT permitted for PUBLISHERtavrik:-21',
                          publisher.receive, 0)
        self.assert_fails(RuntimeError, 'send() Operation NOT permitted for SUBSCRIBERtavrik:-20',
                          subscriber.sendparts, 's', [b'1'])


class RouterDealer(TestCase):
    def test_other_roles_are_refused(self):
        for role in (Role.REQ_CLIENT, Role.REP_SERVER, Role.PUBLISHER, Role.SUBSCRIBER, -1):
            self.assert_fails(RuntimeError, 'Invalid Role specifiedtavrik:-23',
                              AsyncRouterDealerChannel, 'name', role)

    def test_the_endpoints_are_properties_4_and_5(self):
        client = AsyncRouterDealerChannel('name', Role.ASYNC_DEALER_CLIENT)
        self.assertEqual(0, client.setServerEndPoint('inproc://c'))
        self.assertEqual('inproc://c',
                         client.getProperty(Channel_prop.ASYNC_DEALER_CLIENT_ENDPOINT))
        self.assert_fails(RuntimeError,
                          'Invalid property - cannot be set : inproc://wtavrik:-27',
                          client.setWorkerEndPoint, 'inproc://w')
        worker = AsyncRouterDealerChannel('name', Role.ASYNC_DEALER_WORKER)
        self.assertEqual(0, worker.setServerEndPoint('inproc://c'))
        self.assertEqual(0, worker.setWorkerEndPoint('inproc://w'))
        self.assertEqual('inproc://w',
                         worker.getProperty(Channel_prop.ASYNC_DEALER_WORKER_ENDPOINT))
        self.assertEqual('inproc://c', worker.getProperty(11))

    def test_a_connected_channel_keeps_its_endpoints(self):
        client, worker = self.router_dealer()
        self.assertEqual(-32, worker.setServerEndPoint('inproc://late'))
        self.assertEqual(-32, worker.setWorkerEndPoint('inproc://late'))
        client.receive(1)
        self.assertEqual(-32, client.setServerEndPoint('inproc://late'))

    def test_a_reply_finds_the_client_that_asked(self):
        client, worker = self.router_dealer()
        self.assertEqual(2, client.sendparts('question', [b'1', b'\0']))
        subject, parts, handle = worker.receiveparts(PATIENCE)
        self.assertEqual(('question', [b'1', b'\0']), (subject, parts))
        self.assertGreater(handle, 0)
        try:
            self.assertEqual(1, worker.sendparts('answer', [b'2'], handle))
            self.assertEqual(1, worker.sendparts('more', [b'3'], handle))
        finally:
            freeMsgHandle(handle)
        self.assertEqual(('answer', [b'2'], 0), client.receiveparts(PATIENCE))
        self.assertEqual(('more', [b'3'], 0), client.receiveparts(PATIENCE))

    def test_a_received_message_carries_its_handle_into_the_reply(self):
        client, worker = self.router_dealer()
        client.sendparts('question', [b'1'])
        message = worker.receive(PATIENCE)[1]
        self.assertEqual([b'1'], list(message))
        message[0] = b'2'
        self.assertEqual(1, worker.send('answer', message))
        self.assertEqual(('answer', [b'2'], 0), client.receiveparts(PATIENCE))

    def test_a_handle_is_moved_to_another_message(self):
        client, worker = self.router_dealer()
        client.sendparts('question', [b'1'])
        request = worker.receive(PATIENCE)[1]
        handle = request.getHandle()
        reply = Message(1)
        reply.setHandle(handle)
        freeMsgHandle(handle)
        del request
        self.assertEqual(1, worker.send('answer', reply))
        self.assertEqual('answer', client.receive(PATIENCE)[0])

    def test_each_handle_is_a_copy_of_its_own(self):
        client, worker = self.router_dealer()
        client.sendparts('question', [b'1'])
        message = worker.receive(PATIENCE)[1]
        handles = [message.getHandle(), message.getHandle(), message.split()[1]]
        self.assertEqual(3, len(set(handles)))
        for handle in handles:
            self.assertIsInstance(handle, int)
            freeMsgHandle(handle)
        self.assertEqual(1, worker.send('answer', message))

    def test_join_takes_the_handle_or_clears_it(self):
        client, worker = self.router_dealer()
        client.sendparts('question', [b'1'])
        message = worker.receive(PATIENCE)[1]
        handle = message.getHandle()
        message.join(['x', 'y'])
        self.assertEqual(([b'x', b'y'], 0), message.split())
        message.join(['z'], handle)
        freeMsgHandle(handle)
        self.assertEqual(1, worker.send('answer', message))
        self.assertEqual(('answer', [b'z'], 0), client.receiveparts(PATIENCE))

    def test_a_join_that_fails_keeps_the_handle(self):
        client, worker = self.router_dealer()
        client.sendparts('question', [b'1'])
        message = worker.receive(PATIENCE)[1]
        self.assert_not_executed(AssertionError if __debug__ else TypeError,
                                 message.join, ['x', 5])
        self.assertEqual([b'x'], list(message))
        self.assertEqual(1, worker.send('answer', message))
        self.assertEqual(('answer', [b'x'], 0), client.receiveparts(PATIENCE))

    def test_a_reply_needs_a_handle(self):
        worker = self.router_dealer()[1]
        self.assert_fails(RuntimeError, 'Message handle is NULLtavrik:-28',
                          worker.sendparts, 'answer', [b'1'])

    def test_workers_of_a_name_share_the_requests(self):
        client, first, second = self.router_dealer(workers=2)
        for number in range(4):
            client.sendparts('question', [str(number)])
        counts = []
        for worker in (first, second):
            for _ in range(2):
                subject, message = worker.receive(PATIENCE)
                worker.send('answer', message)
            counts.append(worker.receive(0))
        self.assertEqual([(None, None), (None, None)], counts)
        answers = sorted(client.receiveparts(PATIENCE)[1][0] for _ in range(4))
        self.assertEqual([b'0', b'1', b'2', b'3'], answers)


if __name__ == '__main__':
    main()
