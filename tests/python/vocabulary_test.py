"""The module's names, numbers and documentation."""
import re
import types

import libtavrik
from support import PYTHON3, TestCase, main

ENUMERATIONS = {
    'Pattern': {'REQUEST_REPLY_PATTERN': 0, 'PUBLISH_SUBSCRIBE_PATTERN': 1,
                'ASYNC_ROUTER_DEALER_PATTERN': 2},
    'Role': {'REQ_CLIENT': 0, 'REP_SERVER': 1, 'PUBLISHER': 2, 'SUBSCRIBER': 3,
             'ASYNC_DEALER_CLIENT': 4, 'ASYNC_DEALER_WORKER': 5},
    'Channel_prop': {'REQ_REP_SERVER_ENDPOINT': 0, 'PUB_SUB_PUBLISHER_ENDPOINT': 1,
                     'PUB_SUB_SUBSCRIBE_FILTER': 2, 'PUB_SUB_UNSUBSCRIBE_FILTER': 3,
                     'ASYNC_DEALER_CLIENT_ENDPOINT': 4, 'ASYNC_DEALER_WORKER_ENDPOINT': 5},
}

# Every function and method with the names of its arguments.
ARGUMENTS = {
    'freeMsgHandle': ['handle'],
    'Message': ['n_parts'],
    'Message.__init__': ['n_parts'],
    'Message.__len__': [],
    'Message.__iter__': [],
    'Message.__getitem__': ['index'],
    'Message.__setitem__': ['index', 'part'],
    'Message.__iadd__': ['parts'],
    'Message.insert': ['index', 'part'],
    'Message.remove': ['index'],
    'Message.resize': ['n_parts'],
    'Message.join': ['parts', 'msghandle'],
    'Message.split': [],
    'Message.getHandle': [],
    'Message.setHandle': ['msghandle'],
    'TavrikChannel': ['ch_name', 'ch_pattern', 'ch_role'],
    'TavrikChannel.__init__': ['ch_name', 'ch_pattern', 'ch_role'],
    'TavrikChannel.setProperty': ['prop', 'prop_val'],
    'TavrikChannel.getProperty': ['prop'],
    'TavrikChannel.send': ['subject', 'msg'],
    'TavrikChannel.sendparts': ['subject', 'parts', 'handle'],
    'TavrikChannel.receive': ['timeout'],
    'TavrikChannel.receiveparts': ['timeout'],
    'RequestReplyChannel': ['ch_name', 'ch_role'],
    'RequestReplyChannel.__init__': ['ch_name', 'ch_role'],
    'RequestReplyChannel.setServerEndPoint': ['endpt'],
    'PublishSubscribeChannel': ['ch_name', 'ch_role'],
    'PublishSubscribeChannel.__init__': ['ch_name', 'ch_role'],
    'PublishSubscribeChannel.setPublisherEndPoint': ['endpt'],
    'PublishSubscribeChannel.subscribe': ['filterstr'],
    'PublishSubscribeChannel.unsubscribe': ['filterstr'],
    'AsyncRouterDealerChannel': ['ch_name', 'ch_role'],
    'AsyncRouterDealerChannel.__init__': ['ch_name', 'ch_role'],
    'AsyncRouterDealerChannel.setServerEndPoint': ['endpt'],
    'AsyncRouterDealerChannel.setWorkerEndPoint': ['endpt'],
}

# A value for each argument.
VALUES = {'ch_name': 'name', 'ch_pattern': 0, 'ch_role': 0, 'endpt': 'inproc://named',
          'filterstr': 'news', 'handle': 0, 'index': 0, 'msg': libtavrik.Message(),
          'msghandle': 0, 'n_parts': 1, 'part': b'a', 'parts': [b'a'], 'prop': 0,
          'prop_val': 'inproc://named', 'subject': 's', 'timeout': 0}


def find(name):
    found = libtavrik
    for part in name.split('.'):
        found = getattr(found, part)
    return found


