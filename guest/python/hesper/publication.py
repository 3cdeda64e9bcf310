"""One publication, as a subscriber has it."""

from __future__ import annotations

import base64
import hashlib
import json
import re
import struct
from dataclasses import dataclass
from datetime import datetime, timedelta, timezone
from typing import Any, Dict, Optional, Union

# On the wire: the kind, and the member that names a VM by it.
KINDS = {"mgr": ("MGR_VM_ID", "mgr_vm_id"), "bios": ("BIOS_UUID", "bios_uuid"), "vm": ("VM_UUID", "vm_uuid")}

_TIME = re.compile(
    r"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)(?:\.(\d+))?(?:Z|([+-])(\d\d):([0-5]\d))", re.ASCII | re.IGNORECASE
)


@dataclass(frozen=True)
class Publication:
    """All of it but vm and history is the guest's own word: whether it is true nobody has checked.

    create_time is aware, and the text as it came where that is no time. identity is the same for every copy of a
    publication, live or as history, and for no other one.
    """

    vm: str
    topic: str
    create_time: Union[datetime, str]
    token: str
    payload: bytes
    history: bool
    identity: str

    @property
    def text(self) -> Optional[str]:
        """The payload where it is UTF-8, None otherwise."""
        try:
            return self.payload.decode()
        except UnicodeDecodeError:
            return None

    def json(self) -> Any:
        """The payload's value. ValueError where it is no JSON in UTF-8."""
        try:
            return json.loads(self.payload.decode())
        except RecursionError:
            raise ValueError("the payload is nested too deep") from None


def read_publication(element: Dict[str, Any], kind: str) -> Publication:
    """ValueError if it isn't one."""
    vm, topic, created, token, payload = (
        _text(element, name) for name in (KINDS[kind][1], "topic", "create_time", "token", "payload")
    )
    history = element.get("history")
    if not isinstance(history, bool):
        raise ValueError("history is no boolean")
    content = base64.b64decode(payload, validate=True)
    identity = _identity(vm.encode(), topic.encode(), created.encode(), token.encode(), content)
    return Publication(vm, topic, read_time(created), token, content, history, identity)


def read_time(text: str) -> Union[datetime, str]:
    """RFC 3339, to the microsecond; other texts as they are."""
    found = _TIME.fullmatch(text)
    if not found:
        return text
    date, fraction, sign, hours, minutes = found.groups()
    offset = timedelta(hours=int(hours or 0), minutes=int(minutes or 0))
    try:
        zone = timezone(-offset if sign == "-" else offset)
        whole = datetime.fromisoformat(date)
        return whole.replace(microsecond=int((fraction or "")[:6].ljust(6, "0")), tzinfo=zone)
    except ValueError:
        return text


def _text(element: Dict[str, Any], name: str) -> str:
    value = element.get(name)
    if not isinstance(value, str):
        raise ValueError(f"{name} is no text")
    return value


def _identity(*parts: bytes) -> str:
    """As fleet/stream has it: each part with its length, so that no two lists of parts are the same bytes."""
    digest = hashlib.sha256()
    for part in parts:
        digest.update(struct.pack("=Q", len(part)))
        digest.update(part)
    return digest.hexdigest()[:32]
