"""The class TavrikChannel: construction, properties, sends and receives."""
import copy
import pickle

from libtavrik import AsyncRouterDealerChannel, Channel_prop, Message, Pattern
from libtavrik import PublishSubscribeChannel, RequestReplyChannel, Role, TavrikChannel
from common import PATIENCE
from support import TestCase, main

NOT_READY = "the channel's __init__ has not run, or has failed"
OUT_OF_TURN = ('Failed to send messagepart : Operation cannot be accomplished in current state'
               'zeromq:17530931')


class Construction(TestCase):
    def test_a_channel_has_one_of_the_patterns_and_one_of_its_roles(self):
        for pattern, roles in ((Pattern.REQUEST_REPLY_PATTERN, (Role.REQ_CLIENT, Role.REP_SERVER)),
                               (Pattern.PUBLISH_SUBSCRIBE_PATTERN,
                                (Role.PUBLISHER, Role.SUBSCRIBER)),
                               (Pattern.ASYNC_ROUTER_DEALER_PATTERN,
                                (Role.ASYNC_DEALER_CLIENT, Role.ASYNC_DEALER_WORKER))):
            for role in roles:
                self.assertIs(TavrikChannel, type(TavrikChannel('name', pattern, role)))

    def test_any_int_is_passed_to_the_library(self):
        for pattern, role, text in ((0, Role.PUBLISHER, 'Invalid Role specifiedtavrik:-12'),
                                    (0, -2 ** 31, 'Invalid Role specifiedtavrik:-12'),
                                    (-1, 0, 'Invalid Message Patterntavrik:-10'),
                                    (2 ** 31 - 1, 0, 'Invalid Message Patterntavrik:-10')):
            self.assert_fails(RuntimeError, text, TavrikChannel, 'name', pattern, role)
        self.assert_fails(RuntimeError, 'Invalid property queriedtavrik:-14',
                          TavrikChannel('name', 0, 0).getProperty, -1)

    def test_patterns_roles_and_properties_are_ints(self):
        channel = TavrikChannel('name', 0, 0)
        for number, kind, text in ((2 ** 31, OverflowError, 'value too large to convert to int'),
                                   (-2 ** 31 - 1, OverflowError,
                                    'value too large to convert to int'),
                                   ('0', TypeError, 'an integer is required'),
                                   (None, TypeError, 'an integer is required')):
            self.assert_fails(kind, text, TavrikChannel, 'name', number, 0)
            self.assert_fails(kind, text, TavrikChannel, 'name', 0, number)
            self.assert_fails(kind, text, RequestReplyChannel, 'name', number)
            self.assert_fails(kind, text, PublishSubscribeChannel, 'name', number)
            self.assert_fails(kind, text, AsyncRouterDealerChannel, 'name', number)
            self.assert_fails(kind, text, channel.setProperty, number, 'value')
            self.assert_fails(kind, text, channel.getProperty, number)
            self.assert_fails(kind, text, channel.receive, number)
            self.assert_fails(kind, text, channel.receiveparts, number)


