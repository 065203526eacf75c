"""A weather station that publishes, and a display that subscribes to temperatures. They are one
program for brevity. Usually they are two, with an endpoint such as ipc:///run/weather on one host
or tcp://192.168.1.7:5556 on two."""
from __future__ import print_function

import sys

from libtavrik import PublishSubscribeChannel, Role

ENDPOINT = 'inproc://weather'
ATTEMPTS = 100


def main():
    station = PublishSubscribeChannel('weather', Role.PUBLISHER)
    display = PublishSubscribeChannel('weather', Role.SUBSCRIBER)

    # Filters are the beginnings of subjects. Setting an endpoint connects.
    display.subscribe('temperature')
    station.setPublisherEndPoint(ENDPOINT)
    display.setPublisherEndPoint(ENDPOINT)

    # A station publishes its readings repeatedly: a publisher drops what has no subscriber yet. A
    # send or receive that fails is repeated in the next round.
    for _ in range(ATTEMPTS):
        try:
            station.sendparts('wind', [b'7', b'm/s'])
            station.sendparts('temperature/outside', [b'-3.5', b'C'])
            subject, parts, handle = display.receiveparts(100)
        except RuntimeError as failure:
            print(failure, file=sys.stderr)
            continue
        if parts is not None:
            print('%s: %s' % (subject, b' '.join(parts).decode('utf-8')))
            return 0
    return 1


if __name__ == '__main__':
    sys.exit(main())
