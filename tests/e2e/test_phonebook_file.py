"""A phonebook file that is missing, replaced, damaged or not a phonebook. The user is notified of a card that could not be
stored, and the same card can be pushed again once the file is repaired."""

import contextlib
import shutil
import sqlite3
import unittest

import phone
from phone import wait_for
from test_disks import Trouble


class PhonebookFile(Trouble):
    def setUp(self):
        super().setUp()
        self.phonebook = self.folder / "state" / "phonebook.db"

    def begin_with_an_entry(self):
        self.begin()
        self.expect_stored("Before")

    def remove_file(self):
        for path in self.phonebook.parent.glob("phonebook.db*"):
            path.unlink()

    def damage(self):
        """Damages the file; returns a function that repairs it."""
        with sqlite3.connect(self.phonebook) as book:
            book.execute("PRAGMA wal_checkpoint(TRUNCATE)")
        whole = self.phonebook.read_bytes()
        with open(self.phonebook, "r+b") as file:
            file.write(b"\xa5" * len(whole))

        def mend():
            with open(self.phonebook, "r+b") as file:
                file.write(whole)
        return mend

    def expect_refused_start(self, *words):
        started = self.start("refused", [phone.BIN / "phone-host", "--bus", self.bus_address,
                                         "--phonebook", f"sqlite3://{self.phonebook}"])
        self.assertEqual(started.process.wait(phone.DEADLINE), 1, started.err())
        for word in (str(self.phonebook), *words):
            self.assertIn(word, started.err())

    def test_file_that_is_removed_is_made_anew(self):
        self.begin_with_an_entry()
        self.remove_file()
        self.expect_stored("Berg")
        self.assertEqual(self.surnames(), ["Berg"])

    def test_folder_that_is_removed_is_made_anew(self):
        self.begin_with_an_entry()
        shutil.rmtree(self.phonebook.parent)
        self.expect_stored("Berg")
        self.assertEqual(self.surnames(), ["Berg"])

    def test_place_that_is_taken_by_a_file(self):
        self.begin_with_an_entry()
        aside = self.folder / "aside"
        self.phonebook.parent.rename(aside)
        self.phonebook.parent.write_text("no folder")
        self.expect_not_stored("Berg")
        self.phonebook.parent.unlink()
        aside.rename(self.phonebook.parent)
        self.expect_stored("Berg")
        self.assertEqual(self.surnames(), ["Before", "Berg"])

    def test_file_that_is_replaced_by_another_phonebook(self):
        other = self.folder / "other.db"
        self.begin_with_an_entry()
        with sqlite3.connect(self.phonebook) as book, sqlite3.connect(other) as copy:
            book.backup(copy)
        self.expect_stored("Berg")
        self.remove_file()
        other.rename(self.phonebook)
        self.assertEqual(self.surnames(), ["Before"])
        self.expect_stored("Berg")
        self.assertEqual(self.surnames(), ["Before", "Berg"])

    def test_file_that_is_locked_for_longer_than_the_phone_waits(self):
        self.begin_with_an_entry()
        with contextlib.closing(sqlite3.connect(self.phonebook, isolation_level=None)) as other:
            other.execute("BEGIN IMMEDIATE")
            self.expect_not_stored("Berg")
            self.assertEqual(self.surnames(), ["Before"])
        self.expect_stored("Berg")
        self.assertEqual(self.surnames(), ["Before", "Berg"])

    def test_file_that_is_damaged_while_the_phone_runs(self):
        self.begin_with_an_entry()
        mend = self.damage()
        self.expect_not_stored("Berg")
        mend()
        self.expect_stored("Berg")
        self.assertEqual(self.surnames(), ["Before", "Berg"])

    def test_file_that_is_damaged_before_the_start(self):
        self.begin_with_an_entry()
        self.assertEqual(self.phone.stop(), 0)
        mend = self.damage()
        self.expect_refused_start()
        mend()
        self.begin()
        self.expect_stored("Berg")
        self.assertEqual(self.surnames(), ["Before", "Berg"])

    def test_file_that_is_no_phonebook_is_left_alone(self):
        self.phonebook.parent.mkdir()
        self.phonebook.write_text("a letter " * 500)
        self.expect_refused_start()
        self.assertEqual(self.phonebook.read_text(), "a letter " * 500)

    def test_batch_of_which_one_can_not_be_stored_is_told_of_and_pushed_again_without_doubles(self):
        self.begin_with_an_entry()
        with sqlite3.connect(self.phonebook) as book:
            (table,), = book.execute("SELECT m.name FROM sqlite_master m JOIN pragma_table_info(m.name) c"
                                     " ON c.name = 'Surname' COLLATE NOCASE WHERE m.type = 'table'").fetchall()
            book.execute(f"CREATE TRIGGER refusal BEFORE INSERT ON \"{table}\" WHEN NEW.Surname = 'Second'"
                         " BEGIN SELECT RAISE(ABORT, 'not this one'); END")
        self.watcher.stop()
        self.watcher = self.watch(name="patient")
        self.push_batch()
        self.phonectl("accept", expect=1)
        error = self.events("error")[-1]
        self.assertEqual((error["reason"], error["count"], error["first"]["Surname"]), ("not stored", 3, "First"))
        self.assertEqual(self.surnames(), ["Before", "First", "Third"])
        with sqlite3.connect(self.phonebook) as book:
            book.execute("DROP TRIGGER refusal")
        self.push_batch()
        self.phonectl("accept")
        self.assertEqual(self.surnames(), ["Before", "First", "Second", "Third"])

    def push_batch(self):
        before = len(self.events("accept"))
        for surname in ("First", "Second", "Third"):
            self.push_card(phone.card(surname))
        wait_for(lambda: len(self.events("accept")) == before + 3, "three offers")


if __name__ == "__main__":
    unittest.main()
