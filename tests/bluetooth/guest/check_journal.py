"""The journal, and the unattended telephone."""

import json

from check_bluez import device
from check_receiving import PHOTO, SUCCESS, push_half
from checks import check, expect, wait_for
from peer import PEER
from phone import card

REFUSED = 0x4F  # OBEX: Unsupported Media Type
NOT_LET_IN = ("", 0, "not let in: paired but not trusted", "")


def surnames(machine):
    return [entry["Surname"] for entry in machine.telephone.book()]


def push(machine, surname):
    """Pushes a card, and returns it."""
    text = card(surname, "TEL;CELL:+47 1")
    expect(machine.peer.push(f"{surname}.vcf", text), SUCCESS, "the answer")
    return text


class Journal:
    """The journal's lines from now on."""

    def __init__(self, machine):
        self.telephone = machine.telephone
        self.begin = max((line["time"] for line in self.telephone.journal()), default=0)

    def expect_lines(self, *expected):
        """Exactly these lines are added: object, size, link outcome and phonebook outcome of each."""
        def are_there():
            lines = [line for line in self.telephone.journal() if line["time"] > self.begin]
            return len(lines) >= len(expected) and all(line["phonebook"] != "waiting" for line in lines)

        wait_for(are_there, f"{len(expected)} lines of the journal")
        lines = json.loads(self.telephone.ctl("journal", "--json", "--last", str(len(expected))))
        expect([(line["object"], line["size"], line["link"], line["phonebook"]) for line in lines], list(expected),
               "the journal's lines")
        expect({(line["peer"], line["peerName"]) for line in lines}, {(PEER, "BlueZ 5.66")}, "whose pushes these are")


@check("the journal lists a stored card, the same one again, a picture, and half a card")
def lines(machine):
    journal = Journal(machine)
    text = push(machine, "Journal")
    journal.expect_lines(("Journal.vcf", len(text), "taken", "stored"))
    push(machine, "Journal")
    expect(machine.peer.push("picture.jpg", PHOTO), REFUSED, "the answer")
    with machine.peer.link() as link:
        push_half(link)
    journal.expect_lines(("Journal.vcf", len(text), "taken", "stored"),
                         ("Journal.vcf", len(text), "taken", "there already"),
                         ("picture.jpg", len(PHOTO), "refused: its name is not that of a card", ""),
                         ("half.vcf", 60, "broken off: closed by the peer", ""))


@check("an unattended telephone refuses untrusted devices, stores cards from trusted ones, and lists both in its journal")
def nobody_sits_at(machine):
    with machine.telephone.restarted("--accept", "trusted", "--receive", watched=False):
        journal = Journal(machine)
        expect(machine.peer.gets_in(), False, "the untrusted device gets in")
        journal.expect_lines(NOT_LET_IN)
        with device(machine, "Trusted"):
            text = push(machine, "Headless")
            journal.expect_lines(NOT_LET_IN, ("Headless.vcf", len(text), "taken", "stored"))
        expect(surnames(machine).count("Headless"), 1, "entries of that name")


@check("if trusted devices are accepted and strangers asked about, only cards from trusted devices are stored without asking")
def unasked(machine):
    with machine.telephone.restarted("--trusted", "accept", "--strangers", "ask", watched=False):
        journal = Journal(machine)
        with device(machine, "Trusted"):
            trusted = push(machine, "Unasked")
            journal.expect_lines(("Unasked.vcf", len(trusted), "taken", "stored"))
        stranger = push(machine, "Asked")
        wait_for(lambda: machine.telephone.journal()[-1]["phonebook"] == "waiting", "the stranger's card to wait")
        machine.telephone.ctl("reject")
        journal.expect_lines(("Unasked.vcf", len(trusted), "taken", "stored"),
                             ("Asked.vcf", len(stranger), "taken", "rejected"))
        expect([name for name in surnames(machine) if name in ("Asked", "Unasked")], ["Unasked"], "the phonebook")
