"""The class Message and freeMsgHandle."""
import copy
import pickle
import sys

from libtavrik import Message, freeMsgHandle
from support import TestCase, main

BIG = 2 ** 31
HUGE = 2 ** 70
LARGEST_ADDRESS = 2 * sys.maxsize + 1


def message_of(*parts):
    message = Message()
    message += list(parts)
    return message


class Numbers(TestCase):
    def setUp(self):
        self.message = message = message_of(b'a')
        self.unsigned = (Message, message.resize)
        self.indexed = (message.__getitem__, message.remove,
                        lambda index: message.__setitem__(index, b'x'),
                        lambda index: message.insert(index, b'x'))
        self.handles = (message.setHandle, freeMsgHandle,
                        lambda handle: message.join([b'x'], handle))

    def tearDown(self):
        self.assertEqual([b'a'], list(self.message))

    def test_a_number_outside_the_range_of_its_c_type_is_refused(self):
        for functions, numbers, text in (
                (self.unsigned, (-1, -HUGE), "can't convert negative value to unsigned int"),
                (self.unsigned, (2 ** 32, 2 ** 63, HUGE),
                 'value too large to convert to unsigned int'),
                (self.indexed, (BIG, -BIG - 1, 2 ** 63, HUGE, -HUGE),
                 'value too large to convert to int'),
                (self.handles, (-1, -HUGE), "can't convert negative value to size_t"),
                (self.handles, (LARGEST_ADDRESS + 1, HUGE),
                 'value too large to convert to size_t')):
            for function in functions:
                for number in numbers:
                    self.assert_fails(OverflowError, text, function, number)

    def test_an_object_that_is_not_a_number_is_refused(self):
        class WithoutBase:
            pass

        for function in self.unsigned + self.indexed + self.handles:
            for value in ('0', None, [0], slice(0, 1), WithoutBase()):
                self.assert_fails(TypeError, 'an integer is required', function, value)

    def test_an_object_with_a_conversion_is_a_number(self):
        # Python 2 has two kinds of classes: with object as the base and without a base.
        class Three(object):
            def __index__(self):
                return 3

        class ThreeWithoutBase:
            def __index__(self):
                return 3

        class Two(object):
            def __int__(self):
                return 2

        class TwoWithoutBase:
            def __int__(self):
                return 2

        for kind, number in ((Three, 3), (ThreeWithoutBase, 3), (Two, 2), (TwoWithoutBase, 2)):
            self.assertEqual(number, len(Message(kind())))
        self.assertEqual(1, len(Message(True)))

    def test_an_exception_of_a_conversion_is_raised(self):
        class Broken(object):
            def __int__(self):
                raise KeyError('broken')

        self.assert_fails(KeyError, "'broken'", Message, Broken())

    def test_an_index_out_of_bounds_is_refused_by_the_library(self):
        read, remove, write, insert = self.indexed
        for index in (-2, -4, -BIG, 1, BIG - 1):
            for function in (read, write):
                self.assert_fails(RuntimeError, 'Message part index out of boundstavrik:-5',
                                  function, index)
            self.assert_fails(RuntimeError, 'Invalid part numbertavrik:-5', remove, index)
            if index != 1:
                self.assert_fails(RuntimeError, 'Invalid part numbertavrik:-5', insert, index)

    def test_an_address_may_have_its_highest_bit_set(self):
        # No handle is at these addresses. join() converts the number first, then refuses the parts.
        wrong = AssertionError if __debug__ else TypeError
        for address in (LARGEST_ADDRESS // 2 + 1, LARGEST_ADDRESS):
            self.assert_raises(wrong, Message().join, (b'a',), address)


class Parts(TestCase):
    def test_a_new_message_has_empty_parts(self):
        self.assertEqual(0, len(Message()))
        self.assertEqual([], list(Message()))
        self.assertEqual([b'', b'', b''], list(Message(3)))

    def test_a_message_without_parts_is_false(self):
        self.assertFalse(Message())
        self.assertTrue(Message(1))

    def test_parts_are_any_bytes(self):
        every = bytes(bytearray(range(256)))
        message = message_of(every, b'', b'\0')
        message[1] = every * 1000
        self.assertEqual([every, every * 1000, b'\0'], list(message))
        self.assertEqual([every, every * 1000, b'\0'], message.split()[0])
        self.assertIs(bytes, type(message[0]))

    def test_a_negative_index_counts_from_the_end(self):
        message = message_of(b'a', b'b', b'd', b'e')
        self.assertEqual(b'e', message[-1])
        self.assertEqual(b'a', message[-4])
        message[-3] = b'B'
        self.assertEqual(0, message.insert(-2, b'C'))
        self.assertEqual(0, message.remove(-2))
        self.assertEqual([b'a', b'B', b'C', b'e'], list(message))

    def test_a_part_that_is_not_a_string_is_refused(self):
        message = message_of(b'a')
        for part in (5, None, [b'a'], memoryview(b'a')):
            self.assert_raises(TypeError, message.__setitem__, 0, part)
            self.assert_raises(TypeError, message.insert, 0, part)
        self.assertEqual([b'a'], list(message))

    def test_parts_cannot_be_deleted(self):
        message = message_of(b'a')

        def delete():
            del message[0]

        self.assert_fails(NotImplementedError,
                          'Subscript deletion not supported by libtavrik.Message', delete)
        self.assertEqual([b'a'], list(message))

    def test_a_message_is_iterable_and_searchable(self):
        message = message_of(b'a', b'b')
        self.assertEqual((b'a', b'b'), tuple(message))
        self.assertTrue(b'b' in message)
        self.assertFalse(b'c' in message)
        self.assertEqual(bytes is str, 'b' in message)

    def test_parts_are_inserted_removed_added_and_dropped(self):
        message = message_of(b'b')
        self.assertEqual(0, message.insert(0, b'a'))
        self.assertEqual(0, message.insert(2, b'c'))
        self.assertEqual([b'a', b'b', b'c'], list(message))
        self.assertEqual(0, message.remove(0))
        self.assertEqual(0, message.resize(3))
        self.assertEqual([b'b', b'c', b''], list(message))
        self.assertEqual(0, message.resize(1))
        self.assertEqual([b'b'], list(message))

    def test_appending_keeps_the_message(self):
        class Parts(list):
            pass

        message = same = Message()
        message += [b'a', b'b']
        message += []
        message += Parts([b'c'])
        self.assertIs(same, message)
        self.assertEqual([b'a', b'b', b'c'], list(message))

    def test_join_replaces_the_content(self):
        message = Message(5)
        self.assertIsNone(message.join(['x', 'y']))
        self.assertEqual(([b'x', b'y'], 0), message.split())

    def test_split_returns_a_new_list(self):
        message = message_of(b'a')
        parts, handle = message.split()
        self.assertIs(list, type(parts))
        self.assertIs(int, type(handle))
        parts.append(b'b')
        self.assertEqual(([b'a'], 0), message.split())

    def test_handle_0_is_no_handle(self):
        message = Message()
        self.assertEqual(0, message.getHandle())
        self.assertIsNone(message.setHandle(0))
        self.assertIsNone(freeMsgHandle(0))


class Object(TestCase):
    def test_a_message_made_without_init_is_empty(self):
        message = Message.__new__(Message)
        self.assertEqual(([], 0), message.split())
        message += [b'a']
        self.assertEqual([b'a'], list(message))

    def test_a_second_init_replaces_the_content(self):
        message = message_of(b'a')
        message.__init__(2)
        self.assertEqual([b'', b''], list(message))
        self.assert_raises(OverflowError, message.__init__, -1)
        self.assertEqual([b'', b''], list(message))

    def test_a_subclass_may_have_its_own_constructor(self):
        class Note(Message):
            def __init__(self, text, author=None):
                Message.__init__(self)
                self.author = author
                self += [text]

        note = Note(b'text', author='me')
        self.assertEqual([b'text'], list(note))
        self.assertEqual('me', note.author)

        class Careless(Message):
            def __init__(self, first, second):
                pass

        self.assertEqual(0, len(Careless(1, 2)))

    def test_appending_and_joining_call_the_methods_of_a_subclass(self):
        calls = []

        class Watched(Message):
            def insert(self, index, part):
                calls.append(('insert', index, part))
                return Message.insert(self, index, part)

            def resize(self, n_parts):
                calls.append(('resize', n_parts))
                return Message.resize(self, n_parts)

            def setHandle(self, msghandle):
                calls.append(('setHandle', msghandle))
                Message.setHandle(self, msghandle)

        message = Watched()
        message += [b'a', b'b']
        self.assertEqual([('insert', 0, b'a'), ('insert', 1, b'b')], calls)
        del calls[:]
        message.join([b'c'], 0)
        self.assertEqual([('resize', 0), ('insert', 0, b'c'), ('setHandle', 0)], calls)
        self.assertEqual([b'c'], list(message))

    def test_a_message_cannot_be_copied_or_pickled(self):
        message = message_of(b'a')
        for function in (copy.copy, copy.deepcopy, pickle.dumps):
            self.assert_fails(TypeError, 'cannot copy or pickle a message', function, message)
        for protocol in range(pickle.HIGHEST_PROTOCOL + 1):
            self.assert_fails(TypeError, 'cannot copy or pickle a message', pickle.dumps, message,
                              protocol)

    def test_methods_refuse_objects_of_other_classes(self):
        for method in (Message.__len__, Message.split, Message.getHandle):
            self.assert_raises(TypeError, method, 5)

    def test_a_message_keeps_no_reference_to_an_object(self):
        part = b'a part of its own'
        parts = [part]
        before = sys.getrefcount(part), sys.getrefcount(parts)
        message = message_of(part)
        message += parts
        message.join(parts)
        message[0] = part
        message.insert(0, part)
        buffer = bytearray(b'before')
        message[0] = buffer
        buffer[:] = b'after!'
        self.assertEqual(b'before', message[0])
        self.assertEqual(before, (sys.getrefcount(part), sys.getrefcount(parts)))


if __name__ == '__main__':
    main()
