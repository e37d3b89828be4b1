"""The machine that the checks run on: message buses, two emulated controllers, BlueZ, and a telephone on the first of them.

The peer, the other phone, is everything on the second controller. Both belong to one bluetoothd, so a device that one of
them knows is the other.
"""

import collections
import os
import pathlib
import shutil
import subprocess
import time

import dbus
import phone
from bluez import BlueZ
from checks import wait_for
from obexd import Obexd
from peer import Peer
from phone import Process
from telephone import Telephone

# Copied to SAVED later: the machine's clock runs on while it waits for a file of the host.
LOG = pathlib.Path("/run/log")
SAVED = pathlib.Path("/log")
SESSION_BUS = "unix:path=/run/session-bus"
ADDRESSES = {"hci0": "00:AA:01:00:00:00", "hci1": "00:AA:01:01:00:01"}
OTHERS = {"hci0": ADDRESSES["hci1"], "hci1": ADDRESSES["hci0"]}


class Machine:
    def __init__(self, say):
        LOG.mkdir(exist_ok=True)
        self.say = say
        self.started = collections.Counter()
        self.environment = dict(os.environ, DBUS_SESSION_BUS_ADDRESS=SESSION_BUS, PHONE_BUS=SESSION_BUS,
                                XDG_STATE_HOME="/run/state", PATH=f"{phone.BIN}:{os.environ['PATH']}")
        self.bus = None
        self.bluez = BlueZ()
        self.bluetoothd = None
        self.controllers = None
        self.monitor = None
        self.telephone = Telephone(self)
        self.peer = Peer(self)
        self.obexd = Obexd(self)

    # Programs

    def start_program(self, name, *command, **options):
        """Starts a program with its output in the log folder."""
        self.started[name] += 1
        return Process(LOG, f"{name}-{self.started[name]}", command, self.environment, **options)

    def run_program(self, *command, deadline=120, **options):
        """Runs a program to its end; keeps its output in the log folder."""
        result = subprocess.run([str(word) for word in command], env=self.environment, timeout=deadline, check=False,
                                capture_output=True, text=True, errors="replace", stdin=subprocess.DEVNULL, **options)
        with open(LOG / "commands.log", "a") as log:
            log.write(f"$ {' '.join(map(str, command))}\n{result.stdout}{result.stderr}(exit code {result.returncode})\n")
        return result

    def save_logs(self):
        """Copies new output to the host."""
        for path in LOG.iterdir():
            with open(path, "rb") as source, open(SAVED / path.name, "ab") as copy:
                source.seek(copy.tell())
                shutil.copyfileobj(source, copy)

    # The machine itself

    def start(self):
        self._start_buses()
        self.start_controllers()
        self.start_bluetoothd()
        self.make_adapters_ready()
        self.bond()
        self.telephone.start()

    def stop(self):
        self.telephone.stop()
        for process in (self.obexd.process, self.bluetoothd, self.controllers, self.monitor):
            if process is not None:
                process.stop()

    def recover(self):
        """Restarts everything after a failed check."""
        self.obexd.stop()
        self.telephone.end()
        self.bluetoothd.end()
        self.start_bluetoothd()
        self.make_adapters_ready()
        self.bond()
        self.telephone.start()

    def _start_buses(self):
        self.start_program("system-bus", "dbus-daemon", "--system", "--nofork", "--nopidfile")
        self.start_program("session-bus", "dbus-daemon", "--session", "--nofork", f"--address={SESSION_BUS}")
        wait_for(lambda: os.path.exists("/run/dbus/system_bus_socket") and os.path.exists("/run/session-bus"),
                 "both message buses")
        self.bus = self.session_bus()
        self.bluez.connect()

    @staticmethod
    def session_bus():
        """A private connection."""
        return dbus.bus.BusConnection(SESSION_BUS)

    def start_controllers(self):
        self.controllers = self.start_program("btvirt", "btvirt", "-l2")
        wait_for(lambda: all(os.path.exists(f"/sys/class/bluetooth/{name}") for name in ADDRESSES), "two controllers")

        self.monitor = self.start_program("btmon", "btmon", "-w", LOG / "btmon.trace")

    def start_bluetoothd(self):
        self.bluetoothd = self.start_program("bluetoothd", "/usr/libexec/bluetooth/bluetoothd", "-n")
        wait_for(lambda: set(self.bluez.adapters()) >= set(ADDRESSES), "bluetoothd to have both adapters")

    def make_adapters_ready(self):
        for name in ADDRESSES:
            self.bluez.set_adapter(name, "Powered", True)
            self.bluez.set_adapter(name, "DiscoverableTimeout", 0, "u")
            self.bluez.set_adapter(name, "Discoverable", True)

    def bond(self):
        """Pairs the two controllers once. Otherwise each link would begin with a pairing, of which the emulated controllers
        spoil a few: only one side keeps the link key, and bluetoothd refuses all further ones."""
        if all(self.bluez.is_paired(name, address) for name, address in OTHERS.items()):
            return
        self.unbond()
        for name in ADDRESSES:
            self.bluez.set_adapter(name, "Pairable", True)
        self.run_program("sdptool", "-i", "hci1", "search", "--bdaddr", ADDRESSES["hci0"], "OPUSH")
        self.bluez.pair("hci1", ADDRESSES["hci0"])
        wait_for(lambda: self.bluez.is_paired("hci0", ADDRESSES["hci1"]), "both sides to be paired")
        self.wait_for_no_link()

    def unbond(self):
        self.wait_for_no_link()
        for name, address in OTHERS.items():
            self.bluez.forget(name, address)

    def give_up_connecting(self):
        """Emulated controllers don't notice a rejection, and would retry for 40 seconds."""
        self.bluez.set_adapter("hci1", "Powered", False)
        self.make_adapters_ready()
        self.wait_for_no_link()

    @staticmethod
    def links():
        """The kernel's links, such as hci0:256."""
        return [name for name in os.listdir("/sys/class/bluetooth") if ":" in name]

    def wait_for_no_link(self):
        """Waits for the last link to end, because a connect in the other direction would hang."""
        wait_for(lambda: not self.links(), "the link between the controllers to end")
