"""The Python subscriber against what isn't the daemon, and what a daemon would do only by a fault."""

import base64
import itertools
import json
import os
import signal
import socket
import tempfile
import threading
import traceback
import unittest
from contextlib import contextmanager
from unittest import mock

import hesper
from hesper.follower import Mailbox
from hesper.owner import check_owner
from hesper.publication import read_publication, read_time
from subscribing import PATIENCE, Reader, SubscriberCase, eventually

TOKEN = "very-secret-token"
HEAD = b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
NOBODY = 65534


def chunk(data):
    return b"%x\r\n%s\r\n" % (len(data), data)


def frame(text):
    return b"%x\r\n%s\r\n" % (len(text), text)


def element(text, **others):
    values = {"mgr_vm_id": "a", "topic": "t", "create_time": "2026-01-01T00:00:00Z", "token": "", "history": False}
    values.update({"payload": base64.b64encode(text.encode()).decode()}, **others)
    return chunk(frame(json.dumps({"jsonrpc": "2.0", "id": 1, "result": values}).encode()))


class Connection:
    """A call that the test answers, step by step."""

    def __init__(self, accepted):
        self.socket = accepted
        self.socket.settimeout(PATIENCE)
        received = b""
        while b"\r\n\r\n" not in received:
            received += self.socket.recv(65536)
        self.head, _, body = received.partition(b"\r\n\r\n")
        length = int(self.head.lower().split(b"content-length:")[1].split()[0])
        while len(body) < length:
            body += self.socket.recv(65536)
        self.spec = json.loads(body)["params"]["input"]["spec"]

    def send(self, *parts):
        """How many bytes the other end has taken before it went away, if it did."""
        sent = 0
        for part in parts:
            try:
                self.socket.sendall(part)
            except OSError:
                break
            sent += len(part)
        return sent

    def wait_for_end(self):
        try:
            while self.socket.recv(65536):
                pass
        except ConnectionResetError:
            pass

    def close(self):
        self.socket.close()


class Double:
    """The daemon's end."""

    def __init__(self, address="127.0.0.1", family=socket.AF_INET, port=0):
        self.socket = socket.socket(family)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.socket.settimeout(PATIENCE)
        self.socket.bind((address, port))
        self.socket.listen()
        self.port = self.socket.getsockname()[1]
        self.connections = []

    def accept(self):
        connection = Connection(self.socket.accept()[0])
        self.connections.append(connection)
        return connection

    def connect(self):
        client = socket.socket()
        client.connect(("127.0.0.1", self.port))
        return client

    def close(self):
        self.socket.close()
        for connection in self.connections:
            connection.close()


class DoubleCase(SubscriberCase):
    def setUp(self):
        super().setUp()
        self.double = self.make()
        self.caller = {"port": self.double.port, "token": TOKEN}

    def make(self, *arguments, **named):
        double = Double(*arguments, **named)
        self.addCleanup(double.close)
        return double


