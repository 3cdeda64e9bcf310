"""The Python module against a double of the agent."""

import base64
import errno
import json
import os
import socket
import tempfile
import threading
import unittest
from datetime import datetime, timedelta, timezone

import hesper

PATIENCE = 20.0
# For answers that don't come.
BRIEF = 0.03


def kept(sequence):
    return json.dumps({"status": "kept", "sequence": sequence}).encode()


def refused(error, diagnosis="why"):
    return json.dumps({"status": "refused", "error": error, "diagnosis": diagnosis}).encode()


class AgentDouble:
    """The agent's end, which a test plays step by step."""

    def __init__(self, path):
        self.path = path
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.settimeout(PATIENCE)
        self.socket.bind(path)

    def close(self):
        self.socket.close()
        os.unlink(self.path)

    def serve(self, answer):
        """The next item, which it answers."""
        text, sender = self.socket.recvfrom(1 << 18)
        self.socket.sendto(answer, sender)
        return json.loads(text)

    def fill(self):
        """Puts in as many texts as the socket holds, and gives how many there are."""
        count, before = 0, -1
        # A sender may have no more room of its own before that: only a fresh one can tell.
        while count != before:
            before = count
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
                sender.setblocking(False)
                try:
                    while sender.sendto(b"filler", self.path):
                        count += 1
                except BlockingIOError:
                    pass
        return count


class Call(threading.Thread):
    """A call in a thread of its own, and what came of it."""

    def __init__(self, function, *arguments, **named):
        super().__init__(daemon=True)
        self._call = lambda: function(*arguments, **named)
        self._result = None
        self._error = None
        self.start()

    def run(self):
        try:
            self._result = self._call()
        except Exception as error:
            self._error = error

    def result(self):
        self.join(PATIENCE)
        if self._error is not None:
            raise self._error
        return self._result


class AgentTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "socket")
        self.double = AgentDouble(self.path)
        self.addCleanup(lambda: self.double.close())
        self.agent = hesper.Agent(self.path)
        self.addCleanup(self.agent.close)

    def emit_for(self, answer, *arguments, **named):
        """The item, and what the call gives."""
        call = Call(self.agent.emit, *arguments, timeout=PATIENCE, **named)
        return self.double.serve(answer), call.result()

    def test_items(self):
        item, sequence = self.emit_for(kept(2**64 - 1), "a.b", "h\u00e9")
        self.assertEqual(sequence, 2**64 - 1)
        self.assertEqual(item, {"topic": "a.b", "token": "", "category": "data", "base64": "aMOp"})
        created = datetime(2026, 11, 25, 20, 0, tzinfo=timezone(timedelta(hours=1)))
        item, _ = self.emit_for(
            kept(0), "a\n", b"\xff", latest=True, token='"', category="c", create_time=created
        )
        self.assertEqual(datetime.fromisoformat(item.pop("createTime")), created)
        self.assertEqual(
            item, {"topic": "a\n", "token": '"', "category": "c", "class": "latest", "base64": "/w=="}
        )
        for payload in (bytearray(b"ab"), memoryview(b"ab")):
            self.assertEqual(base64.b64decode(self.emit_for(kept(0), "a", payload)[0]["base64"]), b"ab")
        self.assertEqual(self.emit_for(kept(0), "a", "", create_time="now")[0]["createTime"], "now")

    def test_the_function_finds_its_socket(self):
        os.environ["HESPER_GUEST_SOCKET"] = self.path
        self.addCleanup(os.environ.pop, "HESPER_GUEST_SOCKET")
        for named in ({}, {"socket_path": self.path}):
            call = Call(hesper.emit, "a", "p", timeout=PATIENCE, **named)
            self.double.serve(kept(7))
            self.assertEqual(call.result(), 7)
        with self.assertRaises(hesper.NoAgent):
            hesper.emit("a", "p", socket_path=self.path + "none")

    def test_each_refusal_is_a_class(self):
        kinds = {
            "request": hesper.BadRequest,
            "topic": hesper.WrongTopic,
            "permission": hesper.NotPermitted,
            "size": hesper.TooLarge,
            "full": hesper.QueueFull,
            "rate": hesper.TooFast,
            "mood": hesper.Refused,
        }
        for reason, kind in kinds.items():
            with self.assertRaisesRegex(hesper.Refused, "^why$") as caught:
                self.emit_for(refused(reason), "a", "p")
            self.assertIs(type(caught.exception), kind)
            self.assertEqual(caught.exception.reason, reason)

    def test_what_can_be_no_item_is_not_sent(self):
        for size in (52206, 10**7):
            with self.assertRaises(hesper.TooLarge):
                self.agent.emit("a", bytes(size))
        with self.assertRaises(hesper.TooLarge):
            self.agent.emit("a", "p", token="\x01" * 60000)
        for arguments in (("\ud800", "p"), ("a", "\ud800")):
            with self.assertRaises(hesper.BadRequest):
                self.agent.emit(*arguments)
        with self.assertRaises(TypeError):
            self.agent.emit("a", 5)
        self.double.socket.setblocking(False)
        with self.assertRaises(BlockingIOError):
            self.double.socket.recv(1)

    def test_a_late_answer_is_nobodys(self):
        for brief in (BRIEF, 0):
            with self.assertRaises(hesper.NoAnswer):
                self.agent.emit("a", "one", timeout=brief)
            call = Call(self.agent.emit, "a", "two", timeout=PATIENCE)
            first = self.double.socket.recvfrom(1 << 18)[1]
            second = self.double.socket.recvfrom(1 << 18)[1]
            with self.assertRaises(ConnectionRefusedError):
                self.double.socket.sendto(kept(1), first)
            self.double.socket.sendto(kept(2), second)
            self.assertEqual(call.result(), 2)

    def test_nobody_else_can_answer(self):
        call = Call(self.agent.emit, "a", "p", timeout=PATIENCE)
        sender = self.double.socket.recvfrom(1 << 18)[1]
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as stranger:
            with self.assertRaises(OSError) as caught:
                stranger.sendto(kept(666), sender)
        self.assertEqual(caught.exception.errno, errno.EPERM)
        self.double.socket.sendto(kept(1), sender)
        self.assertEqual(call.result(), 1)

    def test_what_is_no_answer_is_told_and_forgotten(self):
        wrong = [b"", b"no JSON", b"[]", b"{}", b"\xff", b"[" * 4096, b'{"a":' + b"[" * 4000]
        wrong += [kept(sequence) for sequence in (-1, 2**64, True, 1.0, "1", None)]
        wrong += [kept(1) + b"x", kept(1) + b" " * 4096]
        wrong += [refused(["topic"]), refused(""), refused("topic", "d" * 4096), b'{"status":["kept"]}']
        for answer in wrong:
            with self.assertRaises(hesper.BadAnswer, msg=answer):
                self.emit_for(answer, "a", "p")
        self.assertEqual(self.emit_for(b'{"status":"kept","sequence":5,"more":[]}', "a", "p")[1], 5)

    def test_a_full_socket_is_waited_for(self):
        fillers = self.double.fill()
        with self.assertRaises(hesper.NoAnswer):
            self.agent.emit("a", "lost", timeout=BRIEF)
        call = Call(self.agent.emit, "a", "p", timeout=PATIENCE)
        for _ in range(fillers):
            self.assertEqual(self.double.socket.recv(100), b"filler")
        self.double.serve(kept(8))
        self.assertEqual(call.result(), 8)

    def test_an_agent_that_is_gone_can_come_back(self):
        with hesper.Agent(self.path) as self.agent:
            self.emit_for(kept(1), "a", "p")
            self.double.close()
            with self.assertRaises(hesper.NoAgent):
                self.agent.emit("a", "p")
            self.double = AgentDouble(self.path)
            self.emit_for(kept(2), "a", "p")
            self.double.close()
            self.double = AgentDouble(self.path)
            self.assertEqual(self.emit_for(kept(3), "a", "p")[1], 3)
            # Its socket's file is still there.
            self.double.socket.close()
            with self.assertRaises(hesper.NoAgent):
                self.agent.emit("a", "p")
        with self.assertRaises(hesper.NoAgent):
            hesper.emit("a", "p", socket_path="/" + "s" * 200)


if __name__ == "__main__":
    unittest.main()
