"""Runs the checks in order, up to the first that fails, since each depends on those before it. Results go to stdout, logs to
/log."""

import sys
import time
import traceback

from checks import CHECKS
from system import System

import check_packages  # noqa: F401


def say(text):
    print(text, flush=True)


def is_ok(number, name, function, system):
    started = time.monotonic()
    try:
        function(system)
    except Exception:
        say(f"not ok {number} - {name} ({time.monotonic() - started:.1f} s)")
        say("".join("    # " + line + "\n" for line in traceback.format_exc().splitlines()).rstrip("\n"))
        return False
    say(f"ok {number} - {name} ({time.monotonic() - started:.1f} s)")
    return True


def main():
    system = System(say)
    system.start()
    say(f"1..{len(CHECKS)}")
    ok = all(is_ok(number, name, function, system) for number, (name, function) in enumerate(CHECKS, 1))
    say("All checks passed" if ok else "A check failed; later ones were not run")
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
