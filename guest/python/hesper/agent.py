"""Hands data to the agent of the VM, which keeps it and publishes it on the VM's host."""

from __future__ import annotations

import base64
import json
import os
import secrets
import socket
import time
from datetime import datetime
from types import TracebackType
from typing import Any, Dict, Optional, Type, Union

from hesper.errors import BadAnswer, Error

Payload = Union[str, bytes, bytearray, memoryview]

_SOCKET = "/run/hesper/guest.sock"
_LARGEST_TEXT = 69608
_LONGEST_ANSWER = 4096


class NoAgent(Error):
    """Nobody listens on the agent's socket."""


class NoAnswer(Error):
    """None came in time: the item may have been kept or not."""


class Refused(Error):
    """The agent doesn't take the item. The text says why, and may have characters that a stranger has chosen."""

    # In the agent's words; those that only a newer agent knows have no class of their own.
    reason: str = ""


class BadRequest(Refused):
    """It is no item to the agent, as with a wrong create_time, or a text is no Unicode."""

    reason = "request"


class WrongTopic(Refused):
    """No such topic can be."""

    reason = "topic"


class NotPermitted(Refused):
    """The process's user may not publish under the topic."""

    reason = "permission"


class TooLarge(Refused):
    """The publication's text would be above 69608 bytes."""

    reason = "size"


class QueueFull(Refused):
    """Too much waits to be sent."""

    reason = "full"


class TooFast(Refused):
    """Too much was handed over in too little time."""

    reason = "rate"


_REFUSALS = {kind.reason: kind for kind in (BadRequest, WrongTopic, NotPermitted, TooLarge, QueueFull, TooFast)}


class Agent:
    """One socket for many items. For one thread at a time; it finds an agent that was started anew.

    The path of the agent's socket is the argument, or HESPER_GUEST_SOCKET, or /run/hesper/guest.sock.
    """

    def __init__(self, socket_path: Optional[str] = None) -> None:
        self._path = socket_path or os.environ.get("HESPER_GUEST_SOCKET") or _SOCKET
        self._socket: Optional[socket.socket] = None

    def __enter__(self) -> Agent:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def close(self) -> None:
        """Gives the socket back; the next item opens another one."""
        if self._socket is not None:
            self._socket.close()
            self._socket = None

    def emit(
        self,
        topic: str,
        payload: Payload,
        *,
        latest: bool = False,
        token: str = "",
        category: str = "data",
        create_time: Union[datetime, str, None] = None,
        timeout: Optional[float] = 5.0,
    ) -> int:
        """Hands over one item, waits until the agent has it on disk, and gives its sequence number.

        A payload that is a str travels as UTF-8. With latest, a newer item of the topic takes the place of one
        that waits to be sent. The create_time is RFC 3339 or a datetime (a naive one is local time); the present if
        there is none. The timeout is in seconds; None waits without limit. Raises an Error.
        """
        item: Dict[str, str] = {"topic": topic, "token": token, "category": category}
        if latest:
            item["class"] = "latest"
        if create_time is not None:
            item["createTime"] = create_time if isinstance(create_time, str) else create_time.astimezone().isoformat()
        text = _datagram(item, payload)
        try:
            outcome = self._ask(text, _Deadline(timeout))
        except BaseException:
            # What may still come for this item is not to be taken for the next one's.
            self.close()
            raise
        if isinstance(outcome, Refused):
            raise outcome
        return outcome

    def _ask(self, text: bytes, deadline: _Deadline) -> Union[int, Refused]:
        try:
            channel = self._send(text, deadline)
            channel.settimeout(deadline.left())
            answer = channel.recv(_LONGEST_ANSWER + 1)
        except (socket.timeout, BlockingIOError):
            raise NoAnswer("no answer came in time") from None
        return _read(answer)

    def _send(self, text: bytes, deadline: _Deadline) -> socket.socket:
        if self._socket is not None:
            try:
                return _send(self._socket, text, deadline)
            except ConnectionRefusedError:
                self.close()
        try:
            self._socket = _connect(self._path)
            return _send(self._socket, text, deadline)
        except ConnectionRefusedError as error:
            raise NoAgent(f"{self._path}: {error}") from error


class _Deadline:
    def __init__(self, timeout: Optional[float]) -> None:
        self._moment = None if timeout is None else time.monotonic() + timeout

    def left(self) -> Optional[float]:
        return None if self._moment is None else max(self._moment - time.monotonic(), 0.0)


def emit(
    topic: str,
    payload: Payload,
    *,
    latest: bool = False,
    token: str = "",
    category: str = "data",
    create_time: Union[datetime, str, None] = None,
    timeout: Optional[float] = 5.0,
    socket_path: Optional[str] = None,
) -> int:
    """Agent.emit for a single item."""
    with Agent(socket_path) as agent:
        return agent.emit(
            topic,
            payload,
            latest=latest,
            token=token,
            category=category,
            create_time=create_time,
            timeout=timeout,
        )


def _connect(path: str) -> socket.socket:
    """A socket that the agent alone can answer, at an address that no other one has had."""
    opened = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    try:
        # In this order: before it is connected, whoever finds its address could send to it.
        opened.connect(path)
        opened.bind("\0hesper." + secrets.token_hex(8))
    except BaseException as error:
        opened.close()
        if isinstance(error, (OSError, ValueError)):
            raise NoAgent(f"{path}: {error}") from error
        raise
    return opened


def _send(channel: socket.socket, text: bytes, deadline: _Deadline) -> socket.socket:
    channel.settimeout(deadline.left())
    channel.send(text)
    return channel


def _datagram(item: Dict[str, str], payload: Payload) -> bytes:
    try:
        content = payload.encode() if isinstance(payload, str) else payload
        # What is far too large isn't even copied.
        if memoryview(content).nbytes > _LARGEST_TEXT:
            raise _too_large()
        item["base64"] = base64.b64encode(content).decode()
        text = json.dumps(item, ensure_ascii=False, separators=(",", ":")).encode()
    except UnicodeEncodeError as error:
        raise BadRequest("a text of the item is no Unicode") from error
    # A publication's text has all that the datagram has.
    if len(text) > _LARGEST_TEXT:
        raise _too_large()
    return text


def _too_large() -> Refused:
    return TooLarge(f"the publication's text would be above {_LARGEST_TEXT} bytes")


def _read(text: bytes) -> Union[int, Refused]:
    """The sequence number, or why there is none."""
    answer = _parse(text) if len(text) <= _LONGEST_ANSWER else {}
    status, sequence, reason = (answer.get(name) for name in ("status", "sequence", "error"))
    if status == "kept" and type(sequence) is int and 0 <= sequence < 2**64:
        return sequence
    if status == "refused" and isinstance(reason, str) and reason:
        refused = _REFUSALS.get(reason, Refused)(answer.get("diagnosis", ""))
        refused.reason = reason
        return refused
    raise BadAnswer("what the agent sent is no answer")


def _parse(text: bytes) -> Dict[str, Any]:
    try:
        answer = json.loads(text.decode())
    except (ValueError, RecursionError):
        return {}
    return answer if isinstance(answer, dict) else {}
