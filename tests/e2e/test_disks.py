"""Full and read-only disks under the phonebook and the photos: the user is notified, the phone keeps running, and the same card
can be pushed again later."""

import unittest

import mounts
import phone
from phone import IMAGES, PhoneTest, card, wait_for

PICTURE = ("PHOTO;TYPE=JPEG;ENCODING=BASE64:", " QUJD", "")


class Trouble(PhoneTest):
    """A phone whose user accepts every card."""

    def begin(self, **options):
        self.start_phone(**options)
        self.receive_on()
        self.watcher = self.watch("--accept")

    def events(self, *kinds):
        return [line for line in self.watcher.json_lines() if line["event"] in kinds]

    def outcome_of(self, text):
        """Pushes a card and returns the outcome that the user is notified of."""
        before = len(self.events("received", "error"))
        self.push_card(text)
        return wait_for(lambda: self.events("received", "error")[before:],
                        f"the outcome; {self.watcher.out()}{self.phone.err()}")[0]

    def expect_stored(self, surname, *lines):
        self.assertEqual(self.outcome_of(card(surname, *lines))["event"], "received", self.phone.err())
        self.assertEqual(self.surnames().count(surname), 1)

    def expect_not_stored(self, surname, *lines):
        outcome = self.outcome_of(card(surname, *lines))
        self.assertEqual((outcome["event"], outcome["reason"]), ("error", "not stored"))
        self.assertEqual(outcome["first"]["Surname"], surname, "the user isn't told which card it was")

    def expect_unreadable(self, surname, *lines):
        outcome = self.outcome_of(card(surname, *lines))
        self.assertEqual((outcome["event"], outcome["reason"]), ("error", "unreadable"))


@unittest.skipUnless(mounts.available(), "this kernel gives no mounts of one's own")
class PhonebookDisk(Trouble):
    def setUp(self):
        super().setUp()
        folder = self.folder / "disk"
        folder.mkdir()
        self.phonebook = folder / "phonebook.db"
        self.begin(inside=mounts.inside(mounts.disk(folder, 2)))
        self.disk = mounts.Disk(self.phone, folder)
        self.expect_stored("Before")

    def test_full_disk(self):
        self.disk.fill()
        self.expect_not_stored("Berg", "NOTE:x", "ADR;HOME:" + "x" * 20_000)
        self.assertEqual(self.surnames(), ["Before"])
        self.disk.make_room()
        self.expect_stored("Berg", "NOTE:x", "ADR;HOME:" + "x" * 20_000)
        self.assertEqual(self.surnames(), ["Before", "Berg"])

    def test_another_disk_in_its_place_that_can_not_be_written(self):
        self.disk.cover()
        self.expect_not_stored("Berg")
        self.assertIn("Read-only file system", self.phone.err())
        self.disk.uncover()
        self.expect_stored("Berg")
        self.assertEqual(self.surnames(), ["Before", "Berg"])


@unittest.skipUnless(mounts.available(), "this kernel gives no mounts of one's own")
class ImagesDisk(Trouble):
    """A private disk mounted at the images folder."""

    def setUp(self):
        super().setUp()
        # Larger than the space that is always kept free.
        self.begin(inside=mounts.inside(mounts.disk(IMAGES, 24)))
        self.disk = mounts.Disk(self.phone, IMAGES)
        self.expect_photo("Before")

    def expect_photo(self, surname):
        self.expect_stored(surname, *PICTURE)
        self.assertEqual((self.disk.path / f"photo{surname}Test.jpg").read_bytes(), b"ABC")

    def expect_no_photo(self, surname):
        self.expect_unreadable(surname, *PICTURE)
        left = {path.name for path in self.disk.path.iterdir()} - {"filler"}
        self.assertEqual(left, {"photoBeforeTest.jpg"}, "part of a photo stayed")
        self.assertNotIn(surname, self.surnames())

    def test_full_disk(self):
        self.disk.fill()
        self.expect_no_photo("Berg")
        self.expect_stored("Plain")
        self.disk.make_room()
        self.expect_photo("Berg")

    def test_disk_that_becomes_read_only(self):
        self.disk.make_read_only()
        self.expect_no_photo("Berg")
        self.expect_stored("Plain")
        self.disk.make_writable()
        self.expect_photo("Berg")


@unittest.skipUnless(mounts.available(), "this kernel gives no mounts of one's own")
class ImagesFolder(Trouble):
    def test_folder_that_is_removed_while_the_phone_runs(self):
        above = IMAGES.parent
        self.begin(inside=mounts.inside(f"{mounts.disk(above, 24)}\nmkdir {IMAGES}"))
        images = mounts.Disk(self.phone, above).path / IMAGES.name
        images.rmdir()
        self.expect_unreadable("Berg", *PICTURE)
        self.expect_stored("Plain")
        images.mkdir()
        self.expect_stored("Berg", *PICTURE)
        self.assertEqual((images / "photoBergTest.jpg").read_bytes(), b"ABC")


if __name__ == "__main__":
    unittest.main()
