"""Fixture of the end-to-end tests: a private bus, phone-host on the virtual radio, and third-party programs as peers.

Each test has its own folders and radio, so tests can run in parallel; only the images folder is shared. Tests never sleep for a
fixed time: `wait_for` polls a condition, with a generous deadline.
"""

import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["PHONE_BUILD_DIR"])
BIN = BUILD / "bin"
IMAGES = pathlib.Path("/data/images")
DATA = SOURCE / "tests" / "data"

PHONE_ADDRESS = "00:11:22:33:44:55"
PEER_ADDRESS = "66:77:88:99:AA:BB"
CHANNEL = 4
DEADLINE = 60.0

BUS_CONFIG = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>session</type><listen>unix:path={path}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
<allow own="*"/>{rules}</policy></busconfig>
"""


def wait_for(condition, what, deadline=DEADLINE, pause=0.02):
    """Polls `condition` and returns its first true result; fails with `what` after `deadline` seconds."""
    end = time.monotonic() + deadline
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            raise AssertionError(f"waited {deadline:.0f} s in vain for {what}")
        time.sleep(pause)


class Process:
    """A running program, with its output in files."""

    def __init__(self, folder, name, command, environment, stdin=subprocess.DEVNULL):
        self.name = name
        self.out_path = folder / f"{name}.out"
        self.err_path = folder / f"{name}.err"
        with open(self.out_path, "ab") as out, open(self.err_path, "ab") as err:
            self.process = subprocess.Popen(
                [str(word) for word in command], stdin=stdin, stdout=out, stderr=err, env=environment)

    def out(self):
        return self.out_path.read_text(errors="replace")

    def err(self):
        return self.err_path.read_text(errors="replace")

    def json_lines(self):
        lines = self.out().split("\n")[:-1]  # the last line may be incomplete
        return [json.loads(line) for line in lines if line]

    def wait_for_out(self, text, count=1):
        wait_for(lambda: self.out().count(text) >= count or self._must_run(),
                 f"{self.name} to print {text!r} {count} times; so far:\n{self.out()}\n{self.err()}")

    def _must_run(self):
        if self.process.poll() is not None:
            raise AssertionError(
                f"{self.name} ended with {self.process.returncode}:\n{self.out()}\n{self.err()}")
        return False

    def end(self):
        """Kills it if it still runs."""
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()

    def stop(self, signal_number=signal.SIGTERM, deadline=DEADLINE):
        """Sends a signal, waits and returns the exit code."""
        if self.process.poll() is None:
            self.process.send_signal(signal_number)
        try:
            return self.process.wait(deadline)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError(f"{self.name} did not end on signal {signal_number}") from None


class Bluez:
    """The stand-in for BlueZ; its commands are listed in tests/bluez/StandInBluez.h."""

    def __init__(self, process):
        self.process = process
        self.told = 0

    def tell(self, command):
        self.process.process.stdin.write(f"{command}\n".encode())
        self.process.process.stdin.flush()
        self.told += 1
        self.process.wait_for_out("done ", self.told)

    @staticmethod
    def _path(address):
        return "/org/bluez/hci0/dev_" + address.replace(":", "_")

    @staticmethod
    def _properties(**properties):
        return ", ".join(f"'{name.capitalize()}': <{'true' if value else 'false'}>"
                         for name, value in properties.items())

    def add_device(self, address, name, paired=False, trusted=False, blocked=False):
        name = name.replace("'", "\\'")
        self.tell(f"add {self._path(address)} org.bluez.Device1 {{'Address': <'{address}'>, 'Alias': <'{name}'>, "
                  f"{self._properties(paired=paired, trusted=trusted, blocked=blocked)}}}")

    def change_device(self, address, **properties):
        self.tell(f"change {self._path(address)} org.bluez.Device1 {{{self._properties(**properties)}}}")


class PhoneTest(unittest.TestCase):
    """A test that starts phones with `self.start_phone()`. At the end, all programs are stopped and checked."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="phone-test-"))
        self.addCleanup(self._remove_folder)
        self.radio = pathlib.Path(os.environ["VIRTUAL_RADIO_DIR"])
        self.bus_address = f"unix:path={self.folder}/bus"
        self.phonebook = self.folder / "phonebook.db"
        self.environment = {
            key: value for key, value in os.environ.items()
            if key not in ("LD_PRELOAD", "DBUS_SESSION_BUS_ADDRESS", "XDG_STATE_HOME")}
        self.environment["XDG_STATE_HOME"] = str(self.folder / "state")
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self.bus_address
        # Hides the machine's own Bluetooth.
        self.environment["DBUS_SYSTEM_BUS_ADDRESS"] = f"unix:path={self.folder}/system-bus"
        self.phone = None
        self.phones_started = 0
        self._start_bus()

    def _remove_folder(self):
        if self._outcome_failed():
            for path in sorted(self.folder.glob("*.err")) + sorted(self.folder.glob("*.out")):
                print(f"--- {path.name}\n{path.read_text(errors='replace')[-6000:]}")
        shutil.rmtree(self.folder, ignore_errors=True)

    def _outcome_failed(self):
        result = self._outcome.result
        return any(test is self for test, _ in result.failures + result.errors)

    def _start_bus(self, name="bus", rules=""):
        config = self.folder / f"{name}.conf"
        config.write_text(BUS_CONFIG.format(path=self.folder / name, rules=rules))
        bus = self.start(name, ["dbus-daemon", f"--config-file={config}", "--nofork", "--print-address"])
        bus.wait_for_out("unix:")

    # Programs

    def start(self, name, command, **options):
        process = Process(self.folder, name, command, self.environment, **options)
        self.addCleanup(process.end)
        return process

    def start_phone(self, radio=True, options=(), inside=()):
        """Starts phone-host, with receiving off, and waits until it is ready. `inside` is a command prefix that must exec the
        host."""
        command = [BIN / "phone-host", "--bus", self.bus_address,
                   "--phonebook", f"sqlite3://{self.phonebook}", *options]
        if radio:
            command = self.on_radio(PHONE_ADDRESS) + command
        command = [*inside, *command]
        self.phones_started += 1
        self.phone = self.start(f"phone-{self.phones_started}", command)
        self.addCleanup(self._check_phone_ends_well, self.phone)
        self.phone.wait_for_out("phone-host: ready")
        return self.phone

    def start_bluez(self, adapter=True, rules=""):
        """Starts a system bus with these policy rules and a stand-in for BlueZ with one adapter."""
        self._start_bus("system-bus", rules)
        process = self.start("bluez", [BIN / "standin-bluez", self.environment["DBUS_SYSTEM_BUS_ADDRESS"]],
                             stdin=subprocess.PIPE)
        process.wait_for_out("standin-bluez: ready")
        bluez = Bluez(process)
        if adapter:
            bluez.tell("add /org/bluez/hci0 org.bluez.Adapter1 {'Address': <'" + PHONE_ADDRESS + "'>, "
                       "'Alias': <'phone'>, 'Powered': <true>, 'Discoverable': <false>, 'UUIDs': <@as []>}")
        return bluez

    def wait_for_bluez(self):
        """Waits until the phone has read BlueZ's objects."""
        wait_for(lambda: json.loads(self.phonectl("status", "--json"))["adapter"] == "hci0", "the adapter")

    def _check_phone_ends_well(self, phone):
        """The host must not have crashed, and the sanitizers must not have reported anything."""
        if phone.process.poll() is None:
            self.assertEqual(phone.stop(), 0, f"phone-host's exit code\n{phone.err()}")
        self.assertNotIn("Sanitizer", phone.err())
        self.assertNotIn("runtime error", phone.err())

    def on_radio(self, address):
        return [BIN / "virtual-radio", "--address", address, "--dir", self.radio, "--"]

    def run_program(self, command, deadline=DEADLINE, **options):
        return subprocess.run([str(word) for word in command], env=self.environment, timeout=deadline,
                              capture_output=True, text=True, errors="replace", check=False, **options)

    def phonectl(self, *arguments, expect=0):
        result = self.run_program([BIN / "phonectl", "--bus", self.bus_address, *arguments])
        self.assertEqual(result.returncode, expect, f"phonectl {arguments}: {result.stdout}{result.stderr}")
        return result.stdout

    def watch(self, *options, name="watch"):
        watcher = self.start(
            name, [BIN / "phonectl", "--bus", self.bus_address, "watch", "--json", *options])
        wait_for(lambda: any(line.get("event") == "watching" for line in watcher.json_lines()),
                 "phonectl watch to subscribe")
        return watcher

    def receive_on(self):
        self.phonectl("receive", "on")
        self.phone.wait_for_out("OBEX SERVER IS RUNNING")

    def busctl(self, *arguments, expect=0):
        result = self.run_program(["busctl", f"--address={self.bus_address}", "--timeout=60", *arguments])
        self.assertEqual(result.returncode, expect, f"busctl {arguments}: {result.stdout}{result.stderr}")
        return result.stdout + result.stderr

    def call_service(self, message, *body, expect=0):
        return self.busctl("call", "org.obexphone.Phone", "/org/obexphone/OBEXService",
                           "org.obexphone.OBEXServiceIfc", message, *body, expect=expect)

    # Cards

    def card_file(self, text, name="card.vcf"):
        path = self.folder / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def obexput(self, *paths, address=PEER_ADDRESS, expect=255, options=("-U", "none", "-H", "-S")):
        """Pushes files with obexput, whose exit code for success is 255. Retries while the server is not listening, which it
        isn't for a moment after a link."""
        command = self.on_radio(address) + ["obexput", "-b", PHONE_ADDRESS, "-B", str(CHANNEL), *options,
                                            "-p", *paths]

        def push():
            result = self.run_program(command)
            refused = re.search(r"Connecting\.+failed", result.stdout + result.stderr)
            return None if refused else result

        result = wait_for(push, "obexput to connect")
        self.assertEqual(result.returncode, expect, f"{command}: {result.stdout}{result.stderr}")
        return result

    def push_card(self, text, name="card.vcf", **options):
        return self.obexput(self.card_file(text, name), **options)

    def book(self):
        return json.loads(self.phonectl("book", "list", "--json"))

    def surnames(self):
        return sorted(entry["Surname"] for entry in self.book())

    # A raw peer, for what obexput does not send

    @contextlib.contextmanager
    def link(self):
        """An RFCOMM socket connected to the phone. The test itself runs on the radio, see run_test.py."""
        with contextlib.closing(self._connect()) as peer:
            peer.settimeout(DEADLINE)
            yield peer

    def _connect(self):
        def attempt():
            peer = socket.socket(socket.AF_BLUETOOTH, socket.SOCK_STREAM, socket.BTPROTO_RFCOMM)
            try:
                peer.connect((PHONE_ADDRESS, CHANNEL))
                return peer
            except OSError:
                peer.close()
                return None

        return wait_for(attempt, "the phone to accept a link", pause=0.002)


