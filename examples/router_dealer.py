"""A pool of workers that squares numbers, and a client that sends all requests before it receives
the replies. They are one program for brevity. Usually the client is another process, with an
endpoint such as ipc:///run/squares on one host or tcp://192.168.1.7:5557 on two. The workers'
endpoint is used only inside their process."""
from __future__ import print_function

import sys
import threading

from libtavrik import AsyncRouterDealerChannel, Role, freeMsgHandle

CLIENT_ENDPOINT = 'inproc://squares'
WORKER_ENDPOINT = 'inproc://squares-workers'
QUESTIONS = range(1, 7)


def new_worker():
    """The first worker of a name starts the proxy, which binds both endpoints."""
    worker = AsyncRouterDealerChannel('squares', Role.ASYNC_DEALER_WORKER)
    worker.setServerEndPoint(CLIENT_ENDPOINT)
    worker.setWorkerEndPoint(WORKER_ENDPOINT)
    worker.receive(1)  # a first receive of 1 ms only connects
    return worker


def work(worker, finished):
    """Replies until finished is set. A channel is used by one thread at a time."""
    while not finished.is_set():
        try:
            serve(worker)
        except (RuntimeError, ValueError) as failure:
            # Any client can send a part that is not a number, and a send or receive may fail.
            print(failure, file=sys.stderr)


def serve(worker):
    """Takes one request, if there is one, and replies to it."""
    subject, parts, handle = worker.receiveparts(100)
    if parts is None:
        return  # no message arrived in time
    try:
        worker.sendparts('square', [parts[0], str(int(parts[0]) ** 2)], handle)
    finally:
        freeMsgHandle(handle)  # the program owns it, also after a failure


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
        try:
            subject, answer = client.receive(1000)
            if answer is not None:
                squares[int(answer[0])] = int(answer[1])
        except (RuntimeError, ValueError) as failure:
            print(failure, file=sys.stderr)
    finished.set()
    for thread in threads:
        thread.join()
    print('squares: %s' % ' '.join(str(squares.get(number)) for number in QUESTIONS))
    return 0 if len(squares) == len(QUESTIONS) else 1


if __name__ == '__main__':
    sys.exit(main())
