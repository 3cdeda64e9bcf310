"""Keeps a subscription open, on threads of its own."""

from __future__ import annotations

import logging
import random
import threading
from collections import deque
from dataclasses import dataclass
from datetime import datetime, timedelta, timezone
from typing import Deque, Optional, Set, Union

from hesper.call import Daemon, now
from hesper.errors import NoDaemon, StreamEnded
from hesper.past import Past, Wanted
from hesper.publication import Publication
from hesper.stop import Stop

_log = logging.getLogger("hesper")

_FIRST_PAUSE = 0.25
_LONGEST_PAUSE = 30.0
# A stream that has stood for so long is no part of the trouble before it.
_STEADY = 10.0
_MOST_IDENTITIES = 131072
_MOST_WAITING = 256


@dataclass(frozen=True)
class Gap:
    """The stream stands again, and may have missed what came from begin to end; the guests are asked for it."""

    begin: datetime
    end: datetime
    reason: str


class Mailbox:
    """Between the threads: each publication once, and no more of them than the reader is expected to take soon."""

    def __init__(self) -> None:
        # Reentrant, as a handler of signals may close it.
        self._changed = threading.Condition(threading.RLock())
        self._items: Deque[Union[Publication, Gap]] = deque()
        self._error: Optional[BaseException] = None
        self._closed = False
        self._seen: Set[str] = set()
        self._order: Deque[str] = deque()

    def put(self, item: Union[Publication, Gap]) -> None:
        """Waits for room."""
        with self._changed:
            if isinstance(item, Publication) and not self._is_new(item.identity):
                return
            self._changed.wait_for(lambda: self._closed or len(self._items) < _MOST_WAITING)
            self._items.append(item)
            self._changed.notify_all()

    def _is_new(self, identity: str) -> bool:
        if identity in self._seen:
            return False
        if len(self._order) == _MOST_IDENTITIES:
            self._seen.discard(self._order.popleft())
        self._seen.add(identity)
        self._order.append(identity)
        return True

    def get(self) -> Union[Publication, Gap]:
        """Waits for the next one. Raises the error of the end once, and StopIteration when it is closed."""
        with self._changed:
            self._changed.wait_for(lambda: self._closed or self._items or self._error)
            if self._closed:
                raise StopIteration
            if self._items:
                item = self._items.popleft()
                self._changed.notify_all()
                return item
            self._closed = True
            assert self._error is not None
            raise self._error

    def end(self, error: BaseException) -> None:
        """Nothing comes after what is there."""
        with self._changed:
            self._error = self._error or error
            self._changed.notify_all()

    def close(self) -> None:
        with self._changed:
            self._closed = True
            self._items.clear()
            self._changed.notify_all()


class Follower:
    """Puts publications and gaps into its mailbox, until it is stopped or fails."""

    def __init__(self, daemon: Daemon, wanted: Wanted, follow: bool) -> None:
        self.mailbox = Mailbox()
        self.connected = False
        self.interruptions = 0
        self._daemon = daemon
        self._wanted = wanted
        self._follow = follow
        self._stop = Stop()
        self._past = Past(daemon, wanted, self._stop, self.mailbox.put, self._fail)
        # Why the stream ended, until it stands again.
        self._reason = ""
        self._thread = threading.Thread(target=self._run, name="hesper-subscribe", daemon=True)
        self._thread.start()

    def stop(self) -> None:
        # In this order: the errors of calls that are cut off by it are nobody's.
        self.mailbox.close()
        self._stop.set()

    def join(self) -> None:
        # In this order: it is this thread that starts those of the past.
        if self._thread is not threading.current_thread():
            self._thread.join()
        self._past.join()

    def _run(self) -> None:
        try:
            self._keep_open()
        except Exception as error:
            self._fail(error)

    def _fail(self, error: BaseException) -> None:
        # In this order, for the same reason.
        self.mailbox.end(error)
        self._stop.set()

    def _keep_open(self) -> None:
        pause = _FIRST_PAUSE
        while not self._stop.is_set():
            begin = now()
            try:
                self._read()
            except (NoDaemon, StreamEnded) as fault:
                if not self._follow or self._stop.is_set():
                    raise
                reason = str(fault)
                self._reason = self._reason or reason
            if now() - begin > _STEADY:
                pause = _FIRST_PAUSE
            wait = pause * random.uniform(0.5, 1.0)
            _log.log(logging.WARNING if pause == _FIRST_PAUSE else logging.DEBUG, "%s; trying again", reason)
            self._stop.pause(wait)
            pause = min(2 * pause, _LONGEST_PAUSE)

    def _read(self) -> None:
        """Gives what comes by one stream, until that fails."""
        with self._stop.call(self._daemon, self._wanted.kind) as call:
            try:
                call.open(self._wanted.spec(self._past.seconds()))
                self._opened()
                while True:
                    publication = call.next()
                    if publication is not None:
                        self._take(publication)
            finally:
                self._past.interrupted(call.alive_at if self.connected else None)
                self.connected = False
                self.interruptions += 1

    def _take(self, publication: Publication) -> None:
        if self._follow:
            self._past.heard(publication)
        self.mailbox.put(publication)

    def _opened(self) -> None:
        gap = self._past.gap()
        self._past.opened()
        self.connected = True
        if self.interruptions > 0:
            end = datetime.now(timezone.utc)
            self.mailbox.put(Gap(end - timedelta(seconds=gap), end, self._reason))
            self._reason = ""