class HostileTest(DoubleCase):
    def end_of(self, *parts, hold=True, **arguments):
        """The error that the answer leads to, and how much of it was taken."""
        reader = self.read(follow=False, **self.caller, **arguments)
        connection = self.double.accept()
        sent = connection.send(*parts)
        if not hold:
            connection.close()
        reader.join(PATIENCE)
        connection.close()
        self.assertEqual(reader.got, [])
        shown = "".join(traceback.format_exception(None, reader.error, reader.error.__traceback__))
        self.assertNotIn(TOKEN, shown)
        return type(reader.error), sent

    def test_what_is_no_stream_is_a_bad_answer(self):
        answers = [
            b"no HTTP at all\r\n\r\n",
            b"HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n",
            HEAD + b"zz\r\n",
            HEAD + chunk(b"no frame at all"),
            HEAD + chunk(b"-1\r\n{}\r\n"),
            HEAD + element("").replace(b"}\r\n\r\n", b"}xx\r\n"),
            HEAD + chunk(b"ffffffff\r\n"),
            HEAD + chunk(frame(b"no JSON")),
            HEAD + chunk(frame(b"[1]")),
            HEAD + chunk(frame(b"[" * 100000)),
            HEAD + chunk(frame(b"{}")),
            HEAD + chunk(frame(b'{"result":[]}')),
            HEAD + chunk(frame(b'{"error":{"code":1}}')),
        ]
        for others in ({"payload": "&"}, {"payload": None}, {"topic": 1}, {"history": 0}, {"mgr_vm_id": "\ud800"}):
            answers.append(HEAD + element("", **others))
        for answer in answers:
            self.assertIs(self.end_of(answer)[0], hesper.BadAnswer, answer[:200])

    def test_what_has_no_end_is_given_up(self):
        for begin, rest in (
            (b"HTTP/1.1 200 OK\r\nX: ", b"x" * 65536),
            (b"", b"HTTP/1.1 100 Continue\r\n\r\n" * 1000),
            (b"HTTP/1.1 200 OK\r\n", b"X: y\r\n" * 1000),
            (HEAD, b"0" * 65536),
            (HEAD + b"1;", b"x" * 65536),
            (HEAD + b"0\r\n", b"X: y\r\n" * 1000),
        ):
            kind, sent = self.end_of(begin, *itertools.repeat(rest, 1000))
            self.assertIs(kind, hesper.BadAnswer, begin)
            # What is above a MiB was in the kernel's buffers.
            self.assertLess(sent, 16 << 20, begin)

    def test_what_stops_within_an_element_has_ended(self):
        whole = HEAD + element("text")
        for answer in (b"", HEAD[:20], HEAD, whole[:-30], HEAD + b"5", HEAD + b"0\r\n\r\n"):
            self.assertIs(self.end_of(answer, hold=False)[0], hesper.StreamEnded, answer)
        # Each byte is a sign of life, but not of an end.
        drip = [chunk(each) for each in (b"f", b"f", b"\r", b"\n", b"{")]
        self.assertIs(self.end_of(HEAD, *drip, timeout=0.05)[0], hesper.StreamEnded)

    def test_a_reader_of_ten_years_keeps_little(self):
        with mock.patch("hesper.follower._MOST_IDENTITIES", 3):
            reader = self.read(**self.caller)
            connection = self.double.accept()
            connection.send(HEAD, *(element(text) for text in "aabcadae"))
            reader.wait_for("e")
        # The first has been forgotten after three others.
        self.assertEqual(reader.texts(), list("abcdae"))

    def test_a_reader_that_waits_keeps_little(self):
        publication = hesper.Publication("a", "t", "", "", b"", False, "")
        mailbox = Mailbox()
        writer = threading.Thread(
            target=lambda: [mailbox.put(_numbered(publication, number)) for number in range(1000)], daemon=True
        )
        writer.start()
        eventually(lambda: len(mailbox._items) == 256)
        self.assertEqual([mailbox.get().topic for _ in range(1000)], [str(number) for number in range(1000)])
        writer.join(PATIENCE)


def _numbered(publication, number):
    return hesper.Publication(publication.vm, str(number), "", "", b"", False, str(number))


