"""Receives readings of this host's memory and compares each with a reading of its own.

host_subscriber.py ENDPOINT

Exits non-zero if a reading is wrong, lost, doubled or does not match the filter."""
from __future__ import print_function

import sys

from libtavrik import PublishSubscribeChannel, Role

PUB_SUB_SET_SUB_RCVHWM = 10  # has a number in Python, but no name
PATIENCE = 5000  # milliseconds
READINGS = 40


def total_memory():
    with open('/proc/meminfo') as meminfo:
        for line in meminfo:
            if line.startswith('MemTotal:'):
                return int(line.split()[1])


def require(holds, what):
    if not holds:
        sys.exit('subscriber      Python: %s' % what)


def main(endpoint):
    channel = PublishSubscribeChannel('host news', Role.SUBSCRIBER)
    # The default drops messages when the subscriber is more than 10 behind.
    channel.setProperty(PUB_SUB_SET_SUB_RCVHWM, '1000')
    channel.subscribe('memory')
    channel.setPublisherEndPoint(endpoint)

    total = total_memory()
    last = None
    for _ in range(READINGS):
        subject, reading = channel.receive(PATIENCE)
        require(reading is not None, 'no reading')
        require(subject == 'memory', '%s was not asked for' % subject)
        count, published, available = [int(part) for part in reading]
        require(last is None or count == last + 1, 'a reading of memory is lost or doubled')
        require(published == total, "the memory's size is wrong")
        require(available <= total, 'the available memory is wrong')
        last = count
    print('subscriber      Python %d.%d: %d readings, none lost, the last memory %d %d' %
          (sys.version_info[0], sys.version_info[1], READINGS, published, available))


if __name__ == '__main__':
    main(sys.argv[1])
