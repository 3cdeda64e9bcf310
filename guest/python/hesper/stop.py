"""How the threads of a subscription are told to end."""

from __future__ import annotations

import threading
from contextlib import contextmanager
from typing import Iterator, Set

from hesper.call import Call, Daemon


class Stop:
    """Once it is set, nothing that was begun through it waits any longer."""

    def __init__(self) -> None:
        self._event = threading.Event()
        # Reentrant, as a handler of signals may set it.
        self._lock = threading.RLock()
        self._calls: Set[Call] = set()

    def set(self) -> None:
        self._event.set()
        with self._lock:
            for call in self._calls:
                call.cancel()

    def is_set(self) -> bool:
        return self._event.is_set()

    def pause(self, seconds: float) -> bool:
        """Whether it was set meanwhile."""
        return self._event.wait(seconds)

    @contextmanager
    def call(self, daemon: Daemon, kind: str) -> Iterator[Call]:
        call = Call(daemon, kind)
        with self._lock:
            self._calls.add(call)
            if self.is_set():
                call.cancel()
        try:
            yield call
        finally:
            # Closed under the lock: a number that another file has got by then would be cancelled.
            with self._lock:
                self._calls.discard(call)
                call.close()