class Vocabulary(TestCase):
    def test_the_module_has_these_names_and_no_others(self):
        names = set(name for name in dir(libtavrik) if not name.startswith('__'))
        self.assertEqual(
            set(ENUMERATIONS) | set(name for name in ARGUMENTS if '.' not in name) |
            {'PROPERTY_BUFFER_SIZE', 'SUBJECT_BUFFER_SIZE'}, names)

    def test_enumerations_are_classes_of_plain_ints(self):
        for name, members in ENUMERATIONS.items():
            enumeration = getattr(libtavrik, name)
            self.assertIs(type, type(enumeration))
            stored = dict((key, value) for key, value in vars(enumeration).items()
                          if not key.startswith('__'))
            self.assertEqual(members, stored)
            for value in stored.values():
                self.assertIs(int, type(value))

    def test_enumerations_are_extension_types(self):
        for name in ENUMERATIONS:
            self.assert_raises(TypeError, setattr, getattr(libtavrik, name), 'OTHER', 0)

    def test_enumerations_are_in_the_order_of_their_values(self):
        # Dictionaries of Python 2 have no order.
        if PYTHON3:
            for name, members in ENUMERATIONS.items():
                stored = [key for key in vars(getattr(libtavrik, name)) if key in members]
                self.assertEqual(sorted(members, key=members.get), stored)

    def test_buffer_sizes(self):
        self.assertEqual(256, libtavrik.PROPERTY_BUFFER_SIZE)
        self.assertEqual(256, libtavrik.SUBJECT_BUFFER_SIZE)
        self.assertIs(int, type(libtavrik.PROPERTY_BUFFER_SIZE))
        self.assertIs(int, type(libtavrik.SUBJECT_BUFFER_SIZE))

    def test_there_is_an_empty_dictionary_of_documentation_tests(self):
        self.assertEqual({}, libtavrik.__test__)

    def test_the_module_has_its_builtins(self):
        self.assertIs(len, vars(libtavrik.__builtins__)['len'])

    def test_the_typed_channels_are_channels(self):
        for name in ('RequestReplyChannel', 'PublishSubscribeChannel', 'AsyncRouterDealerChannel'):
            self.assertEqual((libtavrik.TavrikChannel,), getattr(libtavrik, name).__bases__)

    def test_the_general_channel_has_no_named_setters(self):
        for name in ('setServerEndPoint', 'setPublisherEndPoint', 'setWorkerEndPoint'):
            self.assertFalse(hasattr(libtavrik.TavrikChannel, name))

    def test_free_msg_handle_is_a_function(self):
        self.assertIsInstance(libtavrik.freeMsgHandle, types.BuiltinFunctionType)


class Documentation(TestCase):
    def test_each_method_documents_its_arguments_with_their_types(self):
        for name, arguments in ARGUMENTS.items():
            documentation = find(name).__doc__
            for line in documentation.split('\n'):
                self.assertTrue(line.startswith('\t- '), '%s: %r' % (name, line))
            for argument in arguments:
                self.assertTrue(
                    re.search(r'^\t- %s \([A-Z][A-Za-z ]+\) ' % argument, documentation, re.M),
                    '%s: %s' % (name, argument))

    def test_the_list_above_is_complete(self):
        for name in ARGUMENTS:
            if '.' not in name and isinstance(find(name), type):
                for member, value in vars(find(name)).items():
                    if callable(value) and not member.startswith('__'):
                        self.assertIn('%s.%s' % (name, member), ARGUMENTS)

    def expect_in(self, text, name):
        self.assertIn(text, find(name).__doc__)

    def test_docstrings_have_the_required_texts(self):
        self.expect_in('Multipart message Constructor', 'Message')
        self.expect_in('- n_parts (Unsigned Integer) number of parts', 'Message')
        self.expect_in('Multipart message Constructor', 'Message.__init__')
        for name in ('Message.remove', 'Message.insert'):
            self.expect_in('throws RuntimeError Exception on invalid index', name)
            self.expect_in('returns [0 on success]', name)
        self.expect_in("cannot exceed 'PROPERTY_BUFFER_SIZE - 1' characters",
                       'TavrikChannel.setProperty')
        self.expect_in('returns [0 on success | -1 on failure]', 'TavrikChannel.setProperty')
        for name in ('RequestReplyChannel.setServerEndPoint',
                     'PublishSubscribeChannel.setPublisherEndPoint',
                     'AsyncRouterDealerChannel.setServerEndPoint',
                     'AsyncRouterDealerChannel.setWorkerEndPoint'):
            self.expect_in('IP : Port / IPC name', name)
        for name in ('PublishSubscribeChannel.subscribe', 'PublishSubscribeChannel.unsubscribe'):
            self.expect_in('Subject filter string', name)


