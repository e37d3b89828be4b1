"""The phone needs no more than its unit allows. Works without systemd: reads the unit, and traces the phone or confines it the
same way."""

import os
import pathlib
import re
import resource
import subprocess
import unittest

import mounts
import phone
from phone import IMAGES, SOURCE, card, wait_for
from test_disks import PICTURE, Trouble

UNIT = phone.BUILD / "packaging" / "obexphone.service"
# Denied but not needed: GLib sets the default scheduling of its threads; SQLite running as root, as here, gives files to the
# folder's owner.
ASKED_IN_VAIN = {"sched_setattr", "fchown"}


def lines_of(setting):
    found = re.findall(rf"^{setting}=(.*)$", UNIT.read_text(), re.MULTILINE)
    assert found, f"the unit has no {setting}"
    return found


def expand(names):
    """Expands names and sets of system calls."""
    calls = set()
    for name in names:
        if not name.startswith("@"):
            calls.add(name)
            continue
        text = subprocess.run(["systemd-analyze", "syscall-filter", "--no-pager", name], check=True, capture_output=True,
                              text=True).stdout
        members = [line.strip() for line in text.splitlines()[1:]]
        calls |= expand(member for member in members if member and not member.startswith("#"))
    return calls


def allowed_calls():
    calls = expand(["@default"])
    for line in lines_of("SystemCallFilter"):
        if line.startswith("~"):
            calls -= expand(line[1:].split())
        else:
            calls |= expand(line.split())
    return calls


class LivesAsItsUnitSays(Trouble):
    def live(self):
        """Receives a card with a photo, stores, lists and sends it."""
        self.expect_stored("Berg", *PICTURE)
        self.phonectl("status")
        self.phonectl("send", "Berg", "--to", phone.PEER_ADDRESS, "--channel", "9", expect=1)  # nobody listens there
        self.phonectl("receive", "off")
        self.assertEqual(self.phone.stop(), 0, self.phone.err())

    @unittest.skipIf(os.environ.get("PHONE_SANITIZE"), "the sanitizers have needs of their own")
    def test_every_system_call_is_allowed(self):
        trace = self.folder / "trace"
        self.addCleanup(lambda: (IMAGES / "photoBergTest.jpg").unlink(missing_ok=True))
        self.begin(inside=["strace", "--daemonize", "--follow-forks", "--string-limit=0", "--output", trace,
                           f"--inject={','.join(ASKED_IN_VAIN)}:error=EPERM"])
        self.live()
        text = wait_for(lambda: self.whole(trace), "the end of the trace")
        calls = re.findall(r"^\d+ +([a-z_0-9]+)\((.*)$", text, re.MULTILINE)
        names = {name for name, _ in calls}
        self.assertLessEqual({"socket", "openat", "sendmsg"}, names, "nothing was seen")
        refused = names - allowed_calls() - ASKED_IN_VAIN
        self.assertEqual(refused, set(), "the unit's SystemCallFilter refuses these")
        self.expect_no_code_from_data(calls)
        self.expect_families(calls)

    @staticmethod
    def whole(trace):
        text = trace.read_text(errors="replace")
        return text if re.search(r"\+\+\+ exited with 0 \+\+\+\n\Z", text) else None

    def expect_no_code_from_data(self, calls):
        for name, arguments in calls:
            if name in ("mmap", "mprotect", "pkey_mprotect", "shmat"):
                self.assertFalse("PROT_EXEC" in arguments and "PROT_WRITE" in arguments, f"{name}({arguments}")
            if name == "mprotect":
                self.assertNotIn("PROT_EXEC", arguments)

    def expect_families(self, calls):
        wanted = set(lines_of("RestrictAddressFamilies")[0].split())
        used = {arguments.split(",")[0] for name, arguments in calls if name in ("socket", "socketpair")}
        self.assertLessEqual(used, wanted)

    @unittest.skipUnless(mounts.available(), "this kernel gives no mounts of one's own")
    def test_it_needs_to_write_to_state_and_images_alone_and_has_no_capability(self):
        state = self.folder / "state"
        state.mkdir()
        self.phonebook = state / "phonebook.db"
        writable = [state, self.radio]
        script = "\n".join([
            *(f"mount --bind {folder} {folder}" for folder in writable),
            mounts.disk(IMAGES, 24),
            "mount -o remount,bind,ro /",
            *(f"mount -o remount,bind,ro {place}" for place in self.other_mounts()),
            f"if touch {self.folder}/probe 2>/dev/null; then echo 'it can write' >&2; exit 9; fi"])
        self.begin(inside=[*mounts.inside(script), "setpriv", "--bounding-set=-all", "--inh-caps=-all", "--no-new-privs"])
        status = (pathlib.Path("/proc") / str(self.phone.process.pid) / "status").read_text()
        self.assertRegex(status, r"CapEff:\s+0+\n")
        self.assertRegex(status, r"NoNewPrivs:\s+1\n")
        self.live()

    @staticmethod
    def other_mounts():
        """All writable mounts of the machine that hold files."""
        with open("/proc/self/mounts", encoding="utf-8") as table:
            entries = [line.split()[:4] for line in table]
        return [place for _, place, kind, options in entries
                if place != "/" and not place.startswith(("/proc", "/sys", "/dev")) and "rw" in options.split(",")]


class Descriptors(Trouble):
    def test_soft_limit_is_what_select_can_take(self):
        soft, hard = lines_of("LimitNOFILE")[0].split(":")
        hard = min(int(hard), resource.getrlimit(resource.RLIMIT_NOFILE)[1])  # only root may raise it
        self.begin(inside=["prlimit", f"--nofile={soft}:{hard}"])
        limits = (pathlib.Path("/proc") / str(self.phone.process.pid) / "limits").read_text()
        self.assertRegex(limits, rf"Max open files +{soft} +{hard} ")
        self.expect_stored("Berg")


if __name__ == "__main__":
    unittest.main()
