"""Who calls the daemon."""

from __future__ import annotations

import base64
import os
import re
from typing import Optional, Union

from hesper.errors import BadSubscription

Path = Union[str, "os.PathLike[str]"]

# What the head of a request can carry of it; the library for HTTP would show a token of other characters.
_TOKEN = re.compile(r"[\x21-\x7e]{1,8192}")
_MOST_SECRET = 8192


class Credentials:
    """A token, the name of a file with one, a user with a password's file, or nothing.

    Files are read for each call, as tokens are renewed. What is secret is in no text that this makes.
    """

    def __init__(
        self,
        token: Optional[str],
        token_file: Optional[Path],
        user: Optional[str],
        password_file: Optional[Path],
    ) -> None:
        if (user is None) != (password_file is None):
            raise BadSubscription("user and password_file belong together")
        if sum(each is not None for each in (token, token_file, user)) > 1:
            raise BadSubscription("more than one of token, token_file and user is given")
        if user is not None and (":" in user or not user.isprintable()):
            raise BadSubscription("no user has such a name")
        self._token = None if token is None else _checked(token, "token")
        self._token_file = token_file
        self._user = user
        self._password_file = password_file

    def authorization(self) -> Optional[str]:
        """The header's value."""
        if self._token is not None:
            return "Bearer " + self._token
        if self._token_file is not None:
            return "Bearer " + _checked(_first_line(self._token_file).strip(), os.fspath(self._token_file))
        if self._user is None or self._password_file is None:
            return None
        pair = f"{self._user}:{_first_line(self._password_file)}"
        return "Basic " + base64.b64encode(pair.encode()).decode()


def _checked(token: str, place: str) -> str:
    if not _TOKEN.fullmatch(token):
        raise BadSubscription(f"{place}: this is no token")
    return token


def _first_line(path: Path) -> str:
    try:
        with open(path, "rb") as file:
            line = file.readline(_MOST_SECRET + 2).rstrip(b"\r\n")
    except (OSError, ValueError) as error:
        reason = error.strerror if isinstance(error, OSError) else "no such name of a file can be"
        raise BadSubscription(f"{path!s}: {reason}") from None
    try:
        return line.decode()
    except UnicodeDecodeError:
        raise BadSubscription(f"{path!s}: its first line is no text") from None
