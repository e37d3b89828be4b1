"""Provokes real faults, one at a time, and checks what `phonectl doctor` reports."""

import contextlib
import json
import os
import pathlib
import socket

from checks import check, expect, expect_in, wait_for
from phone import IMAGES


def examine(machine):
    """The doctor's exit code, and its findings by name."""
    result = machine.run_program("phonectl", "doctor", "--json")
    return result.returncode, {found["check"]: found for found in json.loads(result.stdout)}


def expect_fault(machine, name):
    """Waits until the doctor reports the fault, and returns its text."""
    def found():
        code, findings = examine(machine)
        return (code, findings[name]) if name in findings and not findings[name]["ok"] else None

    code, finding = wait_for(found, f"the doctor to find the fault {name}")
    expect(code, 1, "the doctor's exit code")
    expect(bool(finding["text"].strip() and finding["remedy"].strip()), True, f"{finding} says what is wrong and what to do")
    machine.say(f"    # {finding['text']}")
    machine.say(f"    # remedy: {finding['remedy']}")
    return finding["text"]


def expect_healthy(machine):
    wait_for(lambda: examine(machine)[0] == 0, "the doctor to find no fault")


@check("the doctor finds no fault with a working telephone")
def healthy(machine):
    expect_healthy(machine)


@check("the doctor finds that there is no adapter")
def no_adapter(machine):
    machine.wait_for_no_link()
    machine.controllers.stop()
    expect_fault(machine, "adapter")
    machine.start_controllers()
    machine.make_adapters_ready()
    expect_healthy(machine)


@check("the doctor finds that the adapter is off")
def adapter_off(machine):
    machine.bluez.set_adapter("hci0", "Powered", False)
    expect_fault(machine, "power")
    machine.make_adapters_ready()
    expect_healthy(machine)


@check("the doctor finds that the adapter is not visible")
def not_visible(machine):
    machine.bluez.set_adapter("hci0", "Discoverable", False)
    expect_fault(machine, "visibility")
    machine.make_adapters_ready()
    expect_healthy(machine)


@contextlib.contextmanager
def no_profiles_allowed(machine):
    """The system bus's policy denies publishing a record."""
    policy = pathlib.Path("/etc/dbus-1/system.d/strict.conf")
    policy.parent.mkdir(parents=True, exist_ok=True)
    policy.write_text("""<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><policy context="mandatory"><deny send_interface="org.bluez.ProfileManager1"/></policy></busconfig>
""")
    machine.bluez.reload_bus()
    try:
        yield
    finally:
        policy.unlink()
        machine.bluez.reload_bus()


@check("the doctor finds that the service record is missing")
def no_record(machine):
    machine.telephone.stop()
    with no_profiles_allowed(machine):
        machine.telephone.start()
        expect_fault(machine, "record")
        machine.telephone.stop()
    machine.telephone.start()
    expect_healthy(machine)


@check("receive on fails and the doctor names the program when another one has taken channel 4")
def channel_taken(machine):
    machine.telephone.receive_off()
    with contextlib.closing(socket.socket(socket.AF_BLUETOOTH, socket.SOCK_STREAM, socket.BTPROTO_RFCOMM)) as thief:
        thief.bind(("00:00:00:00:00:00", 4))
        thief.listen(1)
        machine.telephone.ctl("receive", "on", code=1)
        text = expect_fault(machine, "channel")
        expect_in(f"is taken by python3 (process {os.getpid()})", text, "what the doctor says")
    machine.telephone.wait_for_listening()
    expect_healthy(machine)


@check("the doctor finds that the images folder can't be written")
def images_read_only(machine):
    machine.run_program("mount", "--bind", IMAGES, IMAGES)
    machine.run_program("mount", "-o", "remount,ro,bind", IMAGES)
    try:
        expect_fault(machine, "images")
    finally:
        machine.run_program("umount", IMAGES)
    expect_healthy(machine)


@check("the doctor finds that the telephone isn't running")
def no_host(machine):
    machine.telephone.stop()
    expect_fault(machine, "phone")
    machine.telephone.start()
    expect_healthy(machine)
