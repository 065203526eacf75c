"""Ownership of handles, channels and memory. Needs the interposer."""
import ctypes
import gc
import os
import sys
from itertools import repeat

import libtavrik
from libtavrik import Message, RequestReplyChannel, Role, TavrikChannel, freeMsgHandle
from common import PATIENCE
from support import TestCase, interposer, main

MESSAGE_OPERATIONS = 200000
EXCHANGES = 50000


class Statistics(ctypes.Structure):
    _fields_ = [(name, ctypes.c_uint32)
                for name in ('received', 'sent', 'state', 'connections')]


class LivingChannels(object):
    """Counts the channels of the library, through the C interface and a channel of its own."""

    def __init__(self):
        self.tavrik = ctypes.CDLL('libtavrik.so.1')
        self.tavrik.tavrik_createChannel.restype = ctypes.c_void_p
        self.channel = ctypes.c_void_p(self.tavrik.tavrik_createChannel(b'asked', 0, 0))
        self.tavrik.tavrik_initializeStatsMonitoring(self.channel)

    def count(self):
        statistics = Statistics()
        assert self.tavrik.tavrik_getTavrikStats(self.channel, ctypes.byref(statistics)) == 0
        return statistics.connections - 1

    def close(self):
        self.tavrik.tavrik_deleteChannel(self.channel)


class Channels(TestCase):
    def setUp(self):
        gc.collect()
        self.living = LivingChannels()
        self.addCleanup(self.living.close)
        self.before = self.living.count()

    def expect_living(self, count):
        self.assertEqual(count, self.living.count() - self.before)

    def test_a_channel_is_destroyed_with_its_object(self):
        for kind, arguments in ((TavrikChannel, ('name', 0, 0)),
                                (RequestReplyChannel, ('name', 0)),
                                (libtavrik.PublishSubscribeChannel, ('name', 2)),
                                (libtavrik.AsyncRouterDealerChannel, ('name', 4))):
            channel = kind(*arguments)
            self.expect_living(1)
            del channel
            self.expect_living(0)

    def test_a_channel_that_was_not_made_is_not_counted(self):
        channel = TavrikChannel.__new__(TavrikChannel)
        for _ in range(10):
            self.assert_raises(RuntimeError, channel.__init__, 'name', 0, 9)
        del channel
        self.expect_living(0)

    def test_init_again_destroys_the_first_channel(self):
        channel = RequestReplyChannel('name', 0)
        for _ in range(10):
            channel.__init__('name', 0)
            self.expect_living(1)
        self.assert_raises(RuntimeError, channel.__init__, 'name', 9)
        self.expect_living(1)
        del channel
        self.expect_living(0)

    def test_a_channel_in_a_cycle_is_destroyed_by_the_collector(self):
        class Linked(RequestReplyChannel):
            pass

        channel = Linked('name', 0)
        channel.itself = channel
        del channel
        self.expect_living(1)
        gc.collect()
        self.expect_living(0)

    def test_a_failed_call_keeps_no_channel(self):
        channel = RequestReplyChannel('name', 0)
        for _ in range(10):
            self.assert_raises(RuntimeError, channel.getProperty, 99)
            self.assert_raises(RuntimeError, channel.receive, 0)
        del channel
        self.expect_living(0)


class Handles(TestCase):
    def setUp(self):
        self.client, self.worker = self.router_dealer()
        self.made = interposer().handles_made()
        self.before = interposer().handles_alive()

    def tearDown(self):
        self.assertGreater(interposer().handles_made(), self.made, 'handles were counted')

    def expect_alive(self, count):
        self.assertEqual(count, interposer().handles_alive() - self.before)

    def ask(self):
        self.client.sendparts('question', [b'1'])

    def test_a_received_message_owns_one(self):
        self.ask()
        message = self.worker.receive(PATIENCE)[1]
        self.expect_alive(1)
        del message
        self.expect_alive(0)

    def test_receiveparts_gives_one_to_the_program(self):
        self.ask()
        handle = self.worker.receiveparts(PATIENCE)[2]
        self.expect_alive(1)
        self.worker.sendparts('answer', [b'2'], handle)
        self.expect_alive(1)
        freeMsgHandle(handle)
        self.expect_alive(0)

    def test_get_handle_and_split_give_one_to_the_program(self):
        self.ask()
        message = self.worker.receive(PATIENCE)[1]
        first, second = message.getHandle(), message.split()[1]
        self.expect_alive(3)
        del message
        self.expect_alive(2)
        freeMsgHandle(first)
        freeMsgHandle(second)
        self.expect_alive(0)

    def test_set_handle_and_join_copy_it(self):
        self.ask()
        handle = self.worker.receiveparts(PATIENCE)[2]
        message = Message()
        message.setHandle(handle)
        message.setHandle(handle)
        self.expect_alive(2)
        message.join(['a'], handle)
        self.expect_alive(2)
        message.join(['a'])
        self.expect_alive(1)
        message.setHandle(handle)
        message.setHandle(0)
        self.expect_alive(1)
        freeMsgHandle(handle)
        self.expect_alive(0)

    def test_init_again_releases_it(self):
        self.ask()
        message = self.worker.receive(PATIENCE)[1]
        message.__init__()
        self.expect_alive(0)

    def test_a_send_copies_it_and_releases_the_copy(self):
        self.ask()
        message = self.worker.receive(PATIENCE)[1]
        for _ in range(3):
            self.assertEqual(1, self.worker.send('answer', message))
        self.expect_alive(1)
        del message
        self.expect_alive(0)

    def test_a_failed_send_releases_the_copy(self):
        self.ask()
        message = self.worker.receive(PATIENCE)[1]
        self.assertEqual(-1, self.worker.send('s' * 256, message))
        self.assert_raises(ValueError, self.worker.send, 's\0', message)
        self.assert_raises(AssertionError if __debug__ else TypeError,
                           self.worker.send, 5, message)
        self.addCleanup(interposer().throw_failure, -1)
        interposer().throw_failure(11)
        self.assert_raises(RuntimeError, self.worker.send, 's', message)
        self.expect_alive(1)
        del message
        self.expect_alive(0)

    def test_a_failed_join_or_sendparts_leaves_it_with_the_program(self):
        self.ask()
        handle = self.worker.receiveparts(PATIENCE)[2]
        wrong = AssertionError if __debug__ else TypeError
        self.assert_raises(wrong, Message().join, ['a', 5], handle)
        self.assert_raises(wrong, self.worker.sendparts, 's', ['a', 5], handle)
        self.expect_alive(1)
        freeMsgHandle(handle)
        self.expect_alive(0)


