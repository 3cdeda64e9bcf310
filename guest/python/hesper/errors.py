"""The errors that both sides of the package share, and those of subscribers."""

from __future__ import annotations


class Error(Exception):
    """The base of all errors of this package."""


class BadAnswer(Error):
    """What came is no answer. Of an item that was handed over: it may have been kept or not."""


class NoDaemon(Error):
    """Nobody listens on the daemon's port, or nobody takes the connection."""


class NotTheDaemon(Error):
    """Whoever listens on the port is neither root nor the own user, or the kernel doesn't tell: nothing was sent."""


class NotAuthenticated(Error):
    """The daemon wants credentials, or has refused these."""


class NotAuthorized(Error):
    """The daemon knows the caller, who lacks the entitlement to read guest data."""


class BadSubscription(Error):
    """The arguments can't be taken, or the daemon has refused them."""


class StreamEnded(Error):
    """The daemon has ended the stream, or is gone."""
