"""Service record, admission and visibility."""

import contextlib
import json
import pathlib

from check_receiving import expect_card_goes_through, expect_entry, push_half
from checks import check, expect, expect_in, wait_for
from peer import PEER, TELEPHONE
from phone import card

CHANNEL_LINE = "Channel: 4"


def record(machine):
    """What an SDP search for Object Push finds from the peer."""
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


@check("the service record is withdrawn while receiving is off, and published again when it is on")
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
    """Sets a property of the peer's device object for a while."""
    machine.wait_for_no_link()
    machine.bluez.set_device("hci0", PEER, key, True)
    try:
        yield
    finally:
        machine.bluez.set_device("hci0", PEER, key, False)


@check("a blocked device is refused until it is unblocked")
def blocked(machine):
    book = machine.telephone.book()
    objects = machine.telephone.status()["objects"]
    with device(machine, "Blocked"):
        expect(machine.peer.gets_in(), False, "the blocked device gets in")
        machine.give_up_connecting()
    expect(machine.telephone.book(), book, "the phonebook")
    expect(machine.telephone.status()["objects"], objects, "objects that came in")
    expect_card_goes_through(machine, "Blocked")


@check("if strangers are refused, an untrusted device is disconnected before a byte is read, and a trusted one admitted")
def strangers_refused(machine):
    with machine.telephone.restarted("--strangers", "refuse"):
        expect(machine.peer.gets_in(), False, "the untrusted device gets in")
        said = machine.telephone.status()["lastDecision"]
        expect_in("is refused: paired but not trusted", said, "the last decision")
        with device(machine, "Trusted"):
            expect_card_goes_through(machine, "Trusted")


@check("after bluetoothd restarts, the record is published again and cards arrive")
def restarted(machine):
    machine.bluetoothd.stop()
    machine.start_bluetoothd()
    machine.make_adapters_ready()
    expect_record(machine)
    wait_for(lambda: machine.telephone.status()["bluetooth"] == "ready", "the telephone to say that Bluetooth is ready")
    expect_card_goes_through(machine, "Restarted")
    expect("org.bluez.Error" in machine.telephone.host.err(), False, "an error of BlueZ is in the log")


@check("after a controller is unplugged in mid-transfer and plugged in again, the record is published and cards arrive")
def controller_returns(machine):
    book = machine.telephone.book()
    with machine.peer.link() as link:
        push_half(link)
        machine.controllers.stop()
        wait_for(lambda: not machine.telephone.status()["peer"], "the telephone to see that the peer has gone")
    wait_for(lambda: not machine.telephone.status()["adapter"], "the telephone to see that its adapter has gone")
    machine.start_controllers()
    machine.make_adapters_ready()
    expect_record(machine)
    expect(machine.telephone.book(), book, "the phonebook")
    expect_card_goes_through(machine, "Returned")


@check("the adapter is visible for as long as asked, and no longer")
def visible(machine):
    machine.bluez.set_adapter("hci0", "Discoverable", False)
    machine.telephone.ctl("receive", "on", "--visible", "3s")
    expect_visible_for(machine, 3)
    machine.make_adapters_ready()


@check("visibility ends in time even if the telephone is killed")
def visible_when_killed(machine):
    machine.bluez.set_adapter("hci0", "Discoverable", False)
    machine.telephone.ctl("receive", "on", "--visible", "3s")
    machine.telephone.end()
    expect_visible_for(machine, 3)
    machine.telephone.start()
    machine.make_adapters_ready()


def expect_visible_for(machine, seconds):
    """It is visible now, and later it isn't."""
    adapter = machine.bluez.adapter("hci0")
    expect((bool(adapter["Discoverable"]), int(adapter["DiscoverableTimeout"])), (True, seconds), "visible, and for how long")
    wait_for(lambda: not machine.bluez.adapter("hci0")["Discoverable"], "the adapter to be no longer visible")


def listed(machine, *options):
    """What `phonectl devices` prints for the peer."""
    found = json.loads(machine.telephone.ctl("devices", "--json", *options))
    return next(device for device in found if device["address"] == PEER)


@check("phonectl devices shows that the peer is paired, then trusted, and found by a scan")
def devices(machine):
    known = {"address": PEER, "name": "BlueZ 5.66", "trust": "paired", "paired": True, "trusted": False, "blocked": False,
             "connected": False, "near": False}
    machine.wait_for_no_link()
    expect(listed(machine, "--scan", "0"), known, "the peer")
    with device(machine, "Trusted"):
        expect(listed(machine, "--scan", "0"), known | {"trust": "trusted", "trusted": True}, "the trusted peer")
    expect(listed(machine, "--scan", "2s"), known | {"near": True}, "the peer, after a search")
