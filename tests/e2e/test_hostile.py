"""Peers that mean no good, each followed by one that does."""

import unittest

import phone
from phone import BODY, END_OF_BODY, FINAL, NAME, PUT, PhoneTest, card, header, packet, wait_for

SUCCESS, CONTINUE = 0x20, 0x10
OBJECT_LIMIT = 4 << 20


class HostilePeers(PhoneTest):
    def setUp(self):
        super().setUp()
        self.start_phone()
        self.receive_on()

    def tearDown(self):
        """The phone still serves: a good push arrives, whatever came before."""
        watcher = self.watch("--accept", name="last-watch")
        self.push_card(card("Good", "TEL:1"))
        wait_for(lambda: "Good" in self.surnames(), f"the good card to be stored; {watcher.out()}")
        super().tearDown()

    def push_body(self, body):
        """Pushes this body and returns the last answer, None when the phone closed the link instead."""
        with self.link() as peer:
            try:
                for data in phone.put_packets("card.vcf", body):
                    peer.sendall(data)
                    code, _ = phone.receive_packet(peer)
                return code
            except ConnectionError:
                return None

    def expect_closed_on(self, *packets):
        with self.link() as peer:
            try:
                for data in packets:
                    peer.sendall(data)
            except ConnectionError:
                return
            self.assertTrue(phone.is_closed_by_phone(peer), "the phone kept the link")

    def test_colon_behind_a_refused_property(self):
        self.assertEqual(self.push_body(b"N;CHARSET=UTF-8:Doe:x"), SUCCESS)
        self.assertEqual(self.push_body(b"A.N;CHARSET=UTF-8:Doe:x:y;Z=1:" + b"q" * 5000 + b":"), SUCCESS)

    def test_empty_body(self):
        self.assertEqual(self.push_body(b""), SUCCESS)

    def test_body_of_nul_bytes(self):
        self.assertEqual(self.push_body(bytes(100_000)), SUCCESS)

    def test_body_of_colons_as_large_as_the_limit(self):
        self.assertEqual(self.push_body(b":" * OBJECT_LIMIT), SUCCESS)

    def test_value_of_colons_as_large_as_the_limit(self):
        body = b"N;X=Y" + b":" * (OBJECT_LIMIT - 5)
        self.assertEqual(self.push_body(body), SUCCESS)

    def test_parameters_as_many_as_the_limit_holds(self):
        body = b"N;a" + b";b" * (OBJECT_LIMIT // 4) + b";c=d" + b":" * (OBJECT_LIMIT // 4)
        self.assertEqual(self.push_body(body), SUCCESS)

    def test_body_above_the_limit_loses_the_link(self):
        self.assertIsNone(self.push_body(b":" * (OBJECT_LIMIT + 1)))

    def test_packet_lengths_that_lie(self):
        name = phone.name_header("card.vcf")
        for length in (0, 1, 2):
            self.expect_closed_on(packet(PUT | FINAL, name, length=length))

    def test_packet_of_65535_bytes_that_does_not_come(self):
        with self.link() as peer:
            peer.sendall(packet(PUT | FINAL, phone.name_header("card.vcf"), length=65535))

    def test_packet_of_65535_bytes(self):
        body = card("Large").encode()
        overhead = 3 + len(phone.name_header("card.vcf")) + 3
        body += b" " * (65535 - overhead - len(body))
        with self.link() as peer:
            data = packet(PUT | FINAL, phone.name_header("card.vcf") + header(END_OF_BODY, body))
            self.assertEqual(len(data), 65535)
            peer.sendall(data)
            self.assertEqual(phone.receive_packet(peer)[0], SUCCESS)

    def test_header_lengths_that_lie(self):
        for length in (0, 1, 2, 65535):
            self.expect_closed_on(packet(PUT | FINAL, header(BODY, b"x" * 8, length=length)))
        self.expect_closed_on(packet(PUT | FINAL, header(NAME, b"\0c\0\0", length=6)))
        self.expect_closed_on(
            packet(PUT, header(BODY, b"abc")), packet(PUT, header(BODY, b"", length=1)))

    def test_thousands_of_headers(self):
        self.expect_closed_on(packet(PUT | FINAL, b"\xcb\0\0\0\1" * 13_000))

    def test_byte_by_byte(self):
        with self.link() as peer:
            for byte in phone.put_packets("card.vcf", card("Slow").encode())[0]:
                peer.sendall(bytes([byte]))
            self.assertEqual(phone.receive_packet(peer)[0], SUCCESS)

    def test_peer_that_dies_in_mid_transfer(self):
        for cut in (1, 2, 3, 10, 200):
            with self.link() as peer:
                peer.sendall(phone.put_packets("card.vcf", card("Cut", "X" * 1000).encode())[0][:cut])

    def test_peer_that_dies_between_packets(self):
        with self.link() as peer:
            peer.sendall(phone.put_packets("card.vcf", card("Cut", "X" * 9000).encode(), chunk=4000)[0])
            self.assertEqual(phone.receive_packet(peer)[0], CONTINUE)

    def test_connect_and_say_nothing_then_leave(self):
        with self.link():
            pass

    def test_names_that_are_odd(self):
        for name in ("", ".", "..", ".vcf", "a/../../b.vcf", "x" * 2000 + ".vcf", "\u1234.vcf", "\u012e\u0176\u0163\u0166"):
            with self.link() as peer:
                peer.sendall(packet(PUT | FINAL, phone.name_header(name) + header(END_OF_BODY, b"x")))
                self.assertIn(phone.receive_packet(peer)[0], (SUCCESS, 0x4F))

    def test_photo_that_would_leave_the_images_folder(self):
        target = self.folder / "outside"
        text = card("Out", f"ORG:x").replace("N:Out;Test", f"N:/../../../..{target};x")
        text = text.replace("END:VCARD", "PHOTO;TYPE=JPEG;ENCODING=BASE64:\r\n QUJD\r\n\r\nEND:VCARD")
        watcher = self.watch()
        self.assertEqual(self.push_body(text.encode()), SUCCESS)
        wait_for(lambda: [line for line in watcher.json_lines() if line["event"] == "error"],
                 "the card to be reported as unreadable")
        self.assertEqual([path for path in self.folder.iterdir() if path.name.startswith("outside")], [])


if __name__ == "__main__":
    unittest.main()
