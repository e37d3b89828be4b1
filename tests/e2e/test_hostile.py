"""Hostile peers, each followed by a normal push."""

import contextlib
import os
import socket
import time
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
        """Checks that a normal push still arrives."""
        watcher = self.watch("--accept", name="last-watch")
        self.push_card(card("Good", "TEL:1"))
        wait_for(lambda: "Good" in self.surnames(), f"the good card to be stored; {watcher.out()}")
        super().tearDown()

    def push_body(self, body):
        """Pushes this body; returns the last response code, or None if the phone closed the link."""
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

    def test_lengths_one_off(self):
        body = card("Off").encode()
        whole = phone.name_header("card.vcf") + header(END_OF_BODY, body)
        self.expect_closed_on(packet(PUT | FINAL, whole, length=len(whole) + 2))  # one byte less than the packet has
        self.expect_closed_on(packet(PUT | FINAL, header(END_OF_BODY, body, length=len(body) + 4)))
        with self.link() as peer:
            peer.sendall(packet(PUT | FINAL, whole, length=len(whole) + 4))  # one byte more, which never comes
        for identifier in (NAME, BODY, END_OF_BODY, 0x42, 0x8D, 0xC3):
            self.expect_closed_on(packet(PUT | FINAL, bytes([identifier])))

    def test_close_at_every_byte(self):
        data = phone.connect_packet() + phone.put_packets("card.vcf", card("Cut", "TEL:1").encode())[0][:-1]
        for cut in range(len(data)):
            # A link may be reset if it waited while the phone served another.
            with contextlib.suppress(ConnectionError), self.link() as peer:
                peer.sendall(data[:cut])
        self.assertEqual(self.surnames(), [])

    def test_thousand_links_in_a_row(self):
        for _ in range(int(os.environ.get("PHONE_HOSTILE_LINKS", "1000"))):
            with self.link():
                pass

    def test_put_that_never_ends(self):
        with self.link() as peer:
            peer.sendall(packet(PUT, phone.name_header("card.vcf")))
            empty = packet(PUT)
            self.assertEqual(phone.receive_packet(peer)[0], CONTINUE)
            sent = 1

            def answered():
                nonlocal sent
                peer.sendall(empty * 500)
                sent += 500
                for _ in range(500):
                    phone.receive_packet(peer)
                return sent < 200_000

            with self.assertRaises(ConnectionError):
                while answered():
                    pass
            self.assertLess(sent, 70_000)

    def test_abort_in_every_state(self):
        abort = packet(0x7F | FINAL)
        put = phone.put_packets("card.vcf", card("Cut", "X" * 900).encode(), chunk=300)
        beginnings = [[], [phone.connect_packet()], put[:1], put[:2], [phone.connect_packet(), *put[:1]],
                      [phone.connect_packet(), *put]]
        for beginning in beginnings:
            with self.link() as peer:
                for data in [*beginning, abort]:
                    peer.sendall(data)
                    code, _ = phone.receive_packet(peer)
                self.assertIn(code, (SUCCESS, 0x43, 0x51), beginning)
                good = phone.put_packets("card.vcf", card("After").encode())[0]
                peer.sendall(good)
                self.assertEqual(phone.receive_packet(peer)[0], SUCCESS)

    def test_commands_that_nobody_knows(self):
        for command in range(0x80):
            with self.link() as peer:
                peer.sendall(packet(command | FINAL, bytes(4)))
                try:
                    self.assertNotEqual(phone.receive_packet(peer)[0], CONTINUE)
                except ConnectionError:
                    pass

    def test_request_inside_another(self):
        put = phone.put_packets("card.vcf", card("Cut", "X" * 900).encode(), chunk=300)
        for command in (0x00, 0x01, 0x03, 0x05):
            with self.link() as peer:
                peer.sendall(put[0])
                self.assertEqual(phone.receive_packet(peer)[0], CONTINUE)
                peer.sendall(packet(command | FINAL, bytes(4)))
                try:
                    phone.receive_packet(peer)
                except ConnectionError:
                    pass

    def test_second_peer_does_not_disturb_the_first(self):
        with self.link() as first:
            first.sendall(phone.connect_packet())
            self.assertEqual(phone.receive_packet(first)[0], SUCCESS)
            with contextlib.closing(socket.socket(
                    socket.AF_BLUETOOTH, socket.SOCK_STREAM, socket.BTPROTO_RFCOMM)) as second:
                second.settimeout(phone.DEADLINE)
                try:
                    second.connect((phone.PHONE_ADDRESS, phone.CHANNEL))
                    second.sendall(phone.connect_packet())
                except OSError:
                    pass  # refused, which is fine, too
                first.sendall(phone.put_packets("card.vcf", card("First").encode())[0])
                self.assertEqual(phone.receive_packet(first)[0], SUCCESS)

    def test_silent_peer_does_not_keep_others_out_for_ever(self):
        for beginning in (b"", packet(PUT, phone.name_header("card.vcf"))[:7]):
            with self.link() as peer:
                peer.sendall(beginning)
                began = time.monotonic()
                self.assertTrue(phone.is_closed_by_phone(peer))
                self.assertGreater(time.monotonic() - began, 20)

    def test_peer_that_stops_reading(self):
        request = packet(0x03 | FINAL)  # GET, which is refused
        with self.link() as peer:
            peer.settimeout(1)
            sent = 0
            try:
                while sent < 64 << 20:
                    sent += peer.send(request * 1000)
            except OSError:
                pass  # responses are unread, so the phone stops reading
            self.assertLess(sent, 64 << 20)
            peer.settimeout(phone.DEADLINE)
            wait_for(lambda: "did not read the response" in self.phonectl("status", "--json"), "the link to be ended")


if __name__ == "__main__":
    unittest.main()
