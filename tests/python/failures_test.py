"""Which Python exceptions the library's exceptions become. Needs the interposer."""
import libtavrik
from libtavrik import Message, RequestReplyChannel, Role, TavrikChannel
from common import PATIENCE
from support import PYTHON3, TestCase, interposer, main

TRANSLATION = [
    (MemoryError, 'bad_alloc'),
    (TypeError, 'bad_cast'),
    (TypeError, 'bad_typeid'),
    (ValueError, 'domain_error'),
    (ValueError, 'invalid_argument'),
    (IOError, 'ios_base::failure: iostream error'),
    (IndexError, 'out_of_range'),
    (OverflowError, 'overflow_error'),
    (ArithmeticError, 'range_error'),
    (ArithmeticError, 'underflow_error'),
    (RuntimeError, 'logic_error'),
    (RuntimeError, 'runtime_error'),
    (RuntimeError, 'exception'),
    (RuntimeError, 'Unknown exception'),
    (RuntimeError, 'not UTF-8: ' + ('\udcff' if PYTHON3 else '\xff')),
]


class Translation(TestCase):
    def setUp(self):
        self.addCleanup(interposer().throw_failure, -1)

    def test_in_each_call_that_reaches_the_library(self):
        channel = RequestReplyChannel('name', 0)
        for function, arguments in ((TavrikChannel, ('name', 0, 0)),
                                    (RequestReplyChannel, ('name', 0)),
                                    (libtavrik.PublishSubscribeChannel, ('name', 2)),
                                    (libtavrik.AsyncRouterDealerChannel, ('name', 4)),
                                    (channel.setProperty, (0, 'value')),
                                    (channel.setServerEndPoint, ('value',)),
                                    (channel.getProperty, (0,)),
                                    (channel.send, ('s', Message(1))),
                                    (channel.sendparts, ('s', [b'a'])),
                                    (channel.receive, (0,)),
                                    (channel.receiveparts, (0,))):
            for number, (kind, text) in enumerate(TRANSLATION):
                interposer().throw_failure(number)
                self.assert_fails(kind, text, function, *arguments)
            interposer().throw_failure(-1)


class AllocationFailures(TestCase):
    """Each allocation in C++ fails once, in turn."""

    def each_allocation_fails(self, function, at_least, reset=lambda: None):
        nth = 0
        while True:
            nth += 1
            reset()
            interposer().fail_allocation(nth)
            failure = None
            try:
                function()
            except MemoryError as raised:
                failure = str(raised)
            happened = interposer().end_failing()
            if not happened:
                self.assertIsNone(failure)
                break
            self.assertEqual('std::bad_alloc', failure, 'allocation %d' % nth)
        self.assertGreaterEqual(nth - 1, at_least)

    def test_making_a_message(self):
        self.each_allocation_fails(Message, 2)
        self.each_allocation_fails(lambda: Message(10), 3)

    def test_parts(self):
        part = b'longer than what a string holds without an allocation'
        message = Message(1)
        self.each_allocation_fails(lambda: message.__setitem__(0, part), 2,
                                   lambda: message.join(['first']))
        self.assertEqual([part], list(message))
        self.each_allocation_fails(lambda: message[0], 1)
        self.each_allocation_fails(lambda: list(message), 1)
        self.each_allocation_fails(lambda: message.insert(0, part), 2,
                                   lambda: message.join(['first']))
        self.assertEqual([part, b'first'], list(message))
        self.each_allocation_fails(lambda: message.__iadd__([part]), 2, lambda: message.resize(0))
        self.each_allocation_fails(lambda: message.resize(1000), 1, lambda: message.resize(1))

    def test_a_failed_change_changes_nothing(self):
        part = b'longer than what a string holds without an allocation'
        message = Message()
        message += [b'kept']
        for change in (lambda: message.__setitem__(0, part), lambda: message.insert(0, part),
                       lambda: message.__iadd__([part]), lambda: message.resize(1000),
                       lambda: message.__init__(1000)):
            interposer().fail_allocation(1)
            self.assert_fails(MemoryError, 'std::bad_alloc', change)
            self.assertEqual(1, interposer().end_failing())
            self.assertEqual([b'kept'], list(message))

    def test_the_largest_number_of_parts_is_passed_to_the_library(self):
        message = Message()
        interposer().fail_allocation(1)
        self.assert_fails(MemoryError, 'std::bad_alloc', message.resize, 2 ** 32 - 1)
        self.assertEqual(1, interposer().end_failing())
        self.assertEqual(0, len(message))

    def test_channels_and_properties(self):
        name = 'a name longer than what a string holds without an allocation'
        self.each_allocation_fails(lambda: TavrikChannel(name, 0, 0), 4)
        self.each_allocation_fails(lambda: RequestReplyChannel(name, 0), 4)
        channel = RequestReplyChannel(name, Role.REQ_CLIENT)
        self.each_allocation_fails(lambda: channel.setServerEndPoint(name), 2)
        self.each_allocation_fails(lambda: channel.getProperty(0), 1)
        self.assertEqual(name, channel.getProperty(0))

    def test_a_handle(self):
        client, worker = self.router_dealer()
        client.sendparts('question', [b'1'])
        message = worker.receive(PATIENCE)[1]
        made = []
        self.each_allocation_fails(lambda: made.append(message.getHandle()), 1)
        self.each_allocation_fails(lambda: made.append(message.split()[1]), 1)
        self.each_allocation_fails(lambda: Message().setHandle(made[0]), 2)
        self.assertEqual(2, len(made))
        for handle in made:
            libtavrik.freeMsgHandle(handle)

    def test_what_is_copied_to_be_sent(self):
        client, worker = self.router_dealer()
        client.sendparts('question', [b'longer than what a string holds without an allocation'])
        message = worker.receive(PATIENCE)[1]
        alive = interposer().handles_alive()

        def send():
            # The zero byte is refused after everything was copied. ZeroMQ would abort on an
            # allocation failure.
            try:
                worker.send('zero\0', message)
            except ValueError:
                pass

        self.each_allocation_fails(send, 5)
        self.assertEqual(alive, interposer().handles_alive())

    def test_what_was_received(self):
        client, worker = self.router_dealer()
        part = b'longer than what a string holds without an allocation'
        received = []
        alive = interposer().handles_alive()
        self.each_allocation_fails(
            lambda: received.append(worker.receiveparts(PATIENCE)), 5,
            lambda: client.sendparts('question', [part]))
        self.assertEqual([part], received[0][1])
        libtavrik.freeMsgHandle(received[0][2])
        self.assertEqual(alive, interposer().handles_alive())


if __name__ == '__main__':
    main()
