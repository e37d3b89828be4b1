"""Sending to obexd, the receiver of Linux desktops, whose channel the telephone has to find."""

import contextlib
import random

from check_receiving import PHOTO, expect_card_goes_through
from check_sending import contact_file, photo_line, send, vcard
from checks import check, expect, expect_in, wait_for
from obexd import CHANNEL
from peer import PEER
from phone import DEADLINE, IMAGES
from receiver import FOLDER, received


@contextlib.contextmanager
def obexd(machine, **options):
    """Runs obexd as the peer. Receiving is off meanwhile: both controllers belong to one bluetoothd, so that the telephone's
    service record would be the peer's, too."""
    machine.telephone.receive_off()
    wait_for(lambda: not machine.bluez.offers_push(), "the telephone's service record to go")
    machine.obexd.start_receiver(**options)
    try:
        yield
    finally:
        machine.obexd.stop()
        wait_for(lambda: not machine.bluez.offers_push(), "obexd's service record to go")
        machine.telephone.receive_on()
        wait_for(lambda: machine.telephone.status()["record"] == "published", "the telephone's service record")


@contextlib.contextmanager
def alias(machine, name):
    """Sets the peer's name on the telephone's adapter."""
    machine.bluez.set_device("hci0", PEER, "Alias", name)
    try:
        yield
    finally:
        machine.bluez.set_device("hci0", PEER, "Alias", "")


def expect_not_sent(said, where):
    expect_in(f"was not sent to {where}", said, "what phonectl says")
    expect_in("The contact is still pending", said, "what phonectl says")


@check("obexd receives a contact with a photo, byte for byte, on the channel of its service record")
def by_address(machine):
    (IMAGES / "nora.jpg").write_bytes(PHOTO)
    contact = contact_file(surname="Moe", firstname="Nora", mobile="+47 6", defaultnumber="Mobile", picture="nora.jpg")
    expected = vcard("Moe", "Nora", "TEL;VOICE;CELL;PREF:+47 6", photo_line(PHOTO))
    with obexd(machine):
        expect_in(f"{PEER}, channel {CHANNEL}", send(machine, "--json", contact), "what phonectl says")
        expect(received("MoeNora.vcf", len(expected)), expected, "the card that obexd got")


@check("a phonebook contact is sent to a device by its name")
def by_name(machine):
    expect_card_goes_through(machine, "Named")
    expected = vcard("Named", "Test", "TEL;VOICE;CELL;PREF:+47 1")
    with obexd(machine), alias(machine, "Nora's phone"):
        expect_in(f"{PEER}, channel {CHANNEL}", send(machine, "Named", to="nora's phone"), "what phonectl says")
        expect(received("NamedTest.vcf", len(expected)), expected, "the card that obexd got")


@check("a contact that obexd refuses stays pending until obexd accepts it")
def refused(machine):
    contact = contact_file(surname="Lie", firstname="Pia", mobile="+47 7", defaultnumber="Mobile")
    expected = vcard("Lie", "Pia", "TEL;VOICE;CELL;PREF:+47 7")
    with obexd(machine, takes=False):
        expect_not_sent(send(machine, "--json", contact, code=1), f"{PEER}, channel {CHANNEL}")
    with obexd(machine):
        send(machine, "--pending")
        expect(received("LiePia.vcf", len(expected)), expected, "the card that obexd got")


@check("a contact is reported as not sent if the device is switched off in mid-transfer, and the telephone stays usable")
def vanishes(machine):
    (IMAGES / "roy.jpg").write_bytes(random.Random(3).randbytes(600000))
    contact = contact_file(surname="Vik", firstname="Roy", picture="roy.jpg")
    part = FOLDER / "VikRoy.vcf"
    with obexd(machine):
        machine.wait_for_no_link()
        sending = machine.start_program("send", "phonectl", "send", "--json", contact, "--to", PEER)
        wait_for(lambda: part.exists() and part.stat().st_size > 0, "a part of the card")
        machine.bluez.set_adapter("hci1", "Powered", False)
        expect(sending.process.wait(DEADLINE), 1, "phonectl's exit code")
        expect_not_sent(sending.err(), f"{PEER}, channel {CHANNEL}")
        machine.make_adapters_ready()
    machine.telephone.ctl("cancel")
    expect_card_goes_through(machine, "Away")


@check("a contact is not sent to a channel without a listener, and the telephone stays usable")
def nobody_listens(machine):
    contact = contact_file(surname="Nobody", firstname="Listens")
    expect_not_sent(send(machine, "--json", contact, channel=11, code=1), f"{PEER}, channel 11")
    machine.telephone.ctl("cancel")
    expect_card_goes_through(machine, "Listens")


@check("a contact is not sent to a device that is off, with and without a channel, and the telephone stays usable")
def device_off(machine):
    contact = contact_file(surname="Device", firstname="Off")
    machine.wait_for_no_link()
    machine.bluez.set_adapter("hci1", "Powered", False)
    said = send(machine, "--json", contact, code=1)
    expect_in(f"can't ask {PEER} for its channel", said, "what phonectl says")
    expect_in("Check that the device is switched on and in range", said, "what phonectl says")
    expect_not_sent(send(machine, "--json", contact, channel=CHANNEL, code=1), f"{PEER}, channel {CHANNEL}")
    machine.telephone.ctl("cancel")
    machine.make_adapters_ready()
    expect_card_goes_through(machine, "Off")
