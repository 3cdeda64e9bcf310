"""Subscribes to what the VMs of this host publish."""

from __future__ import annotations

import logging
import math
import os
from types import TracebackType
from typing import Callable, Iterable, Iterator, List, Optional, Type

from hesper.call import Daemon
from hesper.credentials import Credentials, Path
from hesper.errors import BadSubscription
from hesper.follower import Follower, Gap
from hesper.past import Wanted
from hesper.publication import KINDS, Publication

_log = logging.getLogger("hesper")

_LONGEST_PAST = 2**53


class Subscription(Iterator[Publication]):
    """Gives publications as they come, each of them once, and raises an Error when it can't go on.

    Threads of its own keep the stream open; close(), which any thread may call, or leaving a with statement ends them
    and the iteration. Iterating takes one thread at a time.
    """

    def __init__(self, daemon: Daemon, wanted: Wanted, follow: bool, on_gap: Optional[Callable[[Gap], None]]) -> None:
        self._on_gap = on_gap
        self._follower = Follower(daemon, wanted, follow)

    @property
    def connected(self) -> bool:
        """Whether the daemon has the request. It says nothing of its own before there is a publication."""
        return self._follower.connected

    @property
    def interruptions(self) -> int:
        """How often the stream has ended, or could not be opened."""
        return self._follower.interruptions

    def __next__(self) -> Publication:
        while True:
            try:
                item = self._follower.mailbox.get()
            except Exception:
                self.close()
                raise
            if isinstance(item, Publication):
                return item
            if self._on_gap is not None:
                self._on_gap(item)
            else:
                _log.warning("the stream stands again after %s s", math.ceil((item.end - item.begin).total_seconds()))

    def close(self) -> None:
        """No thread of it is left when this returns, and nothing more is given."""
        self._follower.stop()
        self._follower.join()

    def __enter__(self) -> Subscription:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def __del__(self) -> None:
        # It has no follower when that could not be made.
        follower = getattr(self, "_follower", None)
        if follower is not None:
            follower.stop()


def subscribe(
    topics: Optional[Iterable[str]] = None,
    *,
    vms: Optional[Iterable[str]] = None,
    vm_id_type: str = "mgr",
    past: float = 0,
    port: int = 9999,
    token: Optional[str] = None,
    token_file: Optional[Path] = None,
    user: Optional[str] = None,
    password_file: Optional[Path] = None,
    follow: bool = True,
    on_gap: Optional[Callable[[Gap], None]] = None,
    timeout: float = 10.0,
) -> Subscription:
    """Subscribes to topics and all below them, of the VMs named by their vm_id_type ("mgr", "bios" or "vm").

    None stands for all topics or VMs, an empty list for none. What the VMs published in the past seconds comes as well,
    as far as they keep it. The caller is a token or a file with one (if nothing is given, the file is that which
    HESPER_TOKEN_FILE names), or a user with the file of a password. With follow, the stream is opened anew whenever it
    ends, and what was published in between is asked of the VMs; on_gap is then called in the iteration, and
    without it a warning is logged. The timeout, in seconds, is for the daemon to take the connection and the request,
    and to end what it has begun to send.

    Raises BadSubscription for arguments that can't be; all other errors are raised by the iteration.
    """
    if vm_id_type not in KINDS:
        raise BadSubscription("vm_id_type is none of mgr, bios and vm")
    if not 1 <= port <= 65535:
        raise BadSubscription("there is no such port")
    if not 0 <= past < _LONGEST_PAST or not timeout > 0:
        raise BadSubscription("past and timeout are numbers of seconds")
    if token is None and token_file is None and user is None:
        token_file = os.environ.get("HESPER_TOKEN_FILE") or None
    daemon = Daemon(port, Credentials(token, token_file, user, password_file), timeout)
    wanted = Wanted(vm_id_type, _texts(vms, "vms"), _shortest(_texts(topics, "topics")), math.ceil(past))
    return Subscription(daemon, wanted, follow, on_gap)


def _texts(texts: Optional[Iterable[str]], name: str) -> Optional[List[str]]:
    if texts is None:
        return None
    # One text would be taken for the list of its characters.
    taken = [] if isinstance(texts, (str, bytes)) else list(texts)
    if isinstance(texts, (str, bytes)) or not all(isinstance(text, str) for text in taken):
        raise BadSubscription(f"{name} is no list of texts")
    return taken


def _shortest(topics: Optional[List[str]]) -> Optional[List[str]]:
    """Without those that another one covers: the daemon would find less by both than by the shorter one."""
    if topics is None:
        return None
    return [topic for topic in topics if not any(topic.startswith(other + ".") for other in topics)]
