"""Local faults: killed processes, left-over temporary files, a locked phonebook."""

import os
import random
import sqlite3
import subprocess
import unittest

import phone
from phone import IMAGES, PhoneTest, card, wait_for

ROUNDS = int(os.environ.get("PHONE_KILLS", "10"))
BATCH = 20


class Killed(PhoneTest):
    def push_batch(self, name):
        """Pushes cards over one link, all successfully."""
        with self.link() as peer:
            for number in range(BATCH):
                text = card(f"{name}x{number}", f"TEL;WORK:{number}", f"ORG:Company {name};Unit")
                for data in phone.put_packets("card.vcf", text.encode()):
                    peer.sendall(data)
                    self.assertEqual(phone.receive_packet(peer)[0], 0x20)

    def kill(self):
        self.phone.process.kill()
        self.phone.process.wait()

    def entries_of(self, name):
        return [entry for entry in self.book() if entry["Surname"].startswith(name + "x")]

    def test_batch_is_stored_whole_or_in_part_but_no_card_in_part_or_twice(self):
        seed = random.SystemRandom().randrange(1 << 30)
        generator = random.Random(seed)
        print(f"seed {seed}")
        partly = 0
        for turn in range(ROUNDS):
            self.start_phone()
            self.receive_on()
            name = f"Turn{turn}"
            self.push_batch(name)
            accept = subprocess.Popen(
                ["busctl", f"--address={self.bus_address}", "call", "org.obexphone.Phone", "/org/obexphone/OBEXService",
                 "org.obexphone.OBEXServiceIfc", "vCardsAcceptedEvent", "a{sv}", "0"],
                env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            wanted = generator.randrange(BATCH + 1)
            wait_for(lambda: self.stored(name) >= wanted, "the batch to be stored as far as that")
            self.kill()
            accept.wait()
            self.start_phone()
            found = self.entries_of(name)
            self.assertGreaterEqual(len(found), wanted)
            self.assertEqual(len({entry["Surname"] for entry in found}), len(found), "a card is there twice")
            for entry in found:
                self.assertEqual((entry["Firstname"], entry["Office"], entry["Company"]),
                                 ("Test", entry["Surname"].split("x")[1], f"Company {name};Unit"))
            partly += len(found) < BATCH
            self.assertEqual(self.phone.stop(), 0)
        print(f"{partly} of {ROUNDS} batches were cut short")

    def stored(self, name):
        """Counts the batch's cards in the database file, without the phone."""
        try:
            with sqlite3.connect(f"file:{self.phonebook}?mode=ro", uri=True, timeout=5) as book:
                (table,), *_ = book.execute(
                    "SELECT m.name FROM sqlite_master m JOIN pragma_table_info(m.name) c ON c.name = 'Surname'"
                    " COLLATE NOCASE WHERE m.type = 'table'").fetchall() or [(None,)]
                if table is None:
                    return 0
                return book.execute(f'SELECT count(*) FROM "{table}" WHERE Surname LIKE ?', (name + "x%",)).fetchone()[0]
        except sqlite3.OperationalError:
            return 0

    def test_temporary_file_of_a_killed_writer_is_removed_by_the_next(self):
        left = IMAGES / ".storage-0123456789abcdef"
        left.write_bytes(b"half a photo")
        self.addCleanup(lambda: left.unlink(missing_ok=True))
        photo = IMAGES / "photoE2efaultTest.jpg"
        self.addCleanup(lambda: photo.unlink(missing_ok=True))
        self.start_phone()
        self.receive_on()
        watcher = self.watch("--accept")
        self.push_card(card("E2efault", "PHOTO;TYPE=JPEG;ENCODING=BASE64:", " QUJD", "").encode())
        wait_for(lambda: self.surnames() == ["E2efault"], f"the card; {watcher.out()}")
        self.assertEqual(photo.read_bytes(), b"ABC")
        self.assertFalse(left.exists())


class InUse(PhoneTest):
    def test_phonebook_that_another_program_locks_for_a_while(self):
        self.start_phone()
        self.receive_on()
        watcher = self.watch()
        self.push_card(card("Berg"))
        wait_for(lambda: [line for line in watcher.json_lines() if line["event"] == "accept"], "the offer")
        with sqlite3.connect(self.phonebook, isolation_level=None) as other:
            other.execute("BEGIN EXCLUSIVE")
            accept = self.start("accept", [phone.BIN / "phonectl", "--bus", self.bus_address, "accept"])
            self.assertIsNone(accept.process.poll())
            other.execute("COMMIT")
        accept.process.wait(phone.DEADLINE)
        outcome = wait_for(lambda: [line for line in watcher.json_lines() if line["event"] in ("received", "error")],
                           "the outcome")
        self.assertEqual("Berg" in self.surnames(), outcome[0]["event"] == "received")


if __name__ == "__main__":
    unittest.main()
