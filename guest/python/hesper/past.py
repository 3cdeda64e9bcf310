"""What a subscription may have missed, and how it gets that from the guests."""

from __future__ import annotations

import math
import threading
from dataclasses import dataclass
from typing import Any, Callable, Dict, List, Optional, Sequence, Set

from hesper.call import Daemon, now
from hesper.errors import NoDaemon, StreamEnded
from hesper.publication import KINDS, Publication
from hesper.stop import Stop

# What was on its way through the daemon when it ended is older than its end.
_SLACK = 10.0
# VMs that the daemon couldn't ask are asked together, after those that it could ask had time to answer.
_GATHERING = 5.0
# Guests send two publications a second at most, and nobody tells the end of their past.
_QUIET = 60.0
_LONGEST_CALL = 900.0
_MOST_AT_ONCE = 1024
_MOST_VMS = 65536


@dataclass(frozen=True)
class Wanted:
    """Without VMs or topics: all. The past is in seconds."""

    kind: str
    vms: Optional[Sequence[str]]
    topics: Optional[Sequence[str]]
    past: int

    def spec(self, past: int, vms: Optional[Sequence[str]] = None) -> Dict[str, Any]:
        kind, member = KINDS[self.kind]
        spec: Dict[str, Any] = {"vm_id_type": kind}
        vms = self.vms if vms is None else vms
        if vms is not None:
            spec["vm_filter"] = [{member: vm} for vm in vms]
        if self.topics is not None:
            spec["topic_prefixes"] = list(self.topics)
        if past > 0:
            spec["past_seconds"] = past
        return spec


class Past:
    """Knows since when something may be missing, and asks VMs that the daemon could not ask.

    A daemon that has just started asks only VMs of which it has heard since. A VM that is heard live, and of which no
    history has come, is asked a little later, by a call of its own.
    """

    def __init__(
        self,
        daemon: Daemon,
        wanted: Wanted,
        stop: Stop,
        give: Callable[[Publication], None],
        fail: Callable[[BaseException], None],
    ) -> None:
        self._daemon = daemon
        self._wanted = wanted
        self._stop = stop
        self._give = give
        self._fail = fail
        self._lock = threading.Lock()
        self._started = now()
        self._begin = self._started - wanted.past
        self._interrupted = False
        self._asked = False
        # Of guests that answer.
        self._last_sign = self._started
        self._heard: Set[str] = set()
        self._waiting: Set[str] = set()
        self._asking = False
        self._thread: Optional[threading.Thread] = None

    def gap(self) -> float:
        """For how many seconds there may be something that the stream hasn't given."""
        return now() - max(self._begin, self._started)

    def seconds(self) -> int:
        """How much of the past an opening has to ask for."""
        return math.ceil(now() - self._begin) if self._interrupted else self._wanted.past

    def opened(self) -> None:
        with self._lock:
            self._asked = self.seconds() > 0
            self._last_sign = now()
            self._heard.clear()
            self._waiting.clear()

    def interrupted(self, alive_at: Optional[float]) -> None:
        """The stream has ended, and stood at that time; None if it didn't come about.

        What may not have come yet of the past that was asked for will be asked for once more.
        """
        with self._lock:
            self._interrupted = True
            if alive_at is None:
                return
            settled = not self._asking and alive_at - self._last_sign > _QUIET
            if settled or not self._asked:
                self._begin = max(self._begin, alive_at - _SLACK)

    def heard(self, publication: Publication) -> None:
        """Of each that came by the stream itself."""
        if not self._asked:
            return
        with self._lock:
            if publication.history:
                self._last_sign = now()
                self._waiting.discard(publication.vm)
            elif publication.vm not in self._heard and len(self._heard) < _MOST_VMS:
                self._waiting.add(publication.vm)
            if len(self._heard) < _MOST_VMS:
                self._heard.add(publication.vm)
            if self._waiting and not self._asking:
                self._asking = True
                self._thread = threading.Thread(target=self._run, name="hesper-past", daemon=True)
                self._thread.start()

    def join(self) -> None:
        """Requires: it was stopped, and heard() isn't called any more."""
        if self._thread is not None and self._thread is not threading.current_thread():
            self._thread.join()

    def _run(self) -> None:
        try:
            while self._goes_on():
                if self._stop.pause(_GATHERING):
                    return
                self._ask(self._batch())
        except Exception as error:
            self._fail(error)

    def _goes_on(self) -> bool:
        """Whether the thread is still needed; else the next VM that waits gets another one."""
        with self._lock:
            self._asking = bool(self._waiting)
            return self._asking

    def _batch(self) -> List[str]:
        with self._lock:
            vms = sorted(self._waiting)[:_MOST_AT_ONCE]
            self._waiting.difference_update(vms)
        return vms

    def _ask(self, vms: List[str]) -> None:
        if not vms:
            return
        try:
            with self._stop.call(self._daemon, self._wanted.kind) as call:
                call.open(self._wanted.spec(self.seconds(), vms))
                self._take(call.next)
        except (NoDaemon, StreamEnded):
            with self._lock:
                self._waiting.update(vms)

    def _take(self, get: Callable[[float], Optional[Publication]]) -> None:
        """Gives history until no more of it comes. What is live comes by the stream itself."""
        end = now() + _LONGEST_CALL
        until = min(end, now() + _QUIET)
        while True:
            publication = get(until)
            if publication is None:
                return
            if publication.history:
                until = min(end, now() + _QUIET)
                with self._lock:
                    self._last_sign = now()
                self._give(publication)
