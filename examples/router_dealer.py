"""A pool of workers that squares numbers, and a client that asks without waiting for each answer, in
one program for brevity. In life the client is another process, with an endpoint such as
ipc:///run/squares on one host or tcp://192.168.1.7:5557 on two; the workers' endpoint stays inside
theirs."""
from __future__ import print_function

import sys
import threading

from libtavrik import AsyncRouterDealerChannel, Role, freeMsgHandle

CLIENT_ENDPOINT = 'inproc://squares'
WORKER_ENDPOINT = 'inproc://squares-workers'
QUESTIONS = range(1, 7)


def new_worker():
    """The first one of a name starts the proxy, which binds both endpoints."""
    worker = AsyncRouterDealerChannel('squares', Role.ASYNC_DEALER_WORKER)
    worker.setServerEndPoint(CLIENT_ENDPOINT)
    worker.setWorkerEndPoint(WORKER_ENDPOINT)
    worker.receive(1)  # a first receive of 1 ms only connects
    return worker


def work(worker, finished):
    """Answers until there is nothing more to do. A channel is used by one thread at a time."""
    while not finished.is_set():
        subject, parts, handle = worker.receiveparts(100)
        if parts is None:
            continue  # nothing came in time
        try:
            worker.sendparts('square', [parts[0], str(int(parts[0]) ** 2)], handle)
        finally:
            freeMsgHandle(handle)  # it is ours, whatever happens


def main():
    finished = threading.Event()
    threads = [threading.Thread(target=work, args=(new_worker(), finished)) for _ in range(2)]
    for thread in threads:
        thread.start()

    client = AsyncRouterDealerChannel('squares', Role.ASYNC_DEALER_CLIENT)
    client.setServerEndPoint(CLIENT_ENDPOINT)
    for number in QUESTIONS:
        client.sendparts('question', [str(number)])
    squares = {}
    for _ in QUESTIONS:
        subject, answer = client.receive(1000)
        if answer is not None:
            squares[int(answer[0])] = int(answer[1])
    finished.set()
    for thread in threads:
        thread.join()
    print('squares: %s' % ' '.join(str(squares.get(number)) for number in QUESTIONS))
    return 0 if len(squares) == len(QUESTIONS) else 1


if __name__ == '__main__':
    sys.exit(main())