class Object(TestCase):
    def methods(self, channel):
        yield lambda: channel.setProperty(0, 'value')
        yield lambda: channel.getProperty(0)
        yield lambda: channel.send('s', Message(1))
        yield lambda: channel.sendparts('s', ['a'])
        yield lambda: channel.receive(0)
        yield lambda: channel.receiveparts(0)
        for setter in ('setServerEndPoint', 'setPublisherEndPoint', 'setWorkerEndPoint',
                       'subscribe', 'unsubscribe'):
            if hasattr(channel, setter):
                yield lambda: getattr(channel, setter)('value')

    def test_a_channel_whose_init_has_not_run_refuses_everything(self):
        for kind in (TavrikChannel, RequestReplyChannel, PublishSubscribeChannel,
                     AsyncRouterDealerChannel):
            for method in self.methods(kind.__new__(kind)):
                self.assert_fails(RuntimeError, NOT_READY, method)

    def test_a_channel_whose_init_has_failed_refuses_everything(self):
        channel = TavrikChannel.__new__(TavrikChannel)
        self.assert_raises(RuntimeError, channel.__init__, '', 0, 0)
        for method in self.methods(channel):
            self.assert_fails(RuntimeError, NOT_READY, method)

    def test_a_subclass_that_does_not_call_init_refuses_everything(self):
        class Careless(RequestReplyChannel):
            def __init__(self, anything):
                pass

        for method in self.methods(Careless('x')):
            self.assert_fails(RuntimeError, NOT_READY, method)

    def test_a_second_init_replaces_the_channel_unless_it_fails(self):
        for channel, prop, right, wrong in (
                (TavrikChannel('name', 0, 0), 0, ('again', 0, 0), ('again', 0, 9)),
                (RequestReplyChannel('name', 0), 0, ('again', 0), ('again', 9)),
                (PublishSubscribeChannel('name', 2), 1, ('again', 2), ('again', 9)),
                (AsyncRouterDealerChannel('name', 4), 4, ('again', 4), ('again', 9))):
            channel.setProperty(prop, 'inproc://kept')
            self.assert_raises(RuntimeError, channel.__init__, *wrong)
            self.assertEqual('inproc://kept', channel.getProperty(prop))
            channel.__init__(*right)
            self.assertEqual('', channel.getProperty(prop))

    def test_init_of_the_base_class_may_give_another_pattern(self):
        channel = RequestReplyChannel.__new__(RequestReplyChannel)
        TavrikChannel.__init__(channel, 'other', Pattern.PUBLISH_SUBSCRIBE_PATTERN,
                               Role.SUBSCRIBER)
        self.assert_fails(RuntimeError,
                          'Invalid property - cannot be set : inproc://xtavrik:-19',
                          channel.setServerEndPoint, 'inproc://x')

    def test_a_subclass_may_have_its_own_constructor(self):
        class Server(RequestReplyChannel):
            def __init__(self, endpoint):
                RequestReplyChannel.__init__(self, 'server', Role.REP_SERVER)
                self.endpoint = endpoint
                self.setServerEndPoint(endpoint)

        server = Server('inproc://own-constructor')
        self.assertEqual(server.endpoint, server.getProperty(0))

    def test_a_channel_cannot_be_copied_or_pickled(self):
        for channel in (TavrikChannel('name', 0, 0), RequestReplyChannel('name', 0)):
            for function in (copy.copy, copy.deepcopy, pickle.dumps):
                self.assert_fails(TypeError, 'cannot copy or pickle a channel', function, channel)

    def test_methods_refuse_objects_of_other_classes(self):
        self.assert_raises(TypeError, TavrikChannel.receive, 5)
        self.assert_raises(TypeError, RequestReplyChannel.setServerEndPoint,
                           TavrikChannel('name', 0, 0), 'value')


class Properties(TestCase):
    def test_a_property_is_set_and_read(self):
        channel = TavrikChannel('name', 0, 0)
        self.assertEqual('', channel.getProperty(Channel_prop.REQ_REP_SERVER_ENDPOINT))
        self.assertEqual(0, channel.setProperty(Channel_prop.REQ_REP_SERVER_ENDPOINT,
                                                'inproc://x'))
        self.assertEqual('inproc://x', channel.getProperty(Channel_prop.REQ_REP_SERVER_ENDPOINT))

    def test_properties_without_a_name_are_reached_by_number(self):
        publisher = TavrikChannel('name', 1, Role.PUBLISHER)
        self.assertEqual(0, publisher.setProperty(9, '500'))
        self.assertEqual('500', publisher.getProperty(9))
        self.assertEqual('0', publisher.getProperty(7))
        client = TavrikChannel('name', 2, Role.ASYNC_DEALER_CLIENT)
        self.assertEqual('1000', client.getProperty(6))

    def test_the_librarys_status_is_returned(self):
        client = self.request_reply()[0]
        self.assertEqual(-1, client.setProperty(0, 'v' * 256))
        client.sendparts('s', [b'a'])
        self.assertEqual(-1, client.setProperty(0, 'inproc://late'))