class FollowTest(DoubleCase):
    def test_the_past_of_an_interruption(self):
        with mock.patch.multiple("hesper.past", _GATHERING=0.1, _QUIET=0.5), self.assertLogs("hesper") as log:
            reader = self.read(past=100, vms=["a", "b", "c"], **self.caller)
            first = self.double.accept()
            self.assertEqual(first.spec["past_seconds"], 100)
            first.send(HEAD, element("1"))
            reader.wait_for("1")
            first.close()
            # What of the past may not have come is asked for once more, and what the first daemon still had.
            again = self.accept_all(2)
            stream = next(each for each in again if len(each.spec["vm_filter"]) == 3)
            self.assertGreater(stream.spec["past_seconds"], 100)
            # Whose past comes isn't asked again, whatever comes first of a VM.
            live_first = element("3", mgr_vm_id="b") + element("b", mgr_vm_id="b", history=True)
            past_first = element("c", mgr_vm_id="c", history=True) + element("5", mgr_vm_id="c")
            stream.send(HEAD + element("2") + live_first + past_first)
            late = self.double.accept()
            self.assertEqual(late.spec["vm_filter"], [{"mgr_vm_id": "a"}])
            self.assertGreater(late.spec["past_seconds"], 100)
            late.send(HEAD, element("1", history=True), element("live"), element("lost", history=True))
            reader.wait_for(["5", "lost"])
            # It ends by itself, the stream goes on.
            late.wait_for_end()
            stream.send(element("4"))
            reader.wait_for("4")
        self.assertEqual(sorted(reader.texts()), ["1", "2", "3", "4", "5", "b", "c", "lost"])
        self.assertIn("stands again", "".join(log.output))

    def accept_all(self, most):
        """The stream, and the call for a VM of the first one where it had come to that."""
        accepted = [self.double.accept()]
        while len(accepted) < most and len(accepted[-1].spec["vm_filter"]) < 3:
            accepted.append(self.double.accept())
        return accepted

    def test_the_past_that_cannot_be_had(self):
        with mock.patch.multiple("hesper.past", _GATHERING=0.01):
            reader = self.read(past=100, **self.caller)
            self.double.accept().send(HEAD, element("1"))
            # Once the connection is cut, once the caller is refused.
            self.double.accept().close()
            late = self.double.accept()
            self.assertEqual(late.spec["vm_filter"], [{"mgr_vm_id": "a"}])
            message = b'{"error":{"message":"com.tessaly.mirel.std.errors.unauthenticated"}}'
            late.send(HEAD, chunk(frame(message)))
            reader.join(PATIENCE)
        self.assertEqual((reader.texts(), type(reader.error)), (["1"], hesper.NotAuthenticated))

    def test_a_stream_that_was_steady_has_a_short_gap(self):
        with mock.patch.multiple("hesper.past", _QUIET=0.0), self.assertLogs("hesper"):
            reader = self.read(past=10000, **self.caller)
            first = self.double.accept()
            first.send(HEAD, element("1", history=True))
            reader.wait_for("1")
            first.send(element("2", history=False))
            first.close()
            self.assertLess(self.double.accept().spec["past_seconds"], 100)

    def test_close_from_another_thread(self):
        for connected in (True, False):
            if not connected:
                self.double.close()
            reader = self.read(**self.caller)
            eventually(lambda: reader.subscription.connected or reader.subscription.interruptions)
            reader.subscription.close()
            reader.join(PATIENCE)
            self.assertFalse(reader.is_alive())
            self.assertIsNone(reader.error)

    def test_what_a_close_cuts_off_is_no_error(self):
        reader = self.read(**self.caller)
        self.double.accept()
        with self.outrun(reader):
            reader.subscription.close()
        self.assertIsNone(reader.error)

    def test_what_an_error_cuts_off_is_no_other_error(self):
        reader = self.read(**self.caller)
        self.double.accept()
        with self.outrun(reader):
            # As the thread that asks for the past would.
            reader.subscription._follower._fail(hesper.NotAuthenticated("refused"))
        self.assertIs(type(reader.error), hesper.NotAuthenticated)

    @contextmanager
    def outrun(self, reader):
        """The test, when it stops the follower, gets on only after that and the reader have ended."""
        stop = reader.subscription._follower._stop
        set_stop = stop.set

        def set_and_wait():
            set_stop()
            if threading.current_thread() is threading.main_thread():
                reader.subscription._follower._thread.join(PATIENCE)
                reader.join(PATIENCE)

        with mock.patch.object(stop, "set", set_and_wait):
            yield
        self.assertFalse(reader.is_alive())

    def test_a_subscription_that_nobody_has_ends(self):
        subscription = hesper.subscribe(**self.caller)
        connection = self.double.accept()
        threads = [each for each in threading.enumerate() if each.name == "hesper-subscribe"]
        del subscription
        connection.wait_for_end()
        for thread in threads:
            thread.join(PATIENCE)

    def test_an_interrupt_of_the_keyboard(self):
        with hesper.subscribe(**self.caller) as subscription:
            connection = self.double.accept()
            interrupt = threading.Thread(target=self.interrupt, args=(subscription._follower.mailbox,))
            interrupt.start()
            with self.assertRaises(KeyboardInterrupt):
                next(subscription)
            interrupt.join()
            connection.send(HEAD, element("later"))
            self.assertEqual(next(subscription).text, "later")

    def interrupt(self, mailbox):
        eventually(lambda: mailbox._changed._waiters)
        os.kill(os.getpid(), signal.SIGINT)


@contextmanager
def user(number):
    os.seteuid(number)
    try:
        yield
    finally:
        os.seteuid(0)


