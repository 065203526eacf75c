"""Which calls release the interpreter lock, and use from several threads. Needs the interposer."""
import select
import threading

from libtavrik import Message, RequestReplyChannel, Role, TavrikChannel
from common import PATIENCE
from support import TestCase, interposer, main


def wait_for_a_receive(begun):
    """Until more receives have begun than this number."""
    while interposer().receives_begun() == begun:
        select.select([], [], [], 0)  # lets the other threads run


class InterpreterLock(TestCase):
    def expect_lock(self, held, function, *arguments):
        function(*arguments)
        self.assertEqual(held, interposer().lock_was_held(), repr(function))

    def test_only_a_receive_releases_it(self):
        client, server = self.request_reply()
        channel = RequestReplyChannel('name', Role.REQ_CLIENT)
        for function, arguments in ((channel.setProperty, (0, 'inproc://x')),
                                    (channel.setServerEndPoint, ('inproc://x',)),
                                    (channel.getProperty, (0,)),
                                    (TavrikChannel, ('name', 0, 0)),
                                    (RequestReplyChannel, ('name', 0)),
                                    (client.send, ('s', Message(1)))):
            self.expect_lock(1, function, *arguments)
        self.expect_lock(0, server.receive, PATIENCE)
        self.expect_lock(1, server.sendparts, 'reply', [b'a'])
        self.expect_lock(0, client.receiveparts, PATIENCE)

    def test_deleting_a_channel_releases_it_only_if_that_may_wait(self):
        channel_linger = 4098

        def replace(client):
            client.__init__('another', Role.REQ_CLIENT)

        def delete(client):
            del client

        for held, linger in ((1, None), (0, '1')):
            for end in (replace, delete):
                clients = [RequestReplyChannel('client', Role.REQ_CLIENT)]
                if linger is not None:
                    clients[0].setProperty(channel_linger, linger)
                clients[0].setServerEndPoint('inproc://' + end.__name__)
                clients[0].sendparts('s', [])
                end(clients.pop())
                self.assertEqual(held, interposer().lock_was_held(), end.__name__)

    def test_another_thread_runs_while_a_receive_without_a_time_out_waits(self):
        for receive in ('receive', 'receiveparts'):
            client, server = self.request_reply()
            begun = interposer().receives_begun()

            def send():
                wait_for_a_receive(begun)
                client.sendparts('s', [b'a'])

            thread = threading.Thread(target=send)
            thread.start()
            self.assertEqual('s', getattr(server, receive)()[0])
            thread.join()


class Threads(TestCase):
    def test_threads_use_channels_of_their_own(self):
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
                worker.send('reply', message)

        threads = [threading.Thread(target=work, args=(worker,)) for worker in workers]
        for thread in threads:
            thread.start()
        for number in range(requests):
            client.sendparts('question', [str(number)])
        replies = [int(client.receiveparts(PATIENCE)[1][0]) for _ in range(requests)]
        for _ in threads:
            client.sendparts('end', [b''])
        for thread in threads:
            thread.join()
        self.assertEqual(list(range(requests)), sorted(replies))

    def test_init_may_be_called_again_during_a_receive_in_another_thread(self):
        client, server = self.request_reply()
        received = []
        thread = threading.Thread(target=lambda: received.append(server.receive(PATIENCE)))
        begun = interposer().receives_begun()
        thread.start()
        wait_for_a_receive(begun)
        server.__init__('another', Role.REP_SERVER)
        client.sendparts('for the first', [b'a'])
        thread.join()
        self.assertEqual('for the first', received[0][0])
        self.assertEqual('', server.getProperty(0))


if __name__ == '__main__':
    main()
