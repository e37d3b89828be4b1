"""The other phone, on the second controller, which pushes cards to the telephone."""

import contextlib
import socket

import phone
from checks import expect, wait_for
from phone import DEADLINE

TELEPHONE, PEER = "00:AA:01:00:00:00", "00:AA:01:01:00:01"
CHANNEL = 4
SUCCESS = 255  # obexput's exit code


class Peer:
    def __init__(self, machine):
        self.machine = machine

    def obexput(self, *files, code=SUCCESS):
        """Pushes files with obexput, once the last link has ended: until then a connect would hang for half a minute."""
        self.machine.wait_for_no_link()
        result = self.machine.run_program("obexput", "-d", PEER, "-b", TELEPHONE, "-B", CHANNEL, "-U", "none", "-H", "-S",
                                          "-p", *files)
        expect(result.returncode, code, f"obexput's exit code ({result.stdout}{result.stderr})")

    @contextlib.contextmanager
    def link(self):
        """A connected RFCOMM socket from the second controller to the telephone. Retries: after each link, the telephone
        doesn't listen for a moment."""
        with contextlib.closing(wait_for(self.connect, "the telephone to accept a link")) as link:
            link.settimeout(DEADLINE)
            yield link

    def push(self, name, text):
        """Pushes one object on its own link; returns the telephone's response code."""
        with self.link() as link:
            link.sendall(phone.connect_packet())
            expect(phone.receive_packet(link)[0], 0x20, "the answer to CONNECT")
            return self.put(link, name, text.encode() if isinstance(text, str) else text)

    def is_refused(self):
        """Whether the telephone refuses a connection at once."""
        self.machine.wait_for_no_link()
        try:
            self._connect().close()
            return False
        except ConnectionRefusedError:
            return True

    def gets_in(self):
        """Whether the telephone accepts a connection and answers on it."""
        self.machine.wait_for_no_link()
        link = self.connect()
        if link is None:
            return False
        with contextlib.closing(link):
            try:
                link.sendall(phone.connect_packet())
                return phone.receive_packet(link)[0] == 0x20
            except ConnectionError:
                return False

    def connect(self):
        """A link, or None if that fails just now. While the last link is ending, a connect would hang for half a minute, so it
        times out after some seconds."""
        try:
            return self._connect(timeout=8)
        except OSError:
            return None

    @staticmethod
    def _connect(timeout=DEADLINE):
        link = socket.socket(socket.AF_BLUETOOTH, socket.SOCK_STREAM, socket.BTPROTO_RFCOMM)
        try:
            link.settimeout(timeout)
            link.bind((PEER, 0))
            link.connect((TELEPHONE, CHANNEL))
            return link
        except OSError:
            link.close()
            raise

    @staticmethod
    def put(link, name, body):
        """Pushes an object on an open link; returns the final response code."""
        for data in phone.put_packets(name, body):
            link.sendall(data)
            code, _ = phone.receive_packet(link)
            if code != 0x10:
                break
        return code
