"""One call of the daemon's subscribe operation, on a connection of its own."""

from __future__ import annotations

import json
import re
import socket
import time
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Dict, NoReturn, Optional

from hesper.credentials import Credentials
from hesper.errors import BadAnswer, BadSubscription, Error, NoDaemon, NotAuthenticated, NotAuthorized, StreamEnded
from hesper.owner import check_owner
from hesper.publication import Publication, read_publication

# At run time only where it is used: programs of guests would wait for it longer than for all the rest.
if TYPE_CHECKING:
    import http.client

_METHOD = "com.tessaly.norn.hesper.guest_data.subscribe"
_HEADERS = {"Content-Type": "application/json", "Accept": "application/vnd.tessaly.mirel.clean.stream.json"}
_ERRORS = "com.tessaly.mirel.std.errors."
_REFUSALS = {"unauthenticated": NotAuthenticated, "unauthorized": NotAuthorized, "internal_server_error": StreamEnded}

# Six bytes for each of the longest publication's, and the rest of the element.
_LARGEST_FRAME = 1 << 20
_SIZE = re.compile(rb"([0-9a-f]{1,8})\r\n")
_BEGUN_SIZE = re.compile(rb"[0-9a-f]{0,8}\r?")
_PART = 65536


def now() -> float:
    """Seconds of a clock that nobody sets and that goes on while the machine sleeps."""
    return time.clock_gettime(time.CLOCK_BOOTTIME)


@dataclass(frozen=True)
class Daemon:
    """Where it is and who calls it. The timeout, in seconds, is for everything that has begun."""

    port: int
    credentials: Credentials
    timeout: float


