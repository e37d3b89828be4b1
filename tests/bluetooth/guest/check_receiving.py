"""Cards that the peer pushes to the telephone."""

import base64
import json
import pathlib
import random

import phone
from checks import check, expect, wait_for
from phone import IMAGES, card

CARDS = phone.DATA / "demo"
PHOTO = (CARDS / "portrait.jpg").read_bytes()
SUCCESS = 0x20
UNSUPPORTED_MEDIA_TYPE = 79

ANNA = {"Surname": "Berg", "Firstname": "Anna", "Office": "+47 22 00 11 22", "Mobile": "+47 900 12 345",
        "DefaultNumber": "3", "Email": "anna.berg@example.org", "Company": "Fjord & Fjell AS",
        "JobFunction": "Harbour master", "Picture": "photoBergAnna.jpg"}
JOSE = {"Surname": "Muñoz", "Firstname": "José", "Private": "+34 91 555 01 23", "DefaultNumber": "4",
        "Address": ";;Calle de la Cámara 5;Madrid;;28001;España"}


def expect_entry(machine, expected):
    """The entry with this surname has these values and no others."""
    found = machine.telephone.entry(expected["Surname"])
    texts = {column: text for column, text in found.items() if text and column not in ("Id", "Group")}
    expect(texts, expected, "the entry")


def expect_card_goes_through(machine, surname):
    """The telephone is still usable."""
    before = machine.telephone.stored()
    expect(machine.peer.push("card.vcf", card(surname, "TEL;CELL:+47 1")), SUCCESS, "the answer")
    machine.telephone.wait_for_stored(1, before)
    expect_entry(machine, {"Surname": surname, "Firstname": "Test", "Mobile": "+47 1", "DefaultNumber": "3"})


@check("cards from obexput are stored with all values, and the photo byte for byte")
def obexput(machine):
    before = machine.telephone.stored()
    machine.peer.obexput(CARDS / "anna.vcf", CARDS / "jose.vcf")
    machine.telephone.wait_for_stored(2, before)
    expect_entry(machine, ANNA)
    expect_entry(machine, JOSE)
    expect((IMAGES / "photoBergAnna.jpg").read_bytes(), PHOTO, "the photo")
    listed = json.loads(machine.telephone.ctl("book", "list", "--json"))
    expect(listed, machine.telephone.book(), "what phonectl lists of the phonebook")


@check("a photo of 60000 bytes arrives in many packets, byte for byte")
def large_photo(machine):
    data = random.Random(1).randbytes(60000)
    text = card("Large").encode().replace(b"END:VCARD", photo_line(data) + b"END:VCARD")
    before = machine.telephone.stored()
    expect(machine.peer.push("large.vcf", text), SUCCESS, "the answer")
    machine.telephone.wait_for_stored(1, before)
    expect((IMAGES / "photoLargeTest.jpg").read_bytes(), data, "the photo")


def photo_line(data):
    return b"PHOTO;ENCODING=BASE64;TYPE=JPEG:" + base64.b64encode(data) + b"\r\n\r\n"


@check("an object that is not a card is refused, and nothing is stored")
def refused(machine):
    book = machine.telephone.book()
    picture = pathlib.Path("/tmp/picture.jpg")
    picture.write_bytes(PHOTO)
    machine.peer.obexput(picture, code=UNSUPPORTED_MEDIA_TYPE)
    expect(machine.telephone.book(), book, "the phonebook")
    expect((IMAGES / "picture.jpg").exists(), False, "the picture is on the disk")
    expect_card_goes_through(machine, "Refused")


@check("connections are refused while receiving is off, and accepted when it is on again")
def receiving_off(machine):
    book = machine.telephone.book()
    machine.telephone.ctl("receive", "off")
    expect(machine.peer.is_refused(), True, "a link is refused")
    expect(machine.telephone.book(), book, "the phonebook")
    machine.telephone.ctl("receive", "on")
    machine.wait_for_no_link()
    expect_card_goes_through(machine, "Again")


def push_half(link):
    """The first of two packets."""
    first, _ = phone.put_packets("half.vcf", card("Half").encode() * 2, chunk=60)[:2]
    link.sendall(first)
    code, _ = phone.receive_packet(link)
    expect(code, 0x10, "the answer to the first packet")


@check("a peer that disconnects in mid-transfer leaves nothing behind")
def closes(machine):
    book = machine.telephone.book()
    with machine.peer.link() as link:
        push_half(link)
    wait_for(lambda: not machine.telephone.status()["peer"], "the telephone to see that the peer has gone")
    expect(machine.telephone.book(), book, "the phonebook")
    expect_card_goes_through(machine, "Closed")


@check("a peer whose controller is switched off in mid-transfer leaves nothing behind")
def vanishes(machine):
    book = machine.telephone.book()
    with machine.peer.link() as link:
        push_half(link)
        machine.bluez.set_adapter("hci1", "Powered", False)
        wait_for(lambda: not machine.telephone.status()["peer"], "the telephone to see that the peer has gone")
    machine.make_adapters_ready()
    expect(machine.telephone.book(), book, "the phonebook")
    expect_card_goes_through(machine, "Vanished")


@check("50 cards, each on its own link, are stored once and in order")
def fifty(machine):
    before = machine.telephone.stored()
    for number in range(50):
        text = card(f"Row{number}", f"TEL;CELL:+47 {number}")
        expect(machine.peer.push("card.vcf", text), SUCCESS, "the answer")
    machine.telephone.wait_for_stored(50, before)
    found = [(entry["Surname"], entry["Firstname"], entry["Mobile"]) for entry in machine.telephone.book()
             if entry["Surname"].startswith("Row")]
    expect(found, [(f"Row{number}", "Test", f"+47 {number}") for number in range(50)], "the phonebook")
