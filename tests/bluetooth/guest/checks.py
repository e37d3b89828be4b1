"""The list of all checks, and what they compare with."""

CHECKS = []


def check(name):
    """Makes a function of the machine a check; `name` is the sentence that it proves."""
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