def card(surname, *lines):
    """A small vCard with this surname."""
    return "\r\n".join(["BEGIN:VCARD", "VERSION:2.1", f"N:{surname};Test", *lines, "END:VCARD", ""])


# OBEX packets

FINAL = 0x80
CONNECT, DISCONNECT, PUT, GET = 0x00, 0x01, 0x02, 0x03
NAME, BODY, END_OF_BODY, LENGTH = 0x01, 0x48, 0x49, 0xC3


def packet(code, payload=b"", length=None):
    size = len(payload) + 3 if length is None else length
    return bytes([code]) + size.to_bytes(2, "big") + payload


def header(identifier, value, length=None):
    size = len(value) + 3 if length is None else length
    return bytes([identifier]) + size.to_bytes(2, "big") + value


def name_header(name):
    return header(NAME, name.encode("utf-16-be") + b"\0\0")


def connect_packet(maximum=0xFFFF):
    return packet(CONNECT | FINAL, bytes([0x10, 0]) + maximum.to_bytes(2, "big"))


def put_packets(name, body, chunk=0xF000):
    """The packets of a PUT."""
    pieces = [body[i:i + chunk] for i in range(0, len(body), chunk)] or [b""]
    packets = []
    for number, piece in enumerate(pieces):
        last = number == len(pieces) - 1
        head = name_header(name) + header_length(len(body)) if number == 0 else b""
        packets.append(packet(PUT | (FINAL if last else 0), head + header(END_OF_BODY if last else BODY, piece)))
    return packets


def header_length(size):
    return bytes([LENGTH]) + size.to_bytes(4, "big")


def receive_packet(peer):
    """Reads one response: (code without the final bit, payload)."""
    head = receive_exactly(peer, 3)
    return head[0] & 0x7F, receive_exactly(peer, int.from_bytes(head[1:3], "big") - 3)


def receive_exactly(peer, count):
    data = b""
    while len(data) < count:
        piece = peer.recv(count - len(data))
        if not piece:
            raise ConnectionResetError("the phone closed the link")
        data += piece
    return data


def is_closed_by_phone(peer):
    """Whether the phone closes the link before the deadline."""
    try:
        while peer.recv(4096):
            pass
        return True
    except ConnectionError:
        return True
    except socket.timeout:
        return False