class Calls(TestCase):
    """Calls with a wrong number of arguments, and with names."""

    def objects(self):
        return {'Message': libtavrik.Message(),
                'TavrikChannel': libtavrik.TavrikChannel('calls', 0, 0),
                'RequestReplyChannel': libtavrik.RequestReplyChannel('calls', 0),
                'PublishSubscribeChannel': libtavrik.PublishSubscribeChannel('calls', 2),
                'AsyncRouterDealerChannel': libtavrik.AsyncRouterDealerChannel('calls', 4)}

    def bound(self, name):
        if '.' not in name:
            return find(name)
        owner, member = name.split('.')
        return getattr(self.objects()[owner], member)

    def expect_refused(self, name, wording, count, given):
        function_name = '__init__' if isinstance(find(name), type) else name.split('.')[-1]
        text = '%s() takes %s %d positional argument%s (%d given)' % (
            function_name, wording, count, '' if count == 1 else 's', given)
        self.assert_fails(TypeError, text, self.bound(name), *[0] * given)

    def test_a_fixed_number_of_arguments_is_required(self):
        for name in ('TavrikChannel', 'TavrikChannel.__init__'):
            self.expect_refused(name, 'exactly', 3, 2)
            self.expect_refused(name, 'exactly', 3, 4)
        for name in ('RequestReplyChannel', 'PublishSubscribeChannel', 'AsyncRouterDealerChannel',
                     'Message.insert', 'TavrikChannel.setProperty', 'TavrikChannel.send'):
            self.expect_refused(name, 'exactly', 2, 1)
            self.expect_refused(name, 'exactly', 2, 3)
        for name in ('freeMsgHandle', 'Message.remove', 'Message.resize', 'Message.setHandle',
                     'TavrikChannel.getProperty', 'RequestReplyChannel.setServerEndPoint',
                     'PublishSubscribeChannel.setPublisherEndPoint',
                     'PublishSubscribeChannel.subscribe', 'PublishSubscribeChannel.unsubscribe',
                     'AsyncRouterDealerChannel.setServerEndPoint',
                     'AsyncRouterDealerChannel.setWorkerEndPoint'):
            self.expect_refused(name, 'exactly', 1, 0)
            self.expect_refused(name, 'exactly', 1, 2)
        for name in ('Message.split', 'Message.getHandle'):
            self.expect_refused(name, 'exactly', 0, 1)

    def test_a_range_of_numbers_of_arguments_is_required(self):
        self.expect_refused('Message', 'at most', 1, 2)
        self.expect_refused('Message.join', 'at least', 1, 0)
        self.expect_refused('Message.join', 'at most', 2, 3)
        self.expect_refused('TavrikChannel.sendparts', 'at least', 2, 1)
        self.expect_refused('TavrikChannel.sendparts', 'at most', 3, 4)
        self.expect_refused('TavrikChannel.receive', 'at most', 1, 2)
        self.expect_refused('TavrikChannel.receiveparts', 'at most', 1, 2)

    def test_arguments_may_be_named(self):
        for name, arguments in ARGUMENTS.items():
            if not name.split('.')[-1].startswith('__'):
                try:
                    self.bound(name)(**dict((argument, VALUES[argument])
                                            for argument in arguments))
                except RuntimeError:
                    pass  # of the library, such as a send without an endpoint

    def test_an_unknown_name_is_refused(self):
        message = libtavrik.Message()
        self.assert_fails(TypeError, "remove() got an unexpected keyword argument 'part'",
                          message.remove, 0, part=0)
        self.assert_fails(TypeError, "split() got an unexpected keyword argument 'part'",
                          message.split, part=0)


if __name__ == '__main__':
    main()
