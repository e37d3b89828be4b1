"""Receiving cards, from the push to the phonebook."""

import json
import os
import shutil
import unittest

import phone
from phone import BODY, CONNECT, DATA, DISCONNECT, FINAL, IMAGES, PUT, PhoneTest, card, header, packet, wait_for

SUCCESS, UNSUPPORTED_MEDIA_TYPE, NOT_IMPLEMENTED = 0x20, 0x4F, 0x51


class Receiving(PhoneTest):
    def setUp(self):
        super().setUp()
        self.start_phone()
        self.receive_on()

    def wait_for_event(self, watcher, event, count=1):
        return wait_for(lambda: (lambda found: found if len(found) >= count else None)(
            [line for line in watcher.json_lines() if line["event"] == event]),
            f"{count} x {event}; heard {watcher.out()}")

    def test_accepted_card_stands_in_the_phonebook(self):
        watcher = self.watch()
        self.push_card(card("Berg", "TEL;WORK:123"))
        self.wait_for_event(watcher, "accept")
        self.phonectl("accept")
        received = self.wait_for_event(watcher, "received")
        self.assertEqual(received[0]["count"], 1)
        entry = self.book()[0]
        self.assertEqual((entry["Surname"], entry["Firstname"], entry["Office"]), ("Berg", "Test", "123"))

    def test_photo_is_stored_byte_for_byte(self):
        self.addCleanup(lambda: (IMAGES / "photoE2ephotoAnna.jpg").unlink(missing_ok=True))
        text = (DATA / "demo" / "anna.vcf").read_bytes().replace(b"N:Berg;", b"N:E2ephoto;")
        watcher = self.watch("--accept")
        self.push_card(text)
        self.wait_for_event(watcher, "received")
        self.assertEqual((IMAGES / "photoE2ephotoAnna.jpg").read_bytes(),
                         (DATA / "demo" / "portrait.jpg").read_bytes())
        self.assertEqual(self.book()[0]["Picture"], "photoE2ephotoAnna.jpg")
        status = json.loads(self.phonectl("status", "--json"))
        self.assertEqual((status["photos"], status["lastPhoto"]), (1, str(IMAGES / "photoE2ephotoAnna.jpg")))

    def test_quoted_printable_latin1_arrives_as_utf8(self):
        watcher = self.watch("--accept")
        self.obexput(DATA / "demo" / "jose.vcf")
        self.wait_for_event(watcher, "received")
        entry = self.book()[0]
        self.assertEqual((entry["Surname"], entry["Firstname"]), ("Muñoz", "José"))
        self.assertEqual(entry["Address"], ";;Calle de la Cámara 5;Madrid;;28001;España")

    def test_rejected_card_is_not_stored(self):
        watcher = self.watch()
        self.push_card(card("Berg"))
        self.wait_for_event(watcher, "accept")
        self.phonectl("reject")
        self.push_card(card("Dahl"))
        self.wait_for_event(watcher, "accept", 2)
        self.phonectl("accept")
        self.assertEqual(self.surnames(), ["Dahl"])

    def test_same_card_twice_in_a_batch_is_stored_once_and_counts_twice(self):
        watcher = self.watch()
        path = self.card_file(card("Berg", "TEL:1"))
        self.obexput(path, path)
        self.wait_for_event(watcher, "accept", 2)
        self.phonectl("accept")
        self.assertEqual(self.wait_for_event(watcher, "received")[0]["count"], 2)
        self.assertEqual(self.surnames(), ["Berg"])

    def test_cards_without_name_and_number_are_both_stored(self):
        watcher = self.watch()
        for company in ("Acme", "Umbra"):
            self.push_card(f"BEGIN:VCARD\r\nVERSION:2.1\r\nORG:{company}\r\nEND:VCARD\r\n")
        self.wait_for_event(watcher, "accept", 2)
        self.phonectl("accept")
        self.assertEqual(sorted(entry["Company"] for entry in self.book()), ["Acme", "Umbra"])

    def test_unreadable_card_is_reported_and_answered_with_success(self):
        watcher = self.watch()
        self.push_card("N:Berg;Test\r\n")
        error = self.wait_for_event(watcher, "error")[0]
        self.assertEqual(error["count"], 1)
        self.assertEqual(self.book(), [])

    def test_other_objects_are_refused_and_the_link_stays_usable(self):
        watcher = self.watch("--accept")
        photo = self.folder / "photo.jpg"
        shutil.copy(DATA / "demo" / "portrait.jpg", photo)
        self.obexput(photo, expect=UNSUPPORTED_MEDIA_TYPE)
        upper = self.card_file(card("Berg"), "CARD.VCF")
        self.obexput(upper, expect=UNSUPPORTED_MEDIA_TYPE)
        with self.link() as peer:
            self.assertEqual(self.put(peer, "photo.jpg", b"\xff\xd8"), UNSUPPORTED_MEDIA_TYPE)
            self.assertEqual(self.put(peer, "card.vcf", card("Dahl").encode()), SUCCESS)
        self.wait_for_event(watcher, "received")
        self.assertEqual(self.surnames(), ["Dahl"])

    def put(self, peer, name, body):
        """Pushes an object over an open link; returns the final response code."""
        for data in phone.put_packets(name, body):
            peer.sendall(data)
            code, _ = phone.receive_packet(peer)
            if code != 0x10:
                break
        return code

    def test_get_is_not_implemented(self):
        result = self.run_program(self.on_radio(phone.PEER_ADDRESS) + [
            "obexget", "-b", phone.PHONE_ADDRESS, "-B", "4", "x.vcf"])
        self.assertNotEqual(result.returncode, 255)
        with self.link() as peer:
            peer.sendall(packet(phone.GET | FINAL, phone.name_header("x.vcf")))
            self.assertEqual(phone.receive_packet(peer)[0], NOT_IMPLEMENTED)

    def test_many_pushes_on_one_link(self):
        watcher = self.watch()
        with self.link() as peer:
            peer.sendall(phone.connect_packet())
            self.assertEqual(phone.receive_packet(peer)[0], SUCCESS)
            for number in range(25):
                body = card(f"Card{number:02}", f"TEL:{number}").encode()
                self.assertEqual(self.put(peer, "card.vcf", body), SUCCESS)
            peer.sendall(packet(DISCONNECT | FINAL))
            self.assertEqual(phone.receive_packet(peer)[0], SUCCESS)
        self.wait_for_event(watcher, "accept", 25)
        self.phonectl("accept")
        self.assertEqual(self.surnames(), [f"Card{number:02}" for number in range(25)])

    def test_body_without_end_of_body_is_taken(self):
        watcher = self.watch("--accept")
        with self.link() as peer:
            body = header(BODY, card("Berg").encode())
            peer.sendall(packet(PUT | FINAL, phone.name_header("card.vcf") + body))
            self.assertEqual(phone.receive_packet(peer)[0], SUCCESS)
        self.wait_for_event(watcher, "received")
        self.assertEqual(self.surnames(), ["Berg"])

    def test_obex_test_pushes_a_card_without_end_of_body(self):
        watcher = self.watch("--accept")
        path = self.card_file(card("Obextest"), "o.vcf")
        result = self.run_program(
            self.on_radio(phone.PEER_ADDRESS) + ["obex_test", "-b", phone.PHONE_ADDRESS, "4"],
            input=f"c\np\n{path}\no.vcf\nd\nq\n")
        self.wait_for_event(watcher, "received")
        self.assertEqual(self.surnames(), ["Obextest"], result.stdout)

    def test_hundred_kilobyte_photo(self):
        self.addCleanup(lambda: (IMAGES / "photoE2ebigTest.jpg").unlink(missing_ok=True))
        picture = os.urandom(100 * 1024)
        watcher = self.watch("--accept")
        self.push_card(card("E2ebig", *photo_lines(picture)))
        self.wait_for_event(watcher, "received")
        self.assertEqual((IMAGES / "photoE2ebigTest.jpg").read_bytes(), picture)

    def test_three_megabyte_photo(self):
        self.addCleanup(lambda: (IMAGES / "photoE2ehugeTest.jpg").unlink(missing_ok=True))
        picture = os.urandom(2250 * 1024)
        text = card("E2ehuge", *photo_lines(picture))
        self.assertGreater(len(text), 3_000_000)
        watcher = self.watch("--accept")
        self.push_card(text)
        self.wait_for_event(watcher, "received")
        self.assertEqual((IMAGES / "photoE2ehugeTest.jpg").read_bytes(), picture)

    def test_card_arriving_while_a_batch_is_stored_joins_the_next_one(self):
        watcher = self.watch()
        self.push_card(card("First"))
        self.wait_for_event(watcher, "accept")
        accepting = self.start("accepting", [
            "busctl", f"--address={self.bus_address}", "call", "org.obexphone.Phone",
            "/org/obexphone/OBEXService", "org.obexphone.OBEXServiceIfc", "vCardsAcceptedEvent", "a{sv}", "0"])
        self.push_card(card("Second"))
        self.assertEqual(accepting.process.wait(phone.DEADLINE), 0)
        self.wait_for_event(watcher, "accept", 2)
        stored = self.wait_for_event(watcher, "received")[0]["count"]
        self.phonectl("accept")
        self.assertEqual(sum(line["count"] for line in self.wait_for_event(watcher, "received", 2)), 2)
        self.assertIn(stored, (1, 2))
        self.assertEqual(self.surnames(), ["First", "Second"])


def photo_lines(picture):
    """The lines of a PHOTO property, with an empty line at the end."""
    import base64
    text = base64.b64encode(picture).decode()
    lines = [" " + text[i:i + 76] for i in range(0, len(text), 76)]
    return ["PHOTO;TYPE=JPEG;ENCODING=BASE64:", *lines, ""]


if __name__ == "__main__":
    unittest.main()
