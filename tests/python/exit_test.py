"""Interpreters that end while the module is in use."""
from support import TestCase, main

# The other threads are at an arbitrary point when the program ends, so each runs several times.
RUNS = 10


class Exit(TestCase):
    def expect_clean(self, name, runs=RUNS):
        for _ in range(runs):
            self.assertEqual(('end\n', 0), self.start_program(name).rest())

    def test_after_import_alone(self):
        self.expect_clean('ends_after_import_alone')

    def test_with_channels_alive(self):
        self.expect_clean('ends_with_channels_alive')

    def test_with_a_channel_in_a_cycle(self):
        self.expect_clean('ends_with_a_channel_in_a_cycle')

    def test_with_a_thread_that_waits(self):
        self.expect_clean('ends_with_a_thread_that_waits')

    def test_with_a_thread_that_is_busy(self):
        # Python itself does not stop a daemon thread safely at every point.
        self.expect_clean('ends_with_a_thread_that_is_busy', runs=3)

    def test_with_a_proxy(self):
        self.expect_clean('ends_with_a_proxy')

    def test_with_an_exception(self):
        printed, status = self.start_program('ends_with_an_exception').rest()
        self.assertEqual(1, status)
        self.assertTrue(printed.endswith('RuntimeError: Invalid property queriedtavrik:-14\n'),
                        printed)


if __name__ == '__main__':
    main()
