"""What the programs of a VM hand to its agent, hesper-guestd.

    import hesper
    hesper.emit("app.backup", "done in 12 s")
"""

from hesper.agent import (
    Agent,
    BadAnswer,
    BadRequest,
    Error,
    NoAgent,
    NoAnswer,
    NotPermitted,
    QueueFull,
    Refused,
    TooFast,
    TooLarge,
    WrongTopic,
    emit,
)

__all__ = [
    "Agent",
    "BadAnswer",
    "BadRequest",
    "Error",
    "NoAgent",
    "NoAnswer",
    "NotPermitted",
    "QueueFull",
    "Refused",
    "TooFast",
    "TooLarge",
    "WrongTopic",
    "emit",
]