class Call:
    """For one thread; cancel() alone may come from any. Raises an Error."""

    def __init__(self, daemon: Daemon, kind: str) -> None:
        import http.client

        self._daemon = daemon
        self._kind = kind
        self._channel = _Channel()
        self._connection = http.client.HTTPConnection("127.0.0.1", daemon.port)
        self._response: Optional[http.client.HTTPResponse] = None
        self._bytes = bytearray()
        self._cancelled = False

    @property
    def alive_at(self) -> float:
        """When the daemon was last there for certain: bytes that had waited for their reader are no sign of it."""
        return self._channel.alive_at

    def open(self, spec: Dict[str, Any]) -> None:
        """Returns when the request was sent; whether the daemon takes it shows in what next() does."""
        text = {"jsonrpc": "2.0", "id": 1, "method": _METHOD, "params": {"input": {"spec": spec}}}
        headers = dict(_HEADERS)
        authorization = self._daemon.credentials.authorization()
        if authorization is not None:
            headers["Authorization"] = authorization
        self._connect()
        try:
            self._connection.request("POST", "/api", json.dumps(text).encode(), headers)
        except OSError as error:
            raise StreamEnded(f"the daemon doesn't take the request: {error}") from None

    def _connect(self) -> None:
        try:
            self._channel.settimeout(self._daemon.timeout)
            self._channel.connect(("127.0.0.1", self._daemon.port))
            if self._cancelled:
                raise StreamEnded("the subscription was closed")
            own_port = self._channel.getsockname()[1]
        except OSError as error:
            raise NoDaemon(f"no daemon on port {self._daemon.port}: {error}") from None
        check_owner(self._daemon.port, own_port)
        self._channel.alive_at = now()
        self._connection.sock = self._channel

    def next(self, until: Optional[float] = None) -> Optional[Publication]:
        """Waits for the next one; None when the moment has come."""
        answer = self._next_answer(until)
        if answer is None:
            return None
        if "error" in answer:
            _refuse(answer["error"])
        try:
            return read_publication(answer["result"], self._kind)
        except (ValueError, KeyError, AttributeError) as error:
            raise BadAnswer(f"an element of the stream is no publication: {printable(error)}") from None

    def _next_answer(self, until: Optional[float]) -> Optional[Dict[str, Any]]:
        text = self._next_text(until)
        if text is None:
            return None
        try:
            answer = json.loads(text.decode())
        except (ValueError, RecursionError):
            answer = None
        if not isinstance(answer, dict):
            raise BadAnswer("a frame of the stream has no JSON object")
        return answer

    def _next_text(self, until: Optional[float]) -> Optional[bytes]:
        """The next frame's text. What has come of a frame sets a limit to the time that the rest may take."""
        deadline = None
        while True:
            text = self._take_frame()
            if text is not None:
                return text
            if self._bytes and deadline is None:
                deadline = now() + self._daemon.timeout
            self._channel.deadline = min((each for each in (deadline, until) if each is not None), default=None)
            try:
                self._bytes += self._read()
            except socket.timeout:
                if deadline is None or (until is not None and until < deadline):
                    return None
                raise StreamEnded("the daemon has stopped within an element") from None

    def _take_frame(self) -> Optional[bytes]:
        found = _SIZE.match(self._bytes)
        if not found:
            if not _BEGUN_SIZE.fullmatch(self._bytes):
                raise BadAnswer("the answer is no stream of frames")
            return None
        begin, end = found.end(), found.end() + int(found[1], 16)
        if end - begin > _LARGEST_FRAME:
            raise BadAnswer(f"a frame of the stream has {end - begin} bytes")
        if len(self._bytes) < end + 2:
            return None
        if self._bytes[end : end + 2] != b"\r\n":
            raise BadAnswer("the answer is no stream of frames")
        text = bytes(self._bytes[begin:end])
        del self._bytes[: end + 2]
        return text

    def _read(self) -> bytes:
        """What has come of the body, at least a byte. The head comes with it, and not before."""
        import http.client

        self._channel.allowance = _LARGEST_FRAME
        try:
            if self._response is None:
                self._response = self._connection.getresponse()
                if self._response.status != 200:
                    raise BadAnswer(f"the answer's status is {self._response.status}")
            part = self._response.read1(_PART)
        except socket.timeout:
            raise
        except (OSError, http.client.HTTPException, ValueError) as error:
            if isinstance(error, OSError) or self._channel.ended:
                raise StreamEnded("the connection to the daemon has ended") from None
            raise BadAnswer("the answer is no HTTP") from None
        if not part:
            raise StreamEnded("the daemon has ended the stream")
        return part

    def cancel(self) -> None:
        """What waits in another thread ends with an Error, and so does what is called later."""
        self._cancelled = True
        try:
            self._channel.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass

    def close(self) -> None:
        if self._response is not None:
            self._response.close()
        self._connection.close()
        self._channel.close()


class _Channel(socket.socket):
    """A socket whose reads have one common end, in time and in bytes, whoever calls them."""

    def __init__(self) -> None:
        super().__init__(socket.AF_INET, socket.SOCK_STREAM)
        self.deadline: Optional[float] = None
        self.allowance = 0
        self.alive_at = now()
        self.ended = False

    def recv_into(self, buffer: Any, nbytes: int = 0, flags: int = 0) -> int:
        begin = now()
        self.settimeout(None if self.deadline is None else max(self.deadline - begin, 0.001))
        count = super().recv_into(buffer, nbytes, flags)
        end = now()
        if end - begin > 0.001:
            self.alive_at = end
        self.ended = count == 0
        self.allowance -= count
        if self.allowance < 0:
            raise BadAnswer("the answer has no end")
        return count


def _refuse(error: Any) -> NoReturn:
    """Raises what the daemon's error stands for."""
    message = error.get("message") if isinstance(error, dict) else None
    if not isinstance(message, str):
        raise BadAnswer("an error of the daemon has no message")
    name, _, reason = message.partition(": ")
    name = name[len(_ERRORS) :] if name.startswith(_ERRORS) else name
    kind = _REFUSALS.get(name, BadSubscription)
    raise kind(printable(f"{name}: {reason}" if reason else name))


def printable(text: object) -> str:
    """Without what a terminal would obey, and not long."""
    return "".join(each if each.isprintable() else "\N{REPLACEMENT CHARACTER}" for each in str(text)[:500])
