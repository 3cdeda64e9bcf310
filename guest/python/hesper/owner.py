"""Whose the daemon's port is, as the kernel says it."""

from __future__ import annotations

import os
import socket
import struct
from typing import Iterator, List, NamedTuple, Optional, Set, Tuple

from hesper.errors import NoDaemon, NotTheDaemon

_ESTABLISHED, _RECEIVED, _LISTENING = "01", "03", "0A"
# The kernel's stand-in for users that it can't name in this namespace; they are anybody.
_OVERFLOW_USER = 65534


class _Entry(NamedTuple):
    local: Tuple[str, int]
    remote: Tuple[str, int]
    state: str
    user: int


def _written(address: bytes) -> str:
    """As in the kernel's tables: words of the machine's byte order."""
    return "".join("%08X" % word for word in struct.unpack(f"={len(address) // 4}I", address))


_MAPPED = b"\0" * 10 + b"\xff\xff"
_LOOPBACK = {_written(prefix + socket.inet_aton("127.0.0.1")) for prefix in (b"", _MAPPED)}
_ANY = {_written(bytes(4)), _written(bytes(16)), _written(_MAPPED + bytes(4))}


def check_owner(port: int, own_port: int) -> None:
    """Requires: a connection from own_port to port, both of 127.0.0.1.

    The listeners are looked at before the connection. Who has taken it and no longer listens is found in the entry of
    the connection; that of one nobody has taken yet may name root, but such a one ends with its listener.
    """
    try:
        listeners = [_listeners(table, port) for table in ("tcp", "tcp6")]
        connections = [_connection(table, port, own_port) for table in ("tcp", "tcp6")]
    except (OSError, ValueError, IndexError) as error:
        raise NotTheDaemon(f"the kernel doesn't tell whose port {port} is: {error}") from None
    for users, user in zip(listeners, connections):
        if user is None:
            continue
        if not users:
            break
        strangers = (users | {user}) - ({0, os.geteuid()} - {_OVERFLOW_USER})
        if strangers:
            raise NotTheDaemon(f"port {port} belongs to user {min(strangers)}, neither root nor the own user")
        return
    raise NoDaemon(f"who listened on port {port} is gone")


def _listeners(table: str, port: int) -> Set[int]:
    """The users of those that get the connections to the port: who listens on all addresses gets what is left."""
    found: List[_Entry] = [entry for entry in _entries(table, port) if entry.state == _LISTENING]
    for addresses in (_LOOPBACK, _ANY):
        users = {entry.user for entry in found if entry.local[0] in addresses}
        if users:
            return users
    return set()


def _connection(table: str, port: int, own_port: int) -> Optional[int]:
    """The user of the other end."""
    for entry in _entries(table, port):
        if entry.state in (_ESTABLISHED, _RECEIVED) and entry.remote[1] == own_port:
            if entry.local[0] in _LOOPBACK and entry.remote[0] in _LOOPBACK:
                return entry.user
    return None


def _entries(table: str, port: int) -> Iterator[_Entry]:
    path = f"/proc/thread-self/net/{table}"
    # Without IPv6 there is one table.
    if table == "tcp6" and not os.path.exists(path):
        return
    ending = f":{port:04X}"
    with open(path, encoding="ascii") as lines:
        next(lines, "")
        for line in lines:
            fields = line.split(None, 8)
            if fields[1].endswith(ending):
                yield _Entry(_address(fields[1]), _address(fields[2]), fields[3], int(fields[7]))


def _address(text: str) -> Tuple[str, int]:
    address, port = text.split(":")
    return address, int(port, 16)
