"""Signals during a receive."""
import signal

from support import TestCase, main


class Signals(TestCase):
    def ended_by(self, number, name):
        """The line that a waiting program prints when the signal has ended its wait."""
        program = self.start_program(name)
        self.assertEqual('waiting', program.line())
        # The first may come before the wait has begun.
        while not program.has_line(50):
            program.popen.send_signal(number)
        line = program.line()
        self.assertEqual(('', 0), program.rest())
        return line

    def test_an_interrupt_ends_in_keyboard_interrupt(self):
        self.assertEqual('KeyboardInterrupt', self.ended_by(signal.SIGINT, 'interrupted'))

    def test_a_handled_signal_ends_a_receive_with_nothing(self):
        self.assertEqual('(None, None) after %d' % signal.SIGUSR1,
                         self.ended_by(signal.SIGUSR1, 'handled'))

    def test_what_a_handler_raises_comes_out_of_the_receive(self):
        self.assertEqual('raised by the handler', self.ended_by(signal.SIGUSR1, 'handler_raises'))

    def test_so_it_does_where_receives_are_called_from_c(self):
        self.assertEqual('raised by the handler',
                         self.ended_by(signal.SIGUSR1, 'handler_raises_out_of_c'))

    def test_a_channel_goes_on_after_signals(self):
        program = self.start_program('goes_on_after_signals')
        self.assertEqual(('nothing lost\n', 0), program.rest())


if __name__ == '__main__':
    main()
