"""Runs the checks: main.py [--machine-only]. Prints their names and outcomes; everything else goes to /log."""

import pathlib
import subprocess
import sys
import time
import traceback

from checks import CHECKS
from machine import Machine

# Checks run in the order of these imports.
import check_machine  # noqa: F401
import check_receiving  # noqa: F401
import check_bluez  # noqa: F401
import check_sending  # noqa: F401
import check_obexd  # noqa: F401
import check_journal  # noqa: F401
import check_hostile  # noqa: F401
import check_doctor  # noqa: F401

ONLY = [words for words in pathlib.Path("/log/only").read_text().splitlines() if words]


def say(text):
    print(text, flush=True)


def run(number, name, function, machine):
    """Returns whether it passed."""
    started = time.monotonic()
    try:
        function(machine)
        say(f"ok {number} - {name} ({time.monotonic() - started:.1f} s)")
        return True
    except Exception:
        say(f"not ok {number} - {name} ({time.monotonic() - started:.1f} s)")
        say("".join("    # " + line + "\n" for line in traceback.format_exc().splitlines()).rstrip("\n"))
        machine.recover()
        return False
    finally:
        machine.save_logs()


def run_all(machine):
    """Returns the exit code."""
    machine.start()
    if "--machine-only" in sys.argv:
        say("The machine runs; its programs' output is in /run/log. Leave it with: exit")
        subprocess.run(["sh", "-i"], env=machine.environment, check=False)
        return 0
    chosen = [(name, function) for name, function in CHECKS if not ONLY or any(word in name for word in ONLY)]
    say(f"1..{len(chosen)}")
    failed = [name for number, (name, function) in enumerate(chosen, 1) if not run(number, name, function, machine)]
    machine.stop()
    say(f"{len(chosen) - len(failed)} of {len(chosen)} checks are ok")
    return 1 if failed or not chosen else 0


def main():
    machine = Machine(say)
    try:
        return run_all(machine)
    finally:
        machine.save_logs()


if __name__ == "__main__":
    sys.exit(main())
