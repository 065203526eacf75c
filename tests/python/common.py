"""Used by the suites and by the programs that they start."""
import itertools

PATIENCE = 20000  # milliseconds

# Every byte, a long part and an empty one. The peer in C++ sends the same.
SAMPLE = [bytes(bytearray(range(256))), b'\xab' * 100000, b'']

_names = itertools.count()


def unique_name():
    """For channels that share a proxy or an endpoint with no other test."""
    return 'test-%d' % next(_names)


def inproc_endpoint():
    return 'inproc://' + unique_name()
