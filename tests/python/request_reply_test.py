import unittest

import libtavrik
from libtavrik import RequestReplyChannel, Role


class RequestReply(unittest.TestCase):
    def test_a_request_is_answered(self):
        server = RequestReplyChannel('thermostat', Role.REP_SERVER)
        client = RequestReplyChannel('thermostat', Role.REQ_CLIENT)
        server.setServerEndPoint('inproc://thermostat')
        client.setServerEndPoint('inproc://thermostat')
        self.assertEqual(1, client.sendparts('temperature', ['living room']))
        self.assertEqual(('temperature', [b'living room'], 0), server.receiveparts(5000))
        self.assertEqual(2, server.sendparts('reading', [b'21.5', b'\0C']))
        self.assertEqual(('reading', [b'21.5', b'\0C'], 0), client.receiveparts(5000))


if __name__ == '__main__':
    unittest.main()
