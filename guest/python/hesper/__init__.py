"""Data of virtual machines, on both sides.

In a VM, for its agent hesper-guestd:

    import hesper
    hesper.emit("app.backup", "done in 12 s")

On the VM's host, of its daemon nornhesperd:

    for publication in hesper.subscribe(topics=["app"], past=3600):
        print(publication.vm, publication.topic, publication.text)
"""

from hesper.agent import Agent, BadRequest, NoAgent, NoAnswer, NotPermitted, QueueFull, Refused, TooFast, TooLarge
from hesper.agent import WrongTopic, emit
from hesper.errors import BadAnswer, BadSubscription, Error, NoDaemon, NotAuthenticated, NotAuthorized, NotTheDaemon
from hesper.errors import StreamEnded
from hesper.follower import Gap
from hesper.publication import Publication
from hesper.subscriber import Subscription, subscribe

__all__ = [
    "Agent",
    "BadAnswer",
    "BadRequest",
    "BadSubscription",
    "Error",
    "Gap",
    "NoAgent",
    "NoAnswer",
    "NoDaemon",
    "NotAuthenticated",
    "NotAuthorized",
    "NotPermitted",
    "NotTheDaemon",
    "Publication",
    "QueueFull",
    "Refused",
    "StreamEnded",
    "Subscription",
    "TooFast",
    "TooLarge",
    "WrongTopic",
    "emit",
    "subscribe",
]
