"""A thermostat that replies, and a client that asks. They are one program for brevity. Usually they
are two, with an endpoint such as ipc:///run/thermostat on one host or tcp://192.168.1.7:5555 on
two."""
from __future__ import print_function

import sys

from libtavrik import RequestReplyChannel, Role

ENDPOINT = 'inproc://thermostat'


def main():
    server = RequestReplyChannel('thermostat', Role.REP_SERVER)
    client = RequestReplyChannel('thermostat', Role.REQ_CLIENT)
    server.setServerEndPoint(ENDPOINT)
    client.setServerEndPoint(ENDPOINT)

    # The client sends a request: a subject and any number of parts.
    client.sendparts('temperature', [b'living room'])

    # The server waits for a request and replies to it.
    subject, request = server.receive(1000)
    if request is None:
        return 1
    print('asked for the %s of the %s' % (subject, request[0].decode('utf-8')))
    server.sendparts('reading', [b'21.5', b'C'])

    # The client waits at most a second. None means that no message arrived.
    subject, answer = client.receive(1000)
    if answer is None:
        return 1
    print('%s: %s' % (subject, answer[0].decode('utf-8')))
    return 0


if __name__ == '__main__':
    sys.exit(main())
