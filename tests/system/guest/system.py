"""The booted Debian, with systemd, bluetoothd and two emulated controllers: the first for the telephone, the second for the
other phone."""

import json
import pathlib
import subprocess

from checks import expect
from machine import ADDRESSES, Machine
from peer import Peer
from phone import Process, wait_for

LOG = pathlib.Path("/log")
USER = "anna"


class System(Machine):
    def __init__(self, say):
        super().__init__(say)
        self.environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8",
                            "DEBIAN_FRONTEND": "noninteractive"}
        self.peer = Peer(self)

    def start(self):
        """Sets up what the packages don't bring: adapters and a bond between them."""
        self.bluez.connect()
        wait_for(self.has_controllers, "bluetoothd to have both adapters", deadline=180)
        self.make_adapters_ready()
        self.bond()

    def has_controllers(self):
        """Restarts both controllers if an adapter is missing: the kernel waits only two seconds for the first answer, too short
        while the machine boots."""
        self.start_controllers()
        self.run("systemctl", "start", "bluetooth")
        try:
            return wait_for(lambda: set(self.bluez.adapters()) >= set(ADDRESSES), "both adapters", deadline=20)
        except AssertionError:
            self.controllers.stop()
            self.monitor.stop()
            return False

    # Programs

    def run(self, *command, code=0):
        """Runs a program and checks its exit code; returns its output."""
        result = self.run_program(*command)
        expect(result.returncode, code, f"{' '.join(map(str, command))} ({result.stdout}{result.stderr}): exit code")
        return result.stdout + result.stderr

    def install(self, folder):
        self.run("apt-get", "-qq", "install", "-y", "--no-install-recommends", *sorted(pathlib.Path(folder).glob("*.deb")))

    # The system service

    def ctl(self, *arguments, user=USER, code=0):
        """Runs phonectl as a user."""
        return self.run("runuser", "-u", user, "--", "phonectl", "--bus", "system", *arguments, code=code)

    def status(self):
        return json.loads(self.ctl("status", "--json"))

    def book(self):
        return {entry["Surname"]: entry for entry in json.loads(self.ctl("book", "list", "--json"))}

    def receive_on(self):
        self.ctl("receive", "on", "--visible", "always")
        wait_for(lambda: self.status()["record"] == "published", "the service record")

    def watch(self):
        """Starts a phonectl that accepts every card."""
        watcher = Process(LOG, "watch", ["setpriv", "--reuid", USER, "--regid", USER, "--init-groups", "phonectl",
                                         "--bus", "system", "watch", "--json", "--accept"], self.environment)
        watcher.wait_for_out('"watching"')
        return watcher

    def unit(self, key):
        """A property of the unit."""
        return self.run("systemctl", "show", "--value", "--property", key, "obexphone").strip()

    def wait_until_active(self):
        wait_for(lambda: self.unit("ActiveState") == "active", "the telephone to run")

    # The user service

    def own_ctl(self, *arguments):
        """Runs phonectl on the user's session bus."""
        number = self.run("id", "-u", USER).strip()
        return self.run("runuser", "-u", USER, "--", "env", f"XDG_RUNTIME_DIR=/run/user/{number}",
                        f"DBUS_SESSION_BUS_ADDRESS=unix:path=/run/user/{number}/bus", "phonectl", *arguments)


def files():
    """All files of the system except the package manager's, logs and caches."""
    hidden = ["/proc", "/sys", "/dev", "/run", "/tmp", "/log", "/given", "/var/cache", "/var/log", "/var/lib/dpkg",
              "/var/lib/apt", "/var/lib/systemd", "/var/lib/bluetooth", "/home", "/root"]
    words = " -o ".join(f"-path {folder}" for folder in hidden)
    found = subprocess.run(f"find / \\( {words} \\) -prune -o -print", shell=True, check=True, capture_output=True, text=True)
    return set(found.stdout.splitlines())


def programs():
    """The names of the running programs."""
    return set(subprocess.run("cat /proc/[0-9]*/comm 2>/dev/null", shell=True, check=False, capture_output=True,
                              text=True).stdout.splitlines())
