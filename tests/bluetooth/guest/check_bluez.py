"""What other phones see of the telephone, and whom it lets in."""

import contextlib
import pathlib

from check_receiving import expect_card_goes_through, expect_entry
from checks import check, expect, expect_in
from peer import PEER, TELEPHONE
from phone import card, wait_for

CHANNEL_LINE = "Channel: 4"


def record(machine):
    """What an SDP search for Object Push finds, as the peer sees it."""
    machine.wait_for_no_link()
    return machine.run_program("sdptool", "-i", "hci1", "search", "--bdaddr", TELEPHONE, "OPUSH").stdout


def expect_record(machine):
    found = wait_for(lambda: (lambda text: text if CHANNEL_LINE in text else None)(record(machine)), "the record")
    for part in ("Service Name: obexphone", '"OBEX Object Push" (0x1105)', '"RFCOMM" (0x0003)', '"OBEX" (0x0008)'):
        expect_in(part, found, "the record")
    return found


@check("the other controller finds the service record by SDP")
def has_record(machine):
    for line in expect_record(machine).strip().splitlines():
        machine.say(f"    # {line}")
    expect(machine.telephone.status()["record"], "published", "what the telephone says of it")


@check("the service record is gone while receiving is off, and is there again when it is on")
def record_follows(machine):
    machine.telephone.receive_off()
    wait_for(lambda: CHANNEL_LINE not in record(machine), "the record to go")
    machine.telephone.receive_on()
    expect_record(machine)


@check("obexd finds the channel by SDP and pushes a card")
def obexd_pushes(machine):
    before = machine.telephone.stored()
    path = pathlib.Path("/tmp/obexd.vcf")
    path.write_text(card("Obexd", "TEL;CELL:+47 4"))
    machine.obexd.start_client()
    machine.wait_for_no_link()
    machine.obexd.push(path)
    machine.obexd.stop()
    machine.telephone.wait_for_stored(1, before)
    expect_entry(machine, {"Surname": "Obexd", "Firstname": "Test", "Mobile": "+47 4", "DefaultNumber": "3"})


@contextlib.contextmanager
def device(machine, key):
    """A property of the peer, as the telephone's adapter knows it, is true for a while."""
    machine.wait_for_no_link()
    machine.bluez.set_device("hci0", PEER, key, True)
    try:
        yield
    finally:
        machine.bluez.set_device("hci0", PEER, key, False)


@check("a blocked device does not get in, and does when it is no longer blocked")
def blocked(machine):
    book = machine.telephone.book()
    objects = machine.telephone.status()["objects"]
    with device(machine, "Blocked"):
        expect(machine.peer.gets_in(), False, "the blocked device gets in")
        machine.give_up_connecting()
    expect(machine.telephone.book(), book, "the phonebook")
    expect(machine.telephone.status()["objects"], objects, "objects that came in")
    expect_card_goes_through(machine, "Blocked")


@check("where strangers are refused, an untrusted device is closed out before a byte is read, and a trusted one gets in")
def strangers_refused(machine):
    machine.telephone.stop()
    machine.telephone.start("--strangers", "refuse")
    expect(machine.peer.gets_in(), False, "the untrusted device gets in")
    said = machine.telephone.status()["lastDecision"]
    expect_in("is refused: paired, but not trusted", said, "the last decision")
    machine.wait_for_no_link()
    with device(machine, "Trusted"):
        expect_card_goes_through(machine, "Trusted")
    machine.telephone.stop()
    machine.telephone.start()


@check("after bluetoothd was restarted the record is there again, and cards come in")
def restarted(machine):
    machine.bluetoothd.stop()
    machine.start_bluetoothd()
    machine.make_adapters_ready()
    expect_record(machine)
    wait_for(lambda: machine.telephone.status()["bluetooth"] == "ready", "the telephone to say that Bluetooth is ready")
    expect_card_goes_through(machine, "Restarted")
