"""Signals that end a receive."""
import signal

from support import TestCase, main


class Signals(TestCase):
    def ended_by(self, number, name):
        """Returns the line that the program prints after the signal has ended its receive."""
        program = self.start_program(name)
        self.assertEqual('waiting', program.line())
        # A signal may arrive before the receive waits.
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

    def test_an_exception_of_a_handler_propagates_from_the_receive(self):
        self.assertEqual('raised by the handler', self.ended_by(signal.SIGUSR1, 'handler_raises'))

    def test_an_exception_of_a_handler_propagates_from_receives_that_are_called_from_c(self):
        self.assertEqual('raised by the handler',
                         self.ended_by(signal.SIGUSR1, 'handler_raises_out_of_c'))

    def test_a_channel_is_usable_after_signals(self):
        program = self.start_program('is_usable_after_signals')
        self.assertEqual(('nothing lost\n', 0), program.rest())


if __name__ == '__main__':
    main()
