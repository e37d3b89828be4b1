"""A fake receiving phone that records requests and answers as the test specifies."""

import socket
import threading

import phone
from phone import CONNECT, DISCONNECT, FINAL, PUT, packet, receive_packet

SUCCESS, CONTINUE = 0x20, 0x10
WHO = 0x4A
CONNECT_FIELDS = bytes([0x10, 0, 0xFF, 0xFF])


class Receiver:
    """Listens on a channel of the test's address and calls `behaviour` with each link. `requests` has all packets as (code
    without the final bit, final, payload)."""

    def __init__(self, test, behaviour, channel=9):
        self.channel = channel
        self.behaviour = behaviour
        self.requests = []
        self.links = 0
        self.ended = 0
        self._listener = socket.socket(socket.AF_BLUETOOTH, socket.SOCK_STREAM, socket.BTPROTO_RFCOMM)
        self._listener.bind((phone.PEER_ADDRESS, channel))
        self._listener.listen(1)
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()
        test.addCleanup(self.close)

    def _serve(self):
        while True:
            try:
                peer, _ = self._listener.accept()
            except OSError:
                return
            self.links += 1
            peer.settimeout(phone.DEADLINE)
            with peer:
                try:
                    self.behaviour(Link(peer, self.requests))
                except OSError:
                    pass  # the phone closed the link
            self.ended += 1

    def close(self):
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        self._thread.join(phone.DEADLINE)

    def wait_for_end(self, links):
        """Waits until this many links have been served."""
        phone.wait_for(lambda: self.ended >= links, f"the end of link {links}")

    def objects(self):
        """The joined payloads of all PUT packets."""
        return b"".join(payload for code, _, payload in self.requests if code == PUT)


class Link:
    def __init__(self, peer, requests):
        self.peer = peer
        self.requests = requests

    def receive(self):
        first = self.peer.recv(1, socket.MSG_PEEK)
        if not first:
            raise ConnectionResetError("the phone closed the link")
        code, payload = receive_packet(self.peer)
        self.requests.append((code, first[0] & FINAL != 0, payload))
        return self.requests[-1]

    def answer(self, request, code=None):
        """Sends the normal response, or one with another code."""
        command, final, _ = request
        if code is None:
            code = SUCCESS if final else CONTINUE
        self.send(packet(code | FINAL, CONNECT_FIELDS if command == CONNECT else b""))

    def send(self, data):
        self.peer.sendall(data)

    def serve(self, refuse=None, code=0x43):
        """Serves normally, except for one command that it may refuse."""
        while True:
            request = self.receive()
            self.answer(request, code if request[0] == refuse and request[1] else None)
            if request[0] == DISCONNECT:
                return

    def serve_the_nameless(self):
        """Like the receivers of desktops: forbids every request before a CONNECT without a service name."""
        connected = False
        while True:
            request = self.receive()
            command, final, payload = request
            if command == CONNECT:
                connected = WHO not in dict(headers(payload[4:]))
            self.answer(request, None if connected else 0x43)
            if command == DISCONNECT and final:
                return

    def serve_until(self, command):
        """Serves normally up to the first packet of this command, which it receives and returns."""
        while True:
            request = self.receive()
            if request[0] == command:
                return request
            self.answer(request)


def headers(payload):
    """The headers in a payload: (identifier, value)."""
    found = []
    while payload:
        identifier = payload[0]
        if identifier >> 6 in (0, 1):
            size = int.from_bytes(payload[1:3], "big")
            assert size >= 3, "a header shorter than its head"
            value = payload[3:size]
        else:
            size = 2 if identifier >> 6 == 2 else 5
            value = payload[1:size]
        assert len(payload) >= size, "a header that is cut off"
        found.append((identifier, value))
        payload = payload[size:]
    return found
