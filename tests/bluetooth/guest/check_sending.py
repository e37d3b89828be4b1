"""Sending to the peer."""

import base64
import contextlib
import json
import pathlib

from check_receiving import PHOTO, expect_entry
from checks import check, expect, wait_for
from peer import PEER, TELEPHONE
from phone import IMAGES
from receiver import CHANNEL, Receiver, received


def vcard(surname, firstname, *lines):
    """The card that the telephone sends for a contact."""
    whole = ["BEGIN:VCARD", "VERSION: 2.1", f"N;CHARSET=UTF-8:{surname};{firstname};;;", *lines, "END:VCARD"]
    return "".join(line if line.endswith("\n") else f"{line}\r\n" for line in whole).encode()


def photo_line(data):
    """It ends with both CR LF and LF."""
    return "PHOTO;ENCODING=BASE64;TYPE=JPEG:" + base64.b64encode(data).decode() + "\r\n\n"


@contextlib.contextmanager
def receiver(machine):
    other = Receiver(machine)
    other.start()
    try:
        yield
    finally:
        other.stop()


def contact_file(**contact):
    path = pathlib.Path("/tmp/contact.json")
    path.write_text(json.dumps(contact))
    return str(path)


def send(machine, *what, to=PEER, channel=None, code=0):
    """Without a channel, the telephone has to find it."""
    machine.wait_for_no_link()
    options = ["--channel", str(channel)] if channel else []
    return machine.telephone.ctl("send", *what, "--to", to, *options, code=code)


@check("a contact with a photo arrives at the peer, byte for byte")
def arrives(machine):
    (IMAGES / "ida.jpg").write_bytes(PHOTO)
    contact = contact_file(surname="Dahl", firstname="Ida", mobile="+47 2", defaultnumber="Mobile", picture="ida.jpg")
    expected = vcard("Dahl", "Ida", "TEL;VOICE;CELL;PREF:+47 2", photo_line(PHOTO))
    with receiver(machine):
        send(machine, "--json", contact, channel=CHANNEL)
        expect(received("DahlIda.vcf", len(expected)), expected, "the card that the peer got")


@check("a telephone on the second controller finds the channel by SDP and pushes a card to this one")
def from_another_telephone(machine):
    before = machine.telephone.stored()
    contact = contact_file(surname="Other", firstname="Ole", mobile="+47 5", defaultnumber="Mobile")
    with other_telephone(machine) as bus:
        machine.wait_for_no_link()
        result = machine.run_program("phonectl", "--bus", bus, "send", "--json", contact, "--to", TELEPHONE)
        expect(result.returncode, 0, f"phonectl's exit code ({result.stderr})")
    machine.telephone.wait_for_stored(1, before)
    expect_entry(machine, {"Surname": "Other", "Firstname": "Ole", "Mobile": "+47 5", "DefaultNumber": "3"})


@contextlib.contextmanager
def other_telephone(machine):
    """A telephone with its own bus that only sends. The kernel picks the second controller, because the first one has the
    destination's address."""
    bus = "unix:path=/run/other-bus"
    daemon = machine.start_program("other-bus", "dbus-daemon", "--session", "--nofork", f"--address={bus}")
    wait_for(pathlib.Path("/run/other-bus").exists, "the other telephone's bus")
    host = machine.start_program("other-host", "phone-host", "--bus", bus, "--adapter", "hci1",
                                 "--phonebook", "sqlite3:///run/other.db")
    try:
        host.wait_for_out("phone-host: ready")
        yield bus
        expect(host.stop(), 0, "the other phone-host's exit code")
    finally:
        host.end()
        daemon.end()
        pathlib.Path("/run/other-bus").unlink(missing_ok=True)
