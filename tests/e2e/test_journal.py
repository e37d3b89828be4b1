"""The journal of pushes, and unattended operation."""

import json
import signal
import unittest

import phone
from phone import PhoneTest, card, wait_for

TRUSTED = phone.PEER_ADDRESS
STRANGER = "22:33:44:55:66:77"


class Journal(PhoneTest):
    def journal(self):
        return json.loads(self.phonectl("journal", "--json"))

    def outcomes(self):
        return [(entry["link"], entry["phonebook"]) for entry in self.journal()]

    def wait_for_outcomes(self, *outcomes):
        wait_for(lambda: self.outcomes() == list(outcomes), f"{outcomes}; so far {self.outcomes()}")

    def test_a_card_is_followed_from_the_push_to_the_phonebook(self):
        self.start_phone()
        self.receive_on()
        self.push_card(card("Berg"), name="berg.vcf")
        self.wait_for_outcomes(("taken", "waiting"))
        entry = self.journal()[0]
        self.assertEqual(entry["peer"], TRUSTED)
        self.assertEqual(entry["object"], "berg.vcf")
        self.assertEqual(entry["size"], len(card("Berg")))
        self.phonectl("accept")
        self.wait_for_outcomes(("taken", "stored"))
        line = self.phonectl("journal")
        self.assertRegex(line, r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d  66:77:88:99:AA:BB  berg.vcf, \d+ bytes  taken; stored\n$")

    def test_each_card_of_a_batch_has_its_own_outcome(self):
        self.start_phone()
        self.receive_on()
        self.phonectl("book", "add", "--surname", "Carl", "--firstname", "Test")
        for surname in ("Berg", "Carl", "Dora"):
            self.push_card(card(surname), name=f"{surname}.vcf")
        wait_for(lambda: len(self.journal()) == 3, "three lines")
        self.phonectl("accept")
        self.wait_for_outcomes(("taken", "stored"), ("taken", "there already"), ("taken", "stored"))

    def test_what_is_no_card_and_what_is_refused_have_lines(self):
        self.start_phone()
        self.receive_on()
        self.obexput(self.card_file("N:Berg;Test\r\n", "odd.vcf"))
        self.obexput(self.card_file("picture", "photo.jpg"), expect=79)
        self.push_card(card("Berg"))
        wait_for(lambda: len(self.journal()) == 3, "three lines")
        self.phonectl("reject")
        self.wait_for_outcomes(("taken", "no card: it can't be read"),
                               ("refused: its name is not that of a card", ""), ("taken", "rejected"))
        self.assertEqual([entry["object"] for entry in self.journal()], ["odd.vcf", "photo.jpg", "card.vcf"])

    def test_a_push_that_breaks_off_has_a_line(self):
        self.start_phone()
        self.receive_on()
        with self.link() as peer:
            peer.sendall(phone.connect_packet())
            phone.receive_packet(peer)
            packets = phone.put_packets("berg.vcf", b"x" * 70000)
            peer.sendall(packets[0])
            phone.receive_packet(peer)
            peer.sendall(packets[1][:100])
        wait_for(lambda: self.journal(), "a line")
        self.assertIn("broken off: closed by the peer", self.journal()[0]["link"])
        self.assertEqual(self.journal()[0]["object"], "berg.vcf")

    def test_a_push_that_breaks_off_in_its_first_packet_has_a_line(self):
        self.start_phone()
        self.receive_on()
        with self.link() as peer:
            peer.sendall(phone.put_packets("berg.vcf", b"x" * 70000)[0][:100])
        wait_for(lambda: self.journal(), "a line")
        self.assertIn("broken off: closed by the peer", self.journal()[0]["link"])
        self.assertEqual(self.journal()[0]["object"], "")

    def test_cards_that_wait_when_the_telephone_ends_are_lost_and_told(self):
        self.start_phone()
        self.receive_on()
        self.push_card(card("Berg"))
        self.wait_for_outcomes(("taken", "waiting"))
        self.assertEqual(self.phone.stop(), 0)
        self.start_phone()
        self.wait_for_outcomes(("taken", "lost: the phone ended before there was an answer"))

    def test_cards_that_wait_when_the_telephone_is_killed_are_lost_and_told(self):
        self.start_phone()
        self.receive_on()
        self.push_card(card("Berg"))
        self.wait_for_outcomes(("taken", "waiting"))
        self.phone.stop(signal.SIGKILL)
        self.start_phone()
        self.wait_for_outcomes(("taken", "lost: the phone ended before there was an answer"))


class Headless(PhoneTest):
    def start_headless(self, *options):
        bluez = self.start_bluez()
        bluez.add_device(TRUSTED, "Anna", paired=True, trusted=True)
        bluez.add_device(STRANGER, "Carl")
        self.start_phone(options=options or ("--accept", "trusted"))
        self.receive_on()
        self.wait_for_bluez()
        return bluez

    def journal(self):
        return json.loads(self.phonectl("journal", "--json"))

    def test_cards_of_a_trusted_device_are_stored_without_a_question(self):
        self.start_headless()
        self.push_card(card("Berg"))
        wait_for(lambda: self.surnames() == ["Berg"], "the card")
        self.push_card(card("Dora"))
        wait_for(lambda: self.surnames() == ["Berg", "Dora"], "the second card")
        wait_for(lambda: [entry["phonebook"] for entry in self.journal()] == ["stored", "stored"], "the journal")
        self.assertIn("storing the waiting cards: all are from trusted devices", self.phone.err())

    def test_several_cards_of_one_push_are_stored(self):
        self.start_headless()
        self.obexput(*[self.card_file(card(name), f"{name}.vcf") for name in ("Berg", "Carl", "Dora")])
        wait_for(lambda: self.surnames() == ["Berg", "Carl", "Dora"], "the cards")

    def test_strangers_are_refused_with_a_line(self):
        self.start_headless()
        result = self.run_program(self.on_radio(STRANGER) + [
            "obexput", "-b", phone.PHONE_ADDRESS, "-B", "4", "-U", "none", "-H", "-S", "-p",
            self.card_file(card("Nobody"))])
        self.assertNotEqual(result.returncode, 255)
        wait_for(lambda: self.journal(), "a line")
        self.assertEqual(self.journal()[0]["peer"], STRANGER)
        self.assertIn("not let in: a stranger", self.journal()[0]["link"])
        self.assertEqual(self.surnames(), [])

    def test_nobody_is_accepted_when_bluez_is_gone(self):
        bluez = self.start_headless()
        bluez.process.end()
        wait_for(lambda: "not running" in json.loads(self.phonectl("status", "--json"))["bluetooth"], "the end")
        with self.link() as peer:
            self.assertTrue(phone.is_closed_by_phone(peer))
        self.assertEqual(self.surnames(), [])

    def test_one_card_of_a_stranger_leaves_all_to_the_user(self):
        self.start_headless("--trusted", "accept")
        self.push_card(card("Carl"), address=STRANGER)
        wait_for(lambda: len(self.journal()) == 1, "the stranger's card")
        self.push_card(card("Berg"))
        wait_for(lambda: [entry["phonebook"] for entry in self.journal()] == ["waiting", "waiting"], "both to wait")
        self.assertEqual(self.surnames(), [])
        self.phonectl("reject")
        self.push_card(card("Dora"))
        wait_for(lambda: self.surnames() == ["Dora"], "the trusted device's card alone")


if __name__ == "__main__":
    unittest.main()
