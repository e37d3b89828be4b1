"""Malicious and broken peers."""

import random

import phone
from check_receiving import expect_card_goes_through
from checks import check, expect, wait_for


@check("a peer that sends garbage is disconnected, and the next card arrives")
def garbage(machine):
    book = machine.telephone.book()
    for data in (b"\xff" * 300, b"\x00" * 300, random.Random(2).randbytes(5000)):
        with machine.peer.link() as link:
            send_all(link, data)
            expect(phone.is_closed_by_phone(link), True, "the telephone closes the link")
    expect(machine.telephone.book(), book, "the phonebook")
    expect_card_goes_through(machine, "Garbage")


def send_all(link, data):
    """Sends as much as possible: the link may be closed first."""
    try:
        link.sendall(data)
    except ConnectionError:
        pass


@check("a peer that disconnects in the middle of a packet header does no harm")
def half_head(machine):
    book = machine.telephone.book()
    for data in (b"\x80", phone.connect_packet()[:2], phone.connect_packet()[:5]):
        with machine.peer.link() as link:
            link.sendall(data)
    expect(machine.telephone.book(), book, "the phonebook")
    expect_card_goes_through(machine, "Half")


@check("a peer that falls silent in mid-packet is disconnected in the end, and the next one admitted")
def silent(machine):
    with machine.peer.link() as link:
        link.sendall(phone.connect_packet()[:5])
        link.settimeout(None)
        expect(phone.is_closed_by_phone(link), True, "the telephone closes the link")
    wait_for(lambda: machine.telephone.status()["lastLinkEnd"] == "the peer was idle for too long",
             "the telephone to say why the link has ended")
    expect_card_goes_through(machine, "Silent")
