"""Two telephones, each with its own radio address and bus, and one phonebook on a PostgreSQL server."""

import json
import os
import unittest

from phone import BIN, CHANNEL, PHONE_ADDRESS, PhoneTest, card, wait_for
from postgres import Server

OTHER_ADDRESS = "66:77:88:99:AA:CC"


class Telephone:
    """One of them, with someone who accepts every card."""

    def __init__(self, test, name, address):
        self.test = test
        self.address = address
        test._start_bus(f"bus-{name}")
        self.bus = f"unix:path={test.folder}/bus-{name}"
        command = test.on_radio(address) + [
            BIN / "phone-host", "--bus", self.bus, "--phonebook", test.server.connection]
        self.process = test.start(f"phone-{name}", command)
        test.addCleanup(test._check_phone_ends_well, self.process)
        self.process.wait_for_out("phone-host: ready")
        self.control("receive", "on")
        self.process.wait_for_out("OBEX SERVER IS RUNNING")
        self.watcher = test.start(f"watch-{name}", self._words("watch", "--json", "--accept"))
        wait_for(lambda: self.events("watching"), "phonectl watch to subscribe")

    def _words(self, *arguments):
        return [BIN / "phonectl", "--bus", self.bus, *arguments]

    def control(self, *arguments, expect=0):
        result = self.test.run_program(self._words(*arguments))
        self.test.assertEqual(result.returncode, expect, f"{arguments}: {result.stdout}{result.stderr}")
        return result.stdout + result.stderr

    def events(self, name):
        return [line for line in self.watcher.json_lines() if line.get("event") == name]

    def push(self, text):
        """Pushes a card, which is accepted, and returns how that ended."""
        outcomes = len(self.events("received")) + len(self.events("error"))
        path = self.test.card_file(text)
        command = self.test.on_radio("66:77:88:99:AA:DD") + [
            "obexput", "-b", self.address, "-B", str(CHANNEL), "-U", "none", "-H", "-S", "-p", path]
        wait_for(lambda: self.test.run_program(command).returncode == 255, "obexput to push")
        wait_for(lambda: len(self.events("received")) + len(self.events("error")) > outcomes, "the outcome")
        return self.watcher.json_lines()[-1]

    def surnames(self):
        return sorted(entry["Surname"] for entry in json.loads(self.control("book", "list", "--json")))


class SharedBookTest(PhoneTest):
    def setUp(self):
        super().setUp()
        os.chmod(self.folder, 0o755)
        self.server = Server(self.folder / "server")
        self.addCleanup(self.server.end)
        self.first = Telephone(self, "first", PHONE_ADDRESS)
        self.second = Telephone(self, "second", OTHER_ADDRESS)

    def test_a_card_that_both_telephones_get_is_stored_once(self):
        text = card("Berg", "TEL;CELL:5")
        for telephone in (self.first, self.second):
            outcome = telephone.push(text)
            # What is in the phonebook already counts as stored: the second says the same as the first.
            self.assertEqual((outcome["event"], outcome["count"]), ("received", 1))
            self.assertEqual(outcome["first"]["Surname"], "Berg")
        self.assertEqual(self.first.surnames(), ["Berg"])
        self.assertEqual(self.second.surnames(), ["Berg"])
        self.assertEqual(self.server.sql("SELECT COUNT(*) FROM entries"), "1")

    def test_what_one_telephone_changes_the_other_sees(self):
        self.first.push(card("Berg"))
        self.second.push(card("Dahl"))
        self.assertEqual(self.first.surnames(), ["Berg", "Dahl"])
        self.second.control("book", "delete", "--yes", "1")
        self.first.control("book", "edit", "2", "--surname", "Ek")
        self.assertEqual(self.first.surnames(), ["Ek"])
        self.assertEqual(self.second.surnames(), ["Ek"])

    def test_a_server_that_stops_is_told_and_used_again_when_it_is_back(self):
        self.first.push(card("Berg"))
        self.server.stop()
        outcome = self.first.push(card("Dahl"))
        self.assertEqual((outcome["event"], outcome["reason"]), ("error", "not stored"))
        self.assertIn("can't be reached", self.second.control("book", "list", expect=1))
        self.assertIn("can't be reached", self.first.process.err())
        self.assertIsNone(self.first.process.process.poll())
        self.server.start()
        self.assertEqual(self.second.surnames(), ["Berg"])
        self.first.push(card("Ek"))
        self.assertEqual(self.second.surnames(), ["Berg", "Ek"])


if __name__ == "__main__":
    unittest.main()
