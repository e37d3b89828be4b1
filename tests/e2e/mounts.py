"""Disks in a mount namespace of one phone, which a test fills, removes and restores while it runs."""

import os
import pathlib
import subprocess


def available():
    return subprocess.run(["unshare", "--mount", "mount", "-t", "tmpfs", "none", "/mnt"], check=False,
                          capture_output=True).returncode == 0


def inside(script):
    """A command prefix: runs a command in a mount namespace prepared by these shell lines."""
    return ["unshare", "--mount", "--propagation", "private", "sh", "-e", "-c", script + '\nexec "$@"', "sh"]


def with_host_name(name):
    """A command prefix: runs a command under this host name, if the kernel allows it."""
    if not available():
        return []
    return ["unshare", "--uts", "sh", "-e", "-c", f'echo {name} >/proc/sys/kernel/hostname\nexec "$@"', "sh"]


def disk(folder, megabytes):
    """The shell line that mounts an empty disk of this size."""
    return f"mount -t tmpfs -o size={megabytes}m,mode=0755 none {folder}"


class Disk:
    """A disk in the namespace of a running phone."""

    def __init__(self, process, folder):
        self.folder = str(folder)
        self.process_id = process.process.pid
        self.path = pathlib.Path(f"/proc/{self.process_id}/root{self.folder}")

    def fill(self):
        # In ever smaller pieces, to fill it to the last byte.
        with open(self.path / "filler", "ab", buffering=0) as filler:
            for size in (1 << 16, 1 << 12, 1):
                self._fill_with(filler, bytes(size))

    @staticmethod
    def _fill_with(filler, piece):
        try:
            while filler.write(piece) == len(piece):
                pass
        except OSError:
            pass

    def make_room(self):
        os.unlink(self.path / "filler")

    def make_read_only(self):
        """Fails while the phone has a file open for writing there."""
        self._mount("-o", "remount,bind,ro", self.folder)

    def make_writable(self):
        self._mount("-o", "remount,bind,rw", self.folder)

    def cover(self):
        """Mounts an empty read-only disk over it."""
        self._mount("-t", "tmpfs", "-o", "ro", "none", self.folder)

    def uncover(self):
        self._run("umount", self.folder)

    def _mount(self, *options):
        self._run("mount", *options)

    def _run(self, *command):
        subprocess.run(["nsenter", f"--target={self.process_id}", "--mount", "--root", *command], check=True, capture_output=True)
