"""Which kinds of string the module takes and returns, in Python 2.7 and in Python 3."""
from libtavrik import AsyncRouterDealerChannel, Channel_prop, Message, PublishSubscribeChannel
from libtavrik import RequestReplyChannel, Role, TavrikChannel
from common import PATIENCE
from support import PYTHON3, TestCase, main

NOT_UTF8 = b'\xff\xfe'
UMLAUT = b'\xc3\xa4'


def as_str(data):
    """The str that the module returns for these bytes."""
    return data.decode('utf-8', 'surrogateescape') if PYTHON3 else data


class Strings(TestCase):
    def setUp(self):
        self.client, self.server = self.request_reply()

    def receive(self):
        return self.server.receiveparts(PATIENCE)

    def test_a_subject_is_received_as_str(self):
        for subject in ('plain', as_str(UMLAUT), as_str(NOT_UTF8)):
            self.client.sendparts(subject, [b'a'])
            received = self.receive()[0]
            self.assertEqual(subject, received)
            self.assertIs(str, type(received))
            self.server.sendparts(received, [b'a'])
            self.assertEqual(subject, self.client.receive(PATIENCE)[0])

    def test_a_subject_may_be_bytes(self):
        self.client.sendparts(NOT_UTF8, [b'a'])
        self.assertEqual(as_str(NOT_UTF8), self.receive()[0])

    def test_a_part_is_received_as_bytes(self):
        self.client.sendparts('s', [as_str(UMLAUT), as_str(NOT_UTF8), NOT_UTF8])
        parts = self.receive()[1]
        self.assertEqual([UMLAUT, NOT_UTF8, NOT_UTF8], parts)
        self.assertEqual([bytes] * 3, [type(part) for part in parts])

    def test_a_part_may_be_any_string(self):
        message = Message(3)
        message[0] = as_str(UMLAUT)
        message[1] = NOT_UTF8
        message[2] = bytearray(NOT_UTF8)
        message.insert(3, as_str(UMLAUT))
        message.insert(4, NOT_UTF8)
        message.insert(5, bytearray(NOT_UTF8))
        self.assertEqual([UMLAUT, NOT_UTF8, NOT_UTF8] * 2, list(message))

    def test_text_that_cannot_be_encoded_is_refused(self):
        message = Message(1)
        unfit = u'\ud800' if PYTHON3 else u'\xe4'
        self.assert_raises(UnicodeEncodeError, message.__setitem__, 0, unfit)
        self.assert_raises(UnicodeEncodeError, message.insert, 0, unfit)
        self.assert_raises(UnicodeEncodeError, self.client.setProperty, 0, unfit)
        self.assertEqual([b''], list(message))
        if PYTHON3:
            self.assert_raises(UnicodeEncodeError, message.__iadd__, [unfit])
            self.assert_raises(UnicodeEncodeError, self.client.send, unfit, message)
            self.assertEqual((None, None), self.server.receive(0))

    def test_names_may_be_any_string(self):
        for name in ('name', b'name', bytearray(b'name'), as_str(UMLAUT), NOT_UTF8):
            TavrikChannel(name, 0, 0)
            RequestReplyChannel(name, Role.REQ_CLIENT)
            PublishSubscribeChannel(name, Role.PUBLISHER)
            AsyncRouterDealerChannel(name, Role.ASYNC_DEALER_CLIENT)
        for name in (5, None, ['name']):
            self.assert_raises(TypeError, TavrikChannel, name, 0, 0)
            self.assert_raises(TypeError, RequestReplyChannel, name, 0)
            self.assert_raises(TypeError, PublishSubscribeChannel, name, 2)
            self.assert_raises(TypeError, AsyncRouterDealerChannel, name, 4)

    def test_values_may_be_any_string_and_are_read_as_str(self):
        channel = RequestReplyChannel('values', Role.REQ_CLIENT)
        prop = Channel_prop.REQ_REP_SERVER_ENDPOINT
        for value in ('ipc://v', b'ipc://v', bytearray(b'ipc://v'), as_str(UMLAUT), NOT_UTF8):
            for setter in (channel.setServerEndPoint, lambda v: channel.setProperty(prop, v)):
                channel.setServerEndPoint('')
                self.assertEqual(0, setter(value))
                expected = value if isinstance(value, str) else as_str(bytes(value))
                self.assertEqual(expected, channel.getProperty(prop))
                self.assertIs(str, type(channel.getProperty(prop)))
        for value in (5, None, ['v']):
            self.assert_raises(TypeError, channel.setServerEndPoint, value)
            self.assert_raises(TypeError, channel.setProperty, prop, value)

    def test_an_error_may_quote_bytes_that_are_not_utf8(self):
        channel = RequestReplyChannel('quotes', Role.REQ_CLIENT)
        self.assert_fails(RuntimeError,
                          as_str(b'Invalid Endpoint : ' + NOT_UTF8 + b'*tavrik:-13'),
                          channel.setServerEndPoint, NOT_UTF8 + b'*')

    def test_a_text_with_a_zero_byte_is_refused(self):
        subscriber = PublishSubscribeChannel('zero', Role.SUBSCRIBER)
        publisher = PublishSubscribeChannel('zero', Role.PUBLISHER)
        worker = AsyncRouterDealerChannel('zero', Role.ASYNC_DEALER_WORKER)
        for what, function, arguments in (
                ('name', TavrikChannel, (0, 0)),
                ('name', RequestReplyChannel, (Role.REQ_CLIENT,)),
                ('name', PublishSubscribeChannel, (Role.PUBLISHER,)),
                ('name', AsyncRouterDealerChannel, (Role.ASYNC_DEALER_CLIENT,)),
                ('subject', self.client.send, (Message(1),)),
                ('subject', self.client.sendparts, ([b'a'],)),
                ('value', lambda value: publisher.setProperty(9, value), ()),
                ('value', publisher.setPublisherEndPoint, ()),
                ('value', subscriber.subscribe, ()),
                ('value', subscriber.unsubscribe, ()),
                ('value', self.client.setServerEndPoint, ()),
                ('value', worker.setServerEndPoint, ()),
                ('value', worker.setWorkerEndPoint, ())):
            for text in ('10\0', b'a\0b', '\0'):
                self.assert_fails(ValueError, 'embedded null byte in the ' + what,
                                  function, text, *arguments)
        self.assertEqual((None, None), self.server.receive(0))
        self.assertEqual('', publisher.getProperty(9))
        self.assertEqual('', worker.getProperty(5))

    def test_a_bytearray_with_a_zero_byte_is_refused_as_a_name_or_a_value(self):
        self.assert_fails(ValueError, 'embedded null byte in the name',
                          TavrikChannel, bytearray(b'a\0'), 0, 0)
        self.assert_fails(ValueError, 'embedded null byte in the value',
                          self.client.setProperty, 0, bytearray(b'a\0'))

    def test_a_subject_has_at_most_255_bytes(self):
        self.assertEqual(-1, self.client.sendparts('s' * 256, ['a']))
        self.assertEqual(-1, self.client.sendparts(as_str(UMLAUT) * 128, ['a']))
        self.assertEqual((None, None), self.server.receive(0))
        self.assertEqual(1, self.client.sendparts('s' * 255, ['a']))
        self.assertEqual('s' * 255, self.receive()[0])

    def test_a_value_has_at_most_255_bytes(self):
        channel = RequestReplyChannel('long', Role.REQ_CLIENT)
        self.assertEqual(-1, channel.setServerEndPoint('v' * 256))
        self.assertEqual(0, channel.setServerEndPoint('v' * 255))
        self.assertEqual('v' * 255, channel.getProperty(0))


if __name__ == '__main__':
    main()