@unittest.skipUnless(os.geteuid() == 0, "takes root to be two users")
class OwnerTest(SubscriberCase):
    def test_a_stranger_gets_nothing(self):
        for address, family in (("127.0.0.1", socket.AF_INET), ("0.0.0.0", socket.AF_INET), ("::", socket.AF_INET6)):
            with user(NOBODY):
                double = Double(address, family)
            self.addCleanup(double.close)
            for follow in (False, True):
                error = self.error_of(port=double.port, token=TOKEN, follow=follow)
                self.assertIs(type(error), hesper.NotTheDaemon)
                accepted = double.socket.accept()[0]
                with accepted:
                    self.assertEqual(accepted.recv(100), b"")

    def test_a_stranger_that_has_left_the_port_gets_nothing(self):
        with user(NOBODY):
            stranger = Double()
            client = stranger.connect()
            accepted = stranger.socket.accept()[0]
            stranger.close()
        with client, accepted:
            own_port = client.getsockname()[1]
            with self.assertRaises(hesper.NoDaemon):
                check_owner(stranger.port, own_port)
            root = Double(port=stranger.port)
            self.addCleanup(root.close)
            with self.assertRaises(hesper.NotTheDaemon):
                check_owner(stranger.port, own_port)

    def test_the_own_user_is_trusted(self):
        with user(1):
            double = Double()
            self.addCleanup(double.close)
            with double.connect() as client:
                check_owner(double.port, client.getsockname()[1])
        # Who can't be named is nobody to the kernel, so nobody isn't trusted even by himself.
        with user(NOBODY):
            double = Double()
            self.addCleanup(double.close)
            with double.connect() as client, self.assertRaises(hesper.NotTheDaemon):
                check_owner(double.port, client.getsockname()[1])


class ArgumentTest(unittest.TestCase):
    def test_arguments_that_cannot_be(self):
        with tempfile.NamedTemporaryFile() as file:
            file.write(b"\xff" + TOKEN.encode())
            file.flush()
            # The files of callers are read with each call.
            for wrong in ({"token_file": file.name + "none"}, {"token_file": "\0"}, {"token_file": file.name}):
                with hesper.subscribe(port=1, **wrong) as subscription:
                    with self.assertRaises(hesper.BadSubscription) as caught:
                        next(subscription)
                self.assertNotIn(TOKEN, repr(caught.exception))
        for wrong in (
            {"topics": "app"},
            {"vms": [1]},
            {"vm_id_type": "name"},
            {"past": -1},
            {"past": float("nan")},
            {"port": 0},
            {"timeout": 0},
            {"token": TOKEN + "\r\nX: y"},
            {"token": TOKEN, "token_file": "f"},
            {"user": "root"},
            {"user": "a:b", "password_file": "f"},
        ):
            with self.assertRaises(hesper.BadSubscription, msg=wrong) as caught:
                hesper.subscribe(**wrong)
            self.assertNotIn(TOKEN, repr(caught.exception))

    def test_copies_have_the_identity_that_they_have_elsewhere(self):
        values = {"bios_uuid": "web", "topic": "a.b", "create_time": "2026-11-24T21:15:00Z", "token": "t"}
        for history in (False, True):
            copy = read_publication({**values, "payload": "AAH/", "history": history}, "bios")
            # As fleet/stream computes it.
            self.assertEqual(copy.identity, "7a879ee91526e25ce9fe6052edf1cbb6")

    def test_what_is_no_time_is_the_text(self):
        for text in ("", "now", "2026-01-01T00:00:60Z", "2026-02-30T00:00:00Z", "2026-01-01T00:00:00+24:00", "٢" * 4):
            self.assertEqual(read_time(text), text)
        self.assertEqual(read_time("2026-01-01t00:00:00.5z").isoformat(), "2026-01-01T00:00:00.500000+00:00")
        self.assertEqual(read_time("2026-01-01T00:00:00-00:30").isoformat(), "2026-01-01T00:00:00-00:30")

    def test_a_guests_json_is_a_value_error_at_worst(self):
        for payload in (b"[" * 100000, b"", b"\xff", b"1" * 100000 + b"x"):
            with self.assertRaises(ValueError):
                hesper.Publication("a", "t", "", "", payload, False, "").json()


if __name__ == "__main__":
    unittest.main()