class Sending(TestCase):
    def setUp(self):
        self.client, self.server = self.request_reply()

    def test_a_send_returns_the_number_of_parts(self):
        self.assertEqual(0, self.client.send('alone', Message()))

    def test_a_send_does_not_change_the_message(self):
        message = Message()
        message += [b'a', b'\0', b'']
        self.assertEqual(3, self.client.send('s', message))
        self.assertEqual([b'a', b'\0', b''], list(message))
        subject, received = self.server.receive(PATIENCE)
        self.assertEqual('s', subject)
        self.assertIs(Message, type(received))
        self.assertEqual(([b'a', b'\0', b''], 0), received.split())

    def test_a_send_calls_the_methods_of_a_subclass_of_message(self):
        class Doubled(Message):
            def __len__(self):
                return 2 * Message.__len__(self)

            def __getitem__(self, index):
                return Message.__getitem__(self, index // 2)

        message = Doubled(2)
        message[0] = b'a'
        message[1] = b'b'
        self.assertEqual(4, self.client.send('s', message))
        self.assertEqual([b'a', b'a', b'b', b'b'], self.server.receiveparts(PATIENCE)[1])

    def test_an_exception_of_a_subclass_of_message_is_raised_and_nothing_is_sent(self):
        class Broken(Message):
            def __getitem__(self, index):
                raise KeyError(index)

        self.assert_fails(KeyError, '0', self.client.send, 's', Broken(1))
        self.assertEqual((None, None), self.server.receive(0))

    def test_a_channel_that_is_replaced_during_its_send_is_kept_for_the_send(self):
        client = self.client

        class Replacing(Message):
            def __getitem__(self, index):
                client.__init__('replaced', Role.REQ_CLIENT)
                return Message.__getitem__(self, index)

        self.assertEqual(1, client.send('s', Replacing(1)))
        self.assertEqual('', client.getProperty(0))

    def test_the_librarys_failure_is_raised(self):
        self.client.sendparts('s', [b'a'])
        self.assert_fails(RuntimeError, OUT_OF_TURN, self.client.sendparts, 's', [b'a'])

    def test_sendparts_calls_the_send_of_a_subclass(self):
        class Shouting(RequestReplyChannel):
            def send(self, subject, msg):
                return RequestReplyChannel.send(self, subject.upper(), msg)

        client = Shouting('client', Role.REQ_CLIENT)
        client.setServerEndPoint(self.server.getProperty(0))
        client.sendparts('subject', [b'a'])
        self.assertEqual('SUBJECT', self.server.receive(PATIENCE)[0])


class Receiving(TestCase):
    def test_a_receive_returns_none_when_nothing_arrives_in_time(self):
        server = self.request_reply()[1]
        for timeout in (0, 1):
            self.assertEqual((None, None), server.receive(timeout))
            self.assertEqual((None, None, None), server.receiveparts(timeout))

    def test_a_time_out_below_minus_1_receives_nothing(self):
        client, server = self.request_reply()
        client.sendparts('s', [b'a'])
        self.assertEqual((None, None), server.receive(-2))
        self.assertEqual((None, None, None), server.receiveparts(-2 ** 31))
        self.assertEqual('s', server.receive(PATIENCE)[0])

    def test_a_message_without_parts_is_received_as_none(self):
        client, server = self.request_reply()
        client.sendparts('alone', [])
        self.assertEqual((None, None), server.receive(PATIENCE))
        # The message was received: it is the server's turn.
        self.assertEqual(1, server.sendparts('reply', [b'a']))

    def test_receiveparts_of_a_message_without_parts_has_no_parts(self):
        class Empty(RequestReplyChannel):
            def receive(self, timeout):
                return 'subject', Message()

        channel = Empty('empty', Role.REQ_CLIENT)
        self.assertEqual(('subject', None, None), channel.receiveparts())

    def test_receiveparts_calls_the_receive_of_a_subclass(self):
        timeouts = []

        class Watched(RequestReplyChannel):
            def receive(self, timeout):
                timeouts.append(timeout)
                return None, None

        Watched('watched', Role.REQ_CLIENT).receiveparts()
        Watched('watched', Role.REQ_CLIENT).receiveparts(7)
        self.assertEqual([-1, 7], timeouts)

    def test_the_librarys_failure_is_raised(self):
        client = self.request_reply()[0]
        self.assert_fails(RuntimeError,
                          'Failed to get messagepart : '
                          'Operation cannot be accomplished in current statezeromq:17727539',
                          client.receive, 0)

    def test_many_parts_and_large_ones(self):
        client, server = self.request_reply(self.ipc_endpoint())
        parts = [b'%d' % i if bytes is not str else str(i) for i in range(1000)]
        parts.append(b'\xab' * 5000000)
        self.assertEqual(1001, client.sendparts('s', parts))
        self.assertEqual(('s', parts, 0), server.receiveparts(PATIENCE))


if __name__ == '__main__':
    main()
