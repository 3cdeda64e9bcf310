"""What the subscriber's tests share."""

import os
import threading
import time
import unittest

import hesper

PATIENCE = 20.0
PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "python.md")


def eventually(holds):
    """Waits for what another thread or process brings about."""
    end = time.monotonic() + PATIENCE
    while not holds():
        if time.monotonic() > end:
            raise AssertionError("did not happen in time")
        time.sleep(0.01)


class Reader(threading.Thread):
    """Takes all that a subscription gives, and the error of its end."""

    def __init__(self, subscription):
        super().__init__(daemon=True)
        self.subscription = subscription
        self.got = []
        self.error = None
        self.start()

    def run(self):
        try:
            for publication in self.subscription:
                self.got.append(publication)
        except hesper.Error as error:
            self.error = error

    def texts(self):
        return [publication.text for publication in self.got]

    def wait_for(self, texts):
        eventually(lambda: set(texts) <= set(self.texts()) or self.error)
        if self.error:
            raise self.error


class SubscriberCase(unittest.TestCase):
    """Every test leaves as many threads as it found."""

    def setUp(self):
        threads = set(threading.enumerate())
        self.addCleanup(lambda: self.assertEqual(set(threading.enumerate()) - threads, set()))

    def read(self, **arguments):
        reader = Reader(hesper.subscribe(**arguments))
        self.addCleanup(reader.join, PATIENCE)
        self.addCleanup(reader.subscription.close)
        return reader

    def error_of(self, **arguments):
        """That of a subscription that gives nothing."""
        with hesper.subscribe(**arguments) as subscription:
            with self.assertRaises(hesper.Error) as caught:
                next(subscription)
            # It is raised once.
            self.assertEqual(list(subscription), [])
        return caught.exception
