"""Which calls let other threads of Python run. Runs behind the interposer."""
import select
import sys
import threading

from libtavrik import Message, RequestReplyChannel, Role, TavrikChannel
from common import PATIENCE, inproc_endpoint
from support import TestCase, interposer, main


def turn():
    """Lets another thread have its turn."""
    select.select([], [], [], 0)


class Counting(threading.Thread):
    """Counts while it runs, and passes its turn on each time."""

    def __init__(self):
        threading.Thread.__init__(self)
        self.daemon = True
        self.count = 0
        self.ended = False
        self.start()

    def run(self):
        while not self.ended:
            self.count += 1
            turn()

    def end(self):
        self.ended = True
        self.join()


class InterpreterLock(TestCase):
    def setUp(self):
        # A thread keeps its turn until it gives it away.
        if hasattr(sys, 'setswitchinterval'):
            self.addCleanup(sys.setswitchinterval, sys.getswitchinterval())
            sys.setswitchinterval(1000)
        else:
            self.addCleanup(sys.setcheckinterval, sys.getcheckinterval())
            sys.setcheckinterval(10 ** 9)

    def counted_during(self, function, *arguments):
        thread = Counting()
        while thread.count == 0:
            turn()
        self.addCleanup(interposer().take_time, 0)
        interposer().take_time(50)
        before = thread.count
        function(*arguments)
        counted = thread.count - before
        interposer().take_time(0)
        thread.end()
        return counted

    def test_it_is_held_by_everything_but_receives(self):
        client = self.request_reply()[0]
        endpoint = inproc_endpoint()
        setter = RequestReplyChannel('setter', Role.REQ_CLIENT)
        for function, arguments in ((client.send, ('s', Message(1))),
                                    (setter.setProperty, (0, endpoint)),
                                    (setter.setServerEndPoint, (endpoint,)),
                                    (setter.getProperty, (0,)),
                                    (TavrikChannel, ('made', 0, 0)),
                                    (RequestReplyChannel, ('made', 0))):
            self.assertEqual(0, self.counted_during(function, *arguments), repr(function))
        client = self.request_reply()[0]
        self.assertEqual(0, self.counted_during(client.sendparts, 's', [b'a']))

    def test_another_thread_runs_while_one_waits(self):
        for receive in ('receive', 'receiveparts'):
            client, server = self.request_reply()

            def answer():
                client.sendparts('from the other thread', [b'a'])

            thread = threading.Thread(target=answer)
            thread.start()
            self.assertEqual('from the other thread', getattr(server, receive)(PATIENCE)[0])
            thread.join()

    def test_it_is_there_again_for_a_failure_of_a_receive(self):
        client = self.request_reply()[0]
        thread = Counting()
        for _ in range(1000):
            self.assert_not_executed(RuntimeError, client.receive, 0)
        thread.end()


class Threads(TestCase):
    def test_each_thread_with_channels_of_its_own(self):
        failures = []

        def exchange():
            try:
                client, server = self.request_reply()
                for number in range(500):
                    part = str(number).encode('ascii')
                    client.sendparts('s', [part])
                    assert server.receiveparts(PATIENCE) == ('s', [part], 0)
                    server.sendparts('r', [part])
                    assert client.receiveparts(PATIENCE) == ('r', [part], 0)
            except BaseException as failure:
                failures.append(failure)

        threads = [threading.Thread(target=exchange) for _ in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual([], failures)

    def test_clients_and_workers_in_threads(self):
        channels = self.router_dealer(workers=3)
        client, workers = channels[0], channels[1:]
        requests = 300

        def work(worker):
            while True:
                subject, message = worker.receive(PATIENCE)
                if subject == 'end':
                    break
                worker.send('answer', message)

        threads = [threading.Thread(target=work, args=(worker,)) for worker in workers]
        for thread in threads:
            thread.start()
        for number in range(requests):
            client.sendparts('question', [str(number)])
        answers = [int(client.receiveparts(PATIENCE)[1][0]) for _ in range(requests)]
        for _ in threads:
            client.sendparts('end', [b''])
        for thread in threads:
            thread.join()
        self.assertEqual(list(range(requests)), sorted(answers))

    def test_init_again_during_a_receive_of_another_thread(self):
        client, server = self.request_reply()
        received = []
        thread = threading.Thread(target=lambda: received.append(server.receive(PATIENCE)))
        begun = interposer().receives_begun()
        thread.start()
        while interposer().receives_begun() == begun:
            turn()
        server.__init__('another', Role.REP_SERVER)
        client.sendparts('for the first', [b'a'])
        thread.join()
        self.assertEqual('for the first', received[0][0])
        self.assertEqual('', server.getProperty(0))


if __name__ == '__main__':
    main()
