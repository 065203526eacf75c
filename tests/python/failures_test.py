"""Which Python exceptions the library's exceptions become. Needs the interposer."""
import libtavrik
from libtavrik import Message, RequestReplyChannel, TavrikChannel
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


class AllocationFailure(TestCase):
    def test_the_largest_number_of_parts_is_passed_to_the_library(self):
        message = Message()
        interposer().fail_allocation(1)
        self.assert_fails(MemoryError, 'std::bad_alloc', message.resize, 2 ** 32 - 1)
        self.assertEqual(1, interposer().end_failing())
        self.assertEqual(0, len(message))


if __name__ == '__main__':
    main()