class MallocInformation(ctypes.Structure):
    _fields_ = [(name, ctypes.c_size_t)
                for name in ('arena', 'ordblks', 'smblks', 'hblks', 'hblkhd', 'usmblks',
                             'fsmblks', 'uordblks', 'fordblks', 'keepcost')]


# Less than one leaked object of each kind takes.
SIZES = {'bytes on the heap': 16, 'objects of the interpreter': 1, 'containers': 1,
         'resident bytes': 200}


def memory_in_use():
    gc.collect()
    process = ctypes.CDLL(None)
    in_use = {'containers': len(gc.get_objects())}
    if hasattr(sys, 'getallocatedblocks'):
        in_use['objects of the interpreter'] = sys.getallocatedblocks()
    if hasattr(process, '__sanitizer_get_current_allocated_bytes'):
        heap = process['__sanitizer_get_current_allocated_bytes']
        heap.restype = ctypes.c_size_t
        in_use['bytes on the heap'] = heap()
    else:
        process.mallinfo2.restype = MallocInformation
        information = process.mallinfo2()
        in_use['bytes on the heap'] = information.uordblks + information.hblkhd
        with open('/proc/self/statm') as status:
            pages = int(status.read().split()[1])
        in_use['resident bytes'] = pages * os.sysconf('SC_PAGE_SIZE')
    return in_use


class Memory(TestCase):
    """Many operations leak neither references nor memory."""

    def setUp(self):
        self.addCleanup(gc.enable)
        gc.disable()

    def expect_level(self, operate, rounds):
        """Runs it this many times. Nothing may be leaked each time."""
        operate(rounds // 10)
        before = memory_in_use()
        operate(rounds)
        for kind, amount in memory_in_use().items():
            self.assertLess(amount - before[kind], rounds // 10 * SIZES[kind], kind)

    def test_message_operations(self):
        part = b'a part longer than what a string holds without an allocation'
        references = sys.getrefcount(part), sys.getrefcount(None)

        def operate(count):
            for _ in repeat(None, count):
                message = Message(1)
                message[0] = part
                message += [part, part]
                message.insert(0, part)
                message.remove(-1)
                message[-1]
                list(message)
                message.split()
                message.join([part])
                try:
                    message.remove(5)
                except RuntimeError:
                    pass

        self.expect_level(operate, MESSAGE_OPERATIONS // 10)
        self.assertEqual(references[0], sys.getrefcount(part))
        self.assertLess(sys.getrefcount(None) - references[1], 100)

    def test_sends_and_receives(self):
        client, server = self.request_reply()
        parts = [b'a part longer than what a string holds without an allocation', b'2']
        subject = 'a subject of its own'
        references = sys.getrefcount(parts), sys.getrefcount(parts[0]), sys.getrefcount(subject)

        def operate(count):
            for _ in repeat(None, count):
                client.sendparts(subject, parts)
                server.send('answer', server.receive(PATIENCE)[1])
                client.receiveparts(PATIENCE)

        self.expect_level(operate, EXCHANGES // 2)
        self.assertEqual(references, (sys.getrefcount(parts), sys.getrefcount(parts[0]),
                                      sys.getrefcount(subject)))

    def test_sends_and_receives_with_handles(self):
        client, worker = self.router_dealer()
        before, made = interposer().handles_alive(), interposer().handles_made()
        batch = 50  # fills no queue

        def operate(count):
            for _ in repeat(None, count // batch):
                for _ in range(batch):
                    client.sendparts('question', [b'1'])
                for _ in range(batch):
                    subject, parts, handle = worker.receiveparts(PATIENCE)
                    try:
                        worker.sendparts(subject, parts, handle)
                    finally:
                        freeMsgHandle(handle)
                for _ in range(batch):
                    client.receive(PATIENCE)

        self.expect_level(operate, EXCHANGES // 2)
        self.assertEqual(before, interposer().handles_alive())
        self.assertGreater(interposer().handles_made() - made, EXCHANGES)

    def test_failures(self):
        channel = RequestReplyChannel('name', Role.REQ_CLIENT)

        def operate(count):
            for _ in repeat(None, count):
                for function, arguments in ((channel.getProperty, (99,)),
                                            (channel.receive, (0,)),
                                            (RequestReplyChannel, ('name', 9)),
                                            (Message, (-1,))):
                    try:
                        function(*arguments)
                    except (RuntimeError, OverflowError):
                        pass

        self.expect_level(operate, 10000)


if __name__ == '__main__':
    main()
