"""The other phone as a receiver: obex_test, which writes received objects to a folder."""

import pathlib
import subprocess

from checks import wait_for


CHANNEL = 10
FOLDER = pathlib.Path("/run/received")


def received(name, size):
    """The contents of a received file, once it has this size."""
    path = FOLDER / name
    wait_for(lambda: path.exists() and path.stat().st_size >= size, f"{size} bytes in {name}")
    return path.read_bytes()


class Receiver:
    def __init__(self, machine):
        self.machine = machine
        self.process = None

    def start(self):
        FOLDER.mkdir(exist_ok=True)
        self.process = self.machine.start_program("obex_test", "sh", "-c", f"cd {FOLDER} && exec obex_test -b {CHANNEL}",
                                                  stdin=subprocess.PIPE)
        self.process.process.stdin.write(b"s\n")  # serve one link; it exits at the end of its input
        self.process.process.stdin.flush()
        wait_for(lambda: self._is_listening(), "obex_test to listen")

    def stop(self):
        self.process.end()

    @staticmethod
    def _is_listening():
        """The kernel's list of RFCOMM sockets: addresses, state (4 is listening), channel."""
        words = [line.split() for line in pathlib.Path("/sys/kernel/debug/bluetooth/rfcomm").read_text().splitlines()]
        return any(line[-2:] == ["4", str(CHANNEL)] for line in words)
