"""Two phones with separate radio addresses, host names and buses share a phonebook on a PostgreSQL server."""

import json
import os
import pwd
import signal
import unittest

import mounts
from phone import BIN, CHANNEL, PHONE_ADDRESS, PhoneTest, card, wait_for
from postgres import Server

OTHER_ADDRESS = "66:77:88:99:AA:CC"


class Telephone:
    """One of the phones, with an observer that accepts every card or only watches."""

    def __init__(self, test, name, address, watch="--accept"):
        self.test = test
        self.name = f"{pwd.getpwuid(os.geteuid()).pw_name}@{name}"
        self.address = address
        test._start_bus(f"bus-{name}")
        self.bus = f"unix:path={test.folder}/bus-{name}"
        command = mounts.with_host_name(name) + test.on_radio(address) + [
            BIN / "phone-host", "--bus", self.bus, "--phonebook", test.server.connection]
        self.process = test.start(f"phone-{name}", command)
        test.addCleanup(test._check_phone_ends_well, self.process)
        self.process.wait_for_out("phone-host: ready")
        self.control("receive", "on")
        self.process.wait_for_out("OBEX SERVER IS RUNNING")
        self.watcher = test.start(f"watch-{name}", self._words("watch", "--json", *watch.split()))
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
        """Pushes a card, which is accepted; returns the outcome."""
        outcomes = len(self.events("received")) + len(self.events("error"))
        self.push_only(text)
        wait_for(lambda: len(self.events("received")) + len(self.events("error")) > outcomes, "the outcome")
        return self.watcher.json_lines()[-1]

    def push_only(self, text):
        path = self.test.card_file(text)
        command = self.test.on_radio("66:77:88:99:AA:DD") + [
            "obexput", "-b", self.address, "-B", str(CHANNEL), "-U", "none", "-H", "-S", "-p", path]
        wait_for(lambda: self.test.run_program(command).returncode == 255, "obexput to push")

    def journal(self, *options):
        return json.loads(self.control("journal", "--json", *options))

    def wait_for_journal(self, *lines):
        """Waits until the journal ends with these lines: phone, link, phonebook."""
        def last():
            return [(line["phone"], line["link"], line["phonebook"]) for line in self.journal("--last", str(len(lines)))]

        wait_for(lambda: last() == list(lines), f"{lines}; so far {last()}")

    def surnames(self):
        return sorted(entry["Surname"] for entry in json.loads(self.control("book", "list", "--json")))


class SharingTest(PhoneTest):
    def setUp(self):
        super().setUp()
        os.chmod(self.folder, 0o755)
        self.server = Server(self.folder / "server")
        self.addCleanup(self.server.end)


class SharedBook(SharingTest):
    def setUp(self):
        super().setUp()
        self.first = Telephone(self, "first", PHONE_ADDRESS)
        self.second = Telephone(self, "second", OTHER_ADDRESS)

    def test_a_card_that_both_telephones_get_is_stored_once(self):
        text = card("Berg", "TEL;CELL:5")
        for telephone in (self.first, self.second):
            outcome = telephone.push(text)
            # A card that is in the phonebook already counts as stored, so both report the same.
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


@unittest.skipUnless(mounts.available(), "this kernel gives no host name of one's own")
class SharedJournal(SharingTest):
    def test_lines_of_two_telephones_are_told_apart(self):
        first = Telephone(self, "first", PHONE_ADDRESS)
        first.push(card("Berg"))
        first.wait_for_journal((first.name, "taken", "stored"))
        self.assertNotIn(first.name, first.control("journal"), "one alone needs no name")
        second = Telephone(self, "second", OTHER_ADDRESS)
        second.push(card("Berg"))
        lines = [(first.name, "taken", "stored"), (second.name, "taken", "there already")]
        for telephone in (first, second):
            telephone.wait_for_journal(*lines)
        shown = second.control("journal").splitlines()
        self.assertRegex(shown[0], f"^[-0-9]+ [:0-9]+  {first.name}  66:77:88:99:AA:DD  card.vcf")
        self.assertIn(f"  {second.name}  ", shown[1])

    def test_no_more_than_ten_thousand_lines_are_kept(self):
        first = Telephone(self, "first", PHONE_ADDRESS)
        wait_for(lambda: "phonebook_journal" in self.server.sql("SELECT tablename FROM pg_tables"), "the journal's table")
        self.server.sql("INSERT INTO phonebook_journal (run, number, time, size, link) "
                        "SELECT 'old', n, n, 0, 'taken' FROM generate_series(1, 10005) AS n")
        first.push(card("Berg"))
        first.wait_for_journal((first.name, "taken", "stored"))
        self.assertEqual(self.server.sql("SELECT COUNT(*), MIN(number) FILTER (WHERE run = 'old') FROM phonebook_journal"),
                         "10000|7")
        self.assertEqual(len(first.journal("--last", "10000")), 10000)

    def test_lines_wait_for_a_server_that_is_away(self):
        first = Telephone(self, "first", PHONE_ADDRESS)
        first.push(card("Berg"))
        first.wait_for_journal((first.name, "taken", "stored"))
        self.server.stop()
        for surname in ("Carl", "Dahl"):
            self.assertEqual(first.push(card(surname))["reason"], "not stored")
        self.assertIn("can't be reached", first.control("journal", expect=1))
        self.server.start()
        first.push(card("Ek"))
        wait_for(lambda: [line["phonebook"][:10] for line in first.journal()] ==
                 ["stored", "not stored", "not stored", "stored"], f"four lines; so far {first.journal()}")
        self.assertIn("can't be reached", first.journal()[1]["phonebook"])
        self.assertEqual(first.process.err().count("the journal can't be written"), 1)

    def test_lines_that_waited_are_written_without_being_asked_for(self):
        first = Telephone(self, "first", PHONE_ADDRESS)
        self.server.stop()
        first.push(card("Berg"))
        self.server.start()
        wait_for(lambda: self.server.sql("SELECT COUNT(*) FROM pg_tables WHERE tablename = 'phonebook_journal'") == "1" and
                 self.server.sql("SELECT COUNT(*) FROM phonebook_journal") == "1", "the line")

    def test_what_waits_at_one_telephone_is_not_lost_with_the_other(self):
        first = Telephone(self, "first", PHONE_ADDRESS, "")
        second = Telephone(self, "second", OTHER_ADDRESS, "")
        first.push_only(card("Berg"))
        second.wait_for_journal((first.name, "taken", "waiting"))
        second.push_only(card("Berg"))
        second.wait_for_journal((first.name, "taken", "waiting"), (second.name, "taken", "waiting"))
        first.process.stop(signal.SIGKILL)
        again = Telephone(self, "third", PHONE_ADDRESS, "")
        again.wait_for_journal((first.name, "taken", "lost: the phone ended before there was an answer"),
                               (second.name, "taken", "waiting"))
        second.control("accept")
        again.wait_for_journal((first.name, "taken", "lost: the phone ended before there was an answer"),
                               (second.name, "taken", "stored"))


if __name__ == "__main__":
    unittest.main()
