"""The telephone: phone-host with the plug-in, and phonectl."""

import contextlib
import xml.etree.ElementTree

import phone
from checks import expect, wait_for

COLUMNS = ("Id Surname Firstname Office Office2 Mobile Private Email Address Address2 Company JobFunction DefaultNumber "
           "Picture Group")
READ_ALL = ("<Schema name=\"PhoneBook\"><ReasonForMessage>read_request</ReasonForMessage>"
            f"<ResultCols>{COLUMNS}</ResultCols><Entry></Entry></Schema>")


class Telephone:
    def __init__(self, machine):
        self.machine = machine
        self.host = None
        self.watcher = None

    def start(self, *options, watched=True):
        """Starts phone-host, switches receiving on unless `--receive` does, and accepts every card if `watched`."""
        self.host = self.machine.start_program("phone-host", phone.BIN / "phone-host", *options)
        self.host.wait_for_out("phone-host: ready")
        self.watcher = None
        if watched:
            self.watcher = self.machine.start_program("watch", phone.BIN / "phonectl", "watch", "--json", "--accept")
            self.watcher.wait_for_out('"watching"')
        wait_for(lambda: self.status()["bluetooth"] == "ready", "the telephone to know what BlueZ has")
        if "--receive" not in options:
            self._receive(True)
        self.wait_for_listening()

    def stop(self):
        """Ends it with SIGTERM."""
        if self.watcher is not None:
            expect(self.watcher.stop(), 0, "phonectl watch's exit code")
        expect(self.host.stop(), 0, "phone-host's exit code")

    def end(self):
        """Kills whatever still runs."""
        for process in (self.watcher, self.host):
            if process is not None:
                process.end()

    @contextlib.contextmanager
    def restarted(self, *options, watched=True):
        """Runs it with these options for a while."""
        self.stop()
        self.start(*options, watched=watched)
        yield
        self.stop()
        self.start()

    def ctl(self, *arguments, code=0):
        """Runs phonectl; returns its output."""
        result = self.machine.run_program(phone.BIN / "phonectl", *arguments)
        expect(result.returncode, code, f"phonectl {' '.join(arguments)} ({result.stdout}{result.stderr}): exit code")
        return result.stdout if code == 0 else result.stdout + result.stderr

    # Over the bus: starting a program such as phonectl is slow in this machine.

    def receive_on(self):
        self._receive(True)
        self.wait_for_listening()

    def wait_for_listening(self):
        wait_for(lambda: self.status()["listening"], "the telephone to listen")

    def receive_off(self):
        self._receive(False)
        wait_for(lambda: not self.status()["listening"], "the telephone to stop listening")

    def _receive(self, on):
        self._call("OBEXService", "OBEXServiceIfc", "obexEnableEvent", "a{sv}", {"obexEnableParam": on})

    def status(self):
        return self._call("Phone", "Phone", "Status")

    def journal(self, last=10):
        """Its last lines, newest last."""
        return self._call("Phone", "Phone", "Journal", "i", last)[::-1]

    def book(self):
        """All entries with all columns, by Id."""
        answer = self._call("DirectoryService", "DirectoryServiceIfc", "handleRequest", "ay", READ_ALL.encode())
        entries = xml.etree.ElementTree.fromstring(answer).iter("Entry")
        return [{column.tag: column.text or "" for column in entry} for entry in entries]

    def _call(self, place, interface, method, signature="", *arguments):
        return self.machine.bus.call_blocking("org.obexphone.Phone", f"/org/obexphone/{place}", f"org.obexphone.{interface}",
                                              method, signature, arguments, timeout=120, byte_arrays=True)

    def entry(self, surname):
        """All columns of the only entry with this surname."""
        return wait_for(lambda: [entry for entry in self.book() if entry["Surname"] == surname],
                        f"{surname} in the phonebook")[0]

    def events(self, name):
        """The events that the watcher has received."""
        return [line for line in self.watcher.json_lines() if line["event"] == name]

    def wait_for_stored(self, count, before):
        """Waits until `count` cards more than `before` are stored."""
        wait_for(lambda: self.stored() >= before + count, f"{count} cards to be stored, after {before}")

    def stored(self):
        return sum(event["count"] for event in self.events("received"))
