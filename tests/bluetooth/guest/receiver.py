"""The other phone as a receiver: obex_test, which puts the objects that it gets into a folder."""

import pathlib
import subprocess

from phone import wait_for

CHANNEL = 10


class Receiver:
    def __init__(self, machine):
        self.machine = machine
        self.process = None
        self.folder = pathlib.Path("/run/received")

    def start(self):
        self.folder.mkdir(exist_ok=True)
        self.process = self.machine.start_program("obex_test", "sh", "-c", f"cd {self.folder} && exec obex_test -b {CHANNEL}",
                                                  stdin=subprocess.PIPE)
        self.process.process.stdin.write(b"s\n")  # serve one link; at the end of its input it would leave
        self.process.process.stdin.flush()
        wait_for(lambda: self._is_listening(), "obex_test to listen")

    def stop(self):
        self.process.end()

    def file(self, name, size):
        """What it has put into a file, once that is so large."""
        path = self.folder / name
        wait_for(lambda: path.exists() and path.stat().st_size >= size, f"{size} bytes in {name}")
        return path.read_bytes()

    @staticmethod
    def _is_listening():
        """The kernel's list of RFCOMM sockets: addresses, state (4 is listening), channel."""
        words = [line.split() for line in pathlib.Path("/sys/kernel/debug/bluetooth/rfcomm").read_text().splitlines()]
        return any(line[-2:] == ["4", str(CHANNEL)] for line in words)
