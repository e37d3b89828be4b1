"""Who may push, with a stand-in for BlueZ that knows the peers."""

import json
import unittest

import phone
from phone import PhoneTest, card, wait_for


class Policy(PhoneTest):
    def start_phone_with(self, *options):
        self.start_phone(options=options)
        self.receive_on()

    def status(self, key):
        return json.loads(self.phonectl("status", "--json"))[key]

    def pushes(self):
        return self.status("objects")

    def assert_refused(self):
        with self.link() as peer:
            self.assertTrue(phone.is_closed_by_phone(peer))
        wait_for(lambda: "is refused" in self.status("lastDecision"), "the refusal to be told")

    def test_without_bluez_everybody_is_asked_about(self):
        self.start_phone_with()
        watcher = self.watch()
        self.push_card(card("Berg"))
        wait_for(lambda: any(line["event"] == "accept" for line in watcher.json_lines()), "the card")
        self.assertIn("66:77:88:99:AA:BB is let in: unknown; the user is asked", self.phone.err())

    def test_missing_bluez_is_told_once(self):
        self.start_phone_with()
        self.assertIn("no connection to the system bus", self.status("bluetooth"))
        self.assertEqual(self.phone.err().count("other phones can't find this one"), 1)

    def test_with_a_policy_but_without_bluez_everybody_is_refused(self):
        self.start_phone_with("--strangers", "refuse")
        self.assert_refused()
        self.assertIn("BlueZ can't tell whether it is trusted", self.status("lastDecision"))
        self.assertEqual(self.pushes(), 0)

    def test_blocked_device_is_refused_by_default_too(self):
        bluez = self.start_bluez()
        bluez.add_device(phone.PEER_ADDRESS, "Anna", paired=True, trusted=True, blocked=True)
        self.start_phone_with()
        self.wait_for_bluez()
        self.assert_refused()
        self.assertIn(f"{phone.PEER_ADDRESS} (Anna) is refused: blocked", self.phone.err())

    def test_strangers_are_refused_and_the_trusted_asked_about(self):
        bluez = self.start_bluez()
        bluez.add_device(phone.PEER_ADDRESS, "Anna")
        self.start_phone_with("--strangers", "refuse")
        self.wait_for_bluez()
        self.assert_refused()
        bluez.change_device(phone.PEER_ADDRESS, paired=True, trusted=True)
        watcher = self.watch()
        wait_for(self.try_push, "the trusted device to be let in")
        wait_for(lambda: any(line["event"] == "accept" for line in watcher.json_lines()), "the card")
        self.assertEqual(self.surnames(), [])

    def try_push(self):
        path = self.card_file(card("Berg"))
        result = self.run_program(self.on_radio(phone.PEER_ADDRESS) + [
            "obexput", "-b", phone.PHONE_ADDRESS, "-B", "4", "-U", "none", "-H", "-S", "-p", path])
        return result.returncode == 255

    def test_bluez_that_ends_leaves_nobody_known(self):
        bluez = self.start_bluez()
        bluez.add_device(phone.PEER_ADDRESS, "Anna", paired=True, trusted=True)
        self.start_phone_with("--strangers", "refuse")
        self.wait_for_bluez()
        bluez.process.end()
        wait_for(lambda: "not running" in self.status("bluetooth"), "the end to be noticed")
        self.assert_refused()

    def test_record_is_published_while_receiving_is_on(self):
        self.start_bluez()
        self.start_phone_with()
        wait_for(lambda: self.status("record") == "published", "the record")
        self.phonectl("receive", "off")
        wait_for(lambda: self.status("record") == "off", "the record to be taken back")

    def test_phone_is_made_visible(self):
        bluez = self.start_bluez()
        self.start_phone()
        self.wait_for_bluez()
        out = self.phonectl("receive", "on", "--visible", "3m")
        self.assertEqual(out, "Receiving is on.\nVisible for 3 minutes.\n")
        self.assertIn("'DiscoverableTimeout', <uint32 180>", bluez.process.out())
        self.assertTrue(self.status("discoverable"))

    def test_visibility_without_bluez_fails_with_the_reason(self):
        self.start_phone()
        result = self.run_program([phone.BIN / "phonectl", "--bus", self.bus_address,
                                   "receive", "on", "--visible", "3m"])
        self.assertEqual(result.returncode, 1)
        self.assertIn("other phones can't find this one: can't reach BlueZ", result.stderr)
        self.assertIn("Receiving is on.", result.stdout)

    def test_phone_that_nobody_sits_at_receives_from_the_start_and_stores_what_trusted_devices_push(self):
        bluez = self.start_bluez()
        bluez.add_device(phone.PEER_ADDRESS, "Anna", paired=True, trusted=True)
        self.start_phone(options=["--receive", "--accept", "trusted"])
        self.phone.wait_for_out("OBEX SERVER IS RUNNING")
        self.wait_for_bluez()
        wait_for(self.try_push, "the trusted device to be let in")
        wait_for(lambda: self.surnames() == ["Berg"], "the card to be stored")

    def test_policy_of_an_odd_word_is_a_mistake(self):
        result = self.run_program([phone.BIN / "phone-host", "--strangers", "welcome"])
        self.assertEqual(result.returncode, 2)
        both = self.run_program([phone.BIN / "phone-host", "--accept", "trusted", "--strangers", "ask"])
        self.assertEqual(both.returncode, 2)


if __name__ == "__main__":
    unittest.main()
