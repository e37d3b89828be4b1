"""The list of checks, and functions to compare and to wait."""

import phone

CHECKS = []


def check(name):
    """Registers a function as a check; `name` is the sentence that it proves."""
    def add(function):
        CHECKS.append((name, function))
        return function
    return add


def expect(value, expected, what):
    if value != expected:
        raise AssertionError(f"{what}: expected {expected!r}, got {value!r}")


def expect_in(part, whole, what):
    if part not in whole:
        raise AssertionError(f"{what}: expected {part!r} in {whole!r}")


def wait_for(condition, what, pause=0.1):
    """Returns the first true result of `condition`. In this machine, polling costs time and waiting doesn't."""
    return phone.wait_for(condition, what, pause=pause)
