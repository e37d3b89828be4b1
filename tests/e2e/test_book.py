"""Editing the phonebook: changes, deletions, export and import."""

import unittest

from phone import PhoneTest, card, wait_for


class BookTest(PhoneTest):
    def setUp(self):
        super().setUp()
        self.start_phone()
        self.receive_on()
        self.watch("--accept")

    def receive(self, *cards):
        for surname, *lines in cards:
            self.push_card(card(surname, *lines))
        wait_for(lambda: len(self.book()) == len(cards), "the cards")

    def entries(self):
        """The columns that the phonebook doesn't assign itself."""
        return sorted(([value for key, value in entry.items() if key != "Id"] for entry in self.book()))

    def test_received_cards_go_out_to_a_file_and_come_back_the_same(self):
        self.receive(("Berg", "TEL;CELL:5", "ORG:Acme;Sales"), ("Dahl", "TEL;WORK:1", "TEL;HOME;PREF:2", "EMAIL;INTERNET:d@x"))
        before = self.entries()
        file = self.folder / "book.vcf"
        self.assertIn("2 cards written", self.phonectl("book", "export", "--out", str(file)))
        self.phonectl("book", "delete", "--yes", *[entry["Id"] for entry in self.book()])
        self.assertEqual(self.book(), [])
        self.phonectl("book", "import", str(file))
        self.assertEqual(self.entries(), before)

    def test_a_deleted_card_is_taken_again_and_a_changed_one_is_another(self):
        self.receive(("Berg", "TEL;CELL:5"), ("Dahl", "TEL;CELL:6"))
        ids = {entry["Surname"]: entry["Id"] for entry in self.book()}
        self.phonectl("book", "delete", "--yes", ids["Berg"])
        self.phonectl("book", "edit", ids["Dahl"], "--mobile", "7")
        self.push_card(card("Berg", "TEL;CELL:5"))
        self.push_card(card("Dahl", "TEL;CELL:6"))
        wait_for(lambda: len(self.book()) == 3, "both cards to be new")
        numbers = sorted((entry["Surname"], entry["Mobile"]) for entry in self.book())
        self.assertEqual(numbers, [("Berg", "5"), ("Dahl", "6"), ("Dahl", "7")])


if __name__ == "__main__":
    unittest.main()
