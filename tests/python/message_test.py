"""The class Message and freeMsgHandle."""
import copy
import pickle
import sys

from libtavrik import Message, freeMsgHandle
from support import TestCase, main

BIG = 2 ** 31
HUGE = 2 ** 70
OUT_OF_BOUNDS = 'Message part index out of boundstavrik:-5'
INVALID_PART = 'Invalid part numbertavrik:-5'
INT_RANGE = 'value too large to convert to int'
NO_INTEGER = 'an integer is required'


def message_of(*parts):
    message = Message()
    message += list(parts)
    return message


class Parts(TestCase):
    def test_a_new_message_has_no_parts(self):
        self.assertEqual(0, len(Message()))
        self.assertEqual([], list(Message()))

    def test_a_new_message_of_so_many_parts_has_empty_ones(self):
        self.assertEqual([b'', b'', b''], list(Message(3)))

    def test_a_number_of_parts_is_unsigned(self):
        self.assert_fails(OverflowError, "can't convert negative value to unsigned int",
                          Message, -1)
        self.assert_fails(OverflowError, "can't convert negative value to unsigned int",
                          Message, -HUGE)
        for large in (2 ** 32, 2 ** 63, HUGE):
            self.assert_fails(OverflowError, 'value too large to convert to unsigned int',
                              Message, large)
        self.assert_fails(TypeError, NO_INTEGER, Message, 'three')
        self.assert_fails(TypeError, NO_INTEGER, Message, '3')
        self.assert_fails(TypeError, NO_INTEGER, Message, None)

    def test_numbers_of_other_types_count_as_integers(self):
        class Three(object):
            def __index__(self):
                return 3

        class Two(object):
            def __int__(self):
                return 2

        self.assertEqual(3, len(Message(Three())))
        self.assertEqual(2, len(Message(Two())))
        self.assertEqual(1, len(Message(True)))

    def test_so_do_those_of_classes_without_a_base(self):
        class Three:
            def __index__(self):
                return 3

        class Two:
            def __int__(self):
                return 2

        class NoNumber:
            pass

        self.assertEqual(3, len(Message(Three())))
        self.assertEqual(2, len(Message(Two())))
        message = Message(1)
        for function in (Message, message.resize, message.remove, message.__getitem__,
                         message.setHandle, freeMsgHandle):
            self.assert_fails(TypeError, NO_INTEGER, function, NoNumber())

    def test_what_a_number_raises_while_it_is_converted_is_raised(self):
        class Broken(object):
            def __int__(self):
                raise KeyError('broken')

        self.assert_fails(KeyError, "'broken'", Message, Broken())

    def test_parts_are_read_and_written_by_index(self):
        message = Message(2)
        message[0] = b'first'
        message[1] = b'second'
        self.assertEqual(b'first', message[0])
        self.assertEqual(b'second', message[1])
        self.assertIs(bytes, type(message[0]))

    def test_parts_are_any_bytes(self):
        every = bytes(bytearray(range(256)))
        message = message_of(every, b'', b'\0')
        message[1] = every * 1000
        self.assertEqual([every, every * 1000, b'\0'], list(message))
        self.assertEqual([every, every * 1000, b'\0'], message.split()[0])

    def test_a_negative_index_counts_from_the_end_once(self):
        message = message_of(b'a', b'b', b'c')
        self.assertEqual(b'c', message[-1])
        self.assertEqual(b'a', message[-3])
        message[-2] = b'B'
        self.assertEqual([b'a', b'B', b'c'], list(message))
        for index in (-4, -6, -BIG):
            self.assert_fails(RuntimeError, OUT_OF_BOUNDS, message.__getitem__, index)
            self.assert_fails(RuntimeError, OUT_OF_BOUNDS, message.__setitem__, index, b'x')
            self.assert_fails(RuntimeError, INVALID_PART, message.insert, index, b'x')
            self.assert_fails(RuntimeError, INVALID_PART, message.remove, index)
        self.assertEqual([b'a', b'B', b'c'], list(message))

    def test_an_index_past_the_end_is_refused(self):
        message = message_of(b'a')
        for index in (1, BIG - 1):
            self.assert_fails(RuntimeError, OUT_OF_BOUNDS, message.__getitem__, index)
            self.assert_fails(RuntimeError, OUT_OF_BOUNDS, message.__setitem__, index, b'x')
            self.assert_fails(RuntimeError, INVALID_PART, message.remove, index)
        self.assert_fails(RuntimeError, INVALID_PART, message.insert, 2, b'x')
        self.assertEqual([b'a'], list(message))

    def test_an_index_is_an_int(self):
        message = message_of(b'a')
        for index in (BIG, -BIG - 1, 2 ** 63, HUGE, -HUGE):
            self.assert_fails(OverflowError, INT_RANGE, message.__getitem__, index)
            self.assert_fails(OverflowError, INT_RANGE, message.__setitem__, index, b'x')
            self.assert_fails(OverflowError, INT_RANGE, message.insert, index, b'x')
            self.assert_fails(OverflowError, INT_RANGE, message.remove, index)
        for index in ('0', None, [0], slice(0, 1)):
            self.assert_fails(TypeError, NO_INTEGER, message.__getitem__, index)
            self.assert_fails(TypeError, NO_INTEGER, message.__setitem__, index, b'x')
            self.assert_fails(TypeError, NO_INTEGER, message.insert, index, b'x')
            self.assert_fails(TypeError, NO_INTEGER, message.remove, index)
        self.assertEqual([b'a'], list(message))

    def test_parts_cannot_be_deleted(self):
        message = message_of(b'a')

        def delete():
            del message[0]

        self.assert_fails(NotImplementedError,
                          'Subscript deletion not supported by libtavrik.Message', delete)
        self.assertEqual([b'a'], list(message))

    def test_a_bytearray_is_taken_for_a_part(self):
        message = Message(1)
        message[0] = bytearray(b'a\0b')
        message.insert(1, bytearray(b'c'))
        self.assertEqual([b'a\0b', b'c'], list(message))

    def test_what_is_no_string_is_no_part(self):
        message = message_of(b'a')
        for part in (5, None, [b'a'], memoryview(b'a')):
            self.assert_not_executed(TypeError, message.__setitem__, 0, part)
            self.assert_not_executed(TypeError, message.insert, 0, part)
        self.assertEqual([b'a'], list(message))

    def test_a_message_is_iterable_and_searchable(self):
        message = message_of(b'a', b'b')
        self.assertEqual([b'a', b'b'], [part for part in message])
        self.assertTrue(b'b' in message)
        self.assertFalse(b'c' in message)
        self.assertEqual((b'a', b'b'), tuple(message))

    def test_a_message_without_parts_is_false(self):
        self.assertFalse(Message())
        self.assertTrue(Message(1))

    def test_insert_puts_a_part_before_the_index(self):
        message = message_of(b'b')
        self.assertEqual(0, message.insert(0, b'a'))
        self.assertEqual(0, message.insert(2, b'd'))
        self.assertEqual(0, message.insert(-1, b'c'))
        self.assertEqual([b'a', b'b', b'c', b'd'], list(message))

    def test_remove_takes_a_part_out(self):
        message = message_of(b'a', b'b', b'c')
        self.assertEqual(0, message.remove(0))
        self.assertEqual(0, message.remove(-1))
        self.assertEqual([b'b'], list(message))

    def test_resize_adds_empty_parts_or_drops_the_last(self):
        message = message_of(b'a', b'b')
        self.assertEqual(0, message.resize(3))
        self.assertEqual([b'a', b'b', b''], list(message))
        self.assertEqual(0, message.resize(1))
        self.assertEqual([b'a'], list(message))
        self.assert_fails(OverflowError, "can't convert negative value to unsigned int",
                          message.resize, -1)
        self.assert_fails(OverflowError, 'value too large to convert to unsigned int',
                          message.resize, 2 ** 32)
        self.assert_fails(TypeError, NO_INTEGER, message.resize, b'1')
        self.assertEqual([b'a'], list(message))

    def test_appending_keeps_the_message(self):
        message = same = Message()
        message += [b'a', b'b']
        message += []
        message += [b'c']
        self.assertIs(same, message)
        self.assertEqual([b'a', b'b', b'c'], list(message))

    def test_a_list_of_another_class_is_a_list(self):
        class Parts(list):
            pass

        message = message_of(b'a')
        message += Parts([b'b'])
        self.assertEqual([b'a', b'b'], list(message))

    def test_join_replaces_the_content(self):
        message = Message(5)
        self.assertIsNone(message.join(['x', 'y']))
        self.assertEqual(([b'x', b'y'], 0), message.split())

    def test_join_with_a_bad_handle_changes_nothing(self):
        message = message_of(b'a')
        self.assert_fails(OverflowError, "can't convert negative value to size_t",
                          message.join, [b'b'], -1)
        self.assert_fails(TypeError, NO_INTEGER, message.join, [b'b'], 'handle')
        self.assertEqual([b'a'], list(message))

    def test_split_gives_a_new_list(self):
        message = message_of(b'a')
        parts, handle = message.split()
        self.assertIs(list, type(parts))
        self.assertIs(int, type(handle))
        parts.append(b'b')
        self.assertEqual(([b'a'], 0), message.split())

    def test_a_message_without_a_handle_has_handle_0(self):
        message = Message()
        self.assertEqual(0, message.getHandle())
        self.assertIsNone(message.setHandle(0))
        self.assertEqual(0, message.getHandle())

    def test_a_handle_is_an_unsigned_integer(self):
        message = Message()
        for function in (message.setHandle, freeMsgHandle):
            self.assert_fails(OverflowError, "can't convert negative value to size_t",
                              function, -1)
            self.assert_fails(OverflowError, "can't convert negative value to size_t",
                              function, -HUGE)
            self.assert_fails(OverflowError, 'value too large to convert to size_t',
                              function, HUGE)
            self.assert_fails(TypeError, NO_INTEGER, function, None)
            self.assert_fails(TypeError, NO_INTEGER, function, '0')

    def test_no_handle_is_released_without_complaint(self):
        self.assertIsNone(freeMsgHandle(0))


class Object(TestCase):
    def test_a_message_made_without_init_is_empty(self):
        message = Message.__new__(Message)
        self.assertEqual(([], 0), message.split())
        message += [b'a']
        self.assertEqual([b'a'], list(message))

    def test_init_again_makes_a_new_content(self):
        message = message_of(b'a')
        message.__init__(2)
        self.assertEqual([b'', b''], list(message))
        self.assert_not_executed(OverflowError, message.__init__, -1)
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

    def test_appending_and_joining_ask_a_subclass(self):
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
            self.assert_not_executed(TypeError, method, 5)

    def test_a_part_is_a_copy(self):
        message = Message(1)
        part = bytearray(b'before')
        message[0] = part
        part[:] = b'after!'
        self.assertEqual(b'before', message[0])

    def test_nothing_is_referred_to_by_a_message(self):
        part = b'a part of its own'
        parts = [part]
        before = sys.getrefcount(part), sys.getrefcount(parts)
        message = message_of(part)
        message += parts
        message.join(parts)
        message[0] = part
        message.insert(0, part)
        self.assertEqual(before, (sys.getrefcount(part), sys.getrefcount(parts)))


if __name__ == '__main__':
    main()
