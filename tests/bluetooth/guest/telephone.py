"""The telephone: phone-host with the plug-in, and phonectl."""

import json
import pathlib

import phone
from checks import expect
from phone import wait_for

STATE = pathlib.Path("/run/state")


class Telephone:
    def __init__(self, machine):
        self.machine = machine
        self.host = None
        self.watcher = None

    def start(self, *options):
        """Starts the host with receiving on, and someone who accepts every card."""
        self.host = self.machine.start_program("phone-host", phone.BIN / "phone-host", *options)
        self.host.wait_for_out("phone-host: ready")
        self.watcher = self.machine.start_program("watch", phone.BIN / "phonectl", "watch", "--json", "--accept")
        self.watcher.wait_for_out('"watching"')
        self.receive_on()

    def stop(self):
        """Ends it as an administrator does."""
        expect(self.watcher.stop(), 0, "phonectl watch's exit code")
        expect(self.host.stop(), 0, "phone-host's exit code")

    def end(self):
        """Makes sure that it is gone."""
        for process in (self.watcher, self.host):
            if process is not None:
                process.end()

    def ctl(self, *arguments, code=0):
        """Runs phonectl; returns what it prints."""
        result = self.machine.run_program(phone.BIN / "phonectl", *arguments)
        expect(result.returncode, code, f"phonectl {' '.join(arguments)} ({result.stdout}{result.stderr}): exit code")
        return result.stdout if code == 0 else result.stdout + result.stderr

    def receive_on(self):
        self.ctl("receive", "on")
        wait_for(lambda: self.status()["listening"], "the telephone to listen")

    def receive_off(self):
        self.ctl("receive", "off")
        wait_for(lambda: not self.status()["listening"], "the telephone to stop listening")

    def status(self):
        """What `phonectl status --json` prints, from where it has that: a poll must cost little."""
        return self.machine.bus.call_blocking("org.obexphone.Phone", "/org/obexphone/Phone", "org.obexphone.Phone", "Status",
                                              "", ())

    def book(self):
        return json.loads(self.ctl("book", "list", "--json"))

    def entry(self, surname):
        """All columns of the one entry of that surname."""
        return wait_for(lambda: [entry for entry in self.book() if entry["Surname"] == surname],
                        f"{surname} in the phonebook")[0]

    def events(self, name):
        """What the watcher has heard."""
        return [line for line in self.watcher.json_lines() if line["event"] == name]

    def wait_for_stored(self, count, before):
        """Waits until so many cards more than `before` were stored."""
        wait_for(lambda: self.stored() >= before + count, f"{count} cards to be stored, after {before}", pause=0.05)

    def stored(self):
        return sum(event["count"] for event in self.events("received"))
