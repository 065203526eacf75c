"""What the module asserts, and what it raises where `-O` removes assertions."""
from libtavrik import Message
from support import PYTHON3, TestCase, main

NO_LIST = 'Argument must be a list'
NO_STRINGS = 'Argument must be a list of Strings'
NO_MESSAGE = 'msg must be a multipart Message Object'
NO_SUBJECT = 'Subject must be a String'

NOT_STRINGS = [5, None, 1.5, ['a'], ('a',), object()]


class Assertions(TestCase):
    def assert_refused(self, text, function, *arguments):
        """AssertionError with the text, or TypeError with `-O`."""
        if __debug__:
            self.assert_fails(AssertionError, text, function, *arguments)
        else:
            self.assert_raises(TypeError, function, *arguments)

    def test_only_a_list_is_appended(self):
        message = Message()
        for parts in [('a',), 'abc', b'abc', bytearray(b'abc'), {'a': 1}, None, 5, iter([]),
                      Message(1)]:
            self.assert_refused(NO_LIST, message.__iadd__, parts)
        self.assertEqual([], list(message))

    def test_strings_before_an_element_that_is_not_a_string_are_appended(self):
        for element in NOT_STRINGS:
            message = Message()
            self.assert_refused(NO_STRINGS, message.__iadd__, ['a', element, 'b'])
            self.assertEqual([b'a'], list(message))

    def test_a_bytearray_is_appended_only_without_assertions(self):
        message = Message()
        if __debug__:
            self.assert_fails(AssertionError, NO_STRINGS, message.__iadd__, [bytearray(b'a')])
            self.assertEqual([], list(message))
        else:
            message += [bytearray(b'a')]
            self.assertEqual([b'a'], list(message))

    def test_unicode_is_appended_only_in_python_3(self):
        message = Message()
        if PYTHON3:
            message += [u'\xe4']
            self.assertEqual([b'\xc3\xa4'], list(message))
        else:
            self.assert_refused(NO_STRINGS, message.__iadd__, [u'a'])
            self.assertEqual([], list(message))

    def test_join_takes_only_a_list_of_strings(self):
        message = Message(1)
        self.assert_refused(NO_LIST, message.join, ('a',))
        self.assertEqual([], list(message))
        self.assert_refused(NO_STRINGS, message.join, ['a', 5])
        self.assertEqual([b'a'], list(message))

    def test_sendparts_takes_only_a_list_of_strings(self):
        client, server = self.request_reply()
        self.assert_refused(NO_LIST, client.sendparts, 's', 'abc')
        self.assert_refused(NO_LIST, client.sendparts, 's', (b'a',))
        self.assert_refused(NO_STRINGS, client.sendparts, 's', [b'a', 5])
        if not PYTHON3:
            self.assert_refused(NO_STRINGS, client.sendparts, 's', [u'a'])
        self.assertEqual((None, None), server.receive(0))

    def test_only_a_message_is_sent(self):
        client, server = self.request_reply()
        for message in (['a'], None, 'a', 5, object(), client):
            self.assert_refused(NO_MESSAGE, client.send, 's', message)
        self.assertEqual((None, None), server.receive(0))

    def test_only_a_string_is_a_subject(self):
        client, server = self.request_reply()
        for subject in NOT_STRINGS:
            self.assert_refused(NO_SUBJECT, client.send, subject, Message(1))
            self.assert_refused(NO_SUBJECT, client.sendparts, subject, ['a'])
        if __debug__:
            self.assert_fails(AssertionError, NO_SUBJECT, client.send, bytearray(b's'), Message(1))
        if not PYTHON3:
            self.assert_refused(NO_SUBJECT, client.send, u's', Message(1))
            self.assert_refused(NO_SUBJECT, client.sendparts, u's', ['a'])
        self.assertEqual((None, None), server.receive(0))

    def test_the_message_is_checked_and_copied_before_the_subject_is_checked(self):
        class Watched(Message):
            def getHandle(self):
                self.copied = True
                return Message.getHandle(self)

        client = self.request_reply()[0]
        self.assert_refused(NO_MESSAGE, client.send, 5, ['a'])
        self.assert_refused(NO_LIST, client.sendparts, 5, 'abc')
        message = Watched(1)
        self.assert_refused(NO_SUBJECT, client.send, 5, message)
        self.assertTrue(message.copied)


if __name__ == '__main__':
    main()
