"""Pushes to a whole telephone on the virtual radio: many small cards, and bodies of 3 MB. Run by bench/endtoend."""

import base64
import os
import pathlib
import random
import statistics
import time
import unittest

import phone
from phone import PhoneTest, card, wait_for

PUSHES = int(os.environ.get("BENCH_PUSHES", "2000"))
BODIES = int(os.environ.get("BENCH_BODIES", "10"))
BODY_SIZE = 3_000_000
SUCCESS = 0x20
SURNAME = "EndToEnd3MB"
PICTURE = f"photo{SURNAME}Test.jpg"


def large_card():
    """A card of 3 MB, most of it a picture."""
    frame = card(SURNAME, "PHOTO;TYPE=JPEG;ENCODING=BASE64:", " {}", "")
    width = 76
    lines = (BODY_SIZE - len(frame)) // (width + 2)
    text = base64.b64encode(random.Random(1).randbytes(lines * (width - 1) * 3 // 4)).decode()
    folded = "\r\n ".join(text[at:at + width - 1] for at in range(0, len(text), width - 1))
    return frame.format(folded).encode()


class EndToEnd(PhoneTest):
    def setUp(self):
        super().setUp()
        self.start_phone()
        self.receive_on()
        self.watcher = self.watch()

    def push(self, peer, packets):
        """Returns the seconds to the last answer."""
        began = time.perf_counter()
        for data in packets:
            peer.sendall(data)
            code, _ = phone.receive_packet(peer)
        self.assertEqual(code, SUCCESS)
        return time.perf_counter() - began

    def expect_offers(self, count):
        wait_for(lambda: self.watcher.out().count('"event":"accept"') >= count, f"{count} offers")

    def cpu_seconds(self):
        fields = pathlib.Path(f"/proc/{self.phone.process.pid}/stat").read_text(encoding="ascii").rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def test_pushes_on_one_link(self):
        pushes = [phone.put_packets("card.vcf", card(f"Push{i:06}", "TEL;WORK:+4755112233").encode())
                  for i in range(PUSHES)]
        used = self.cpu_seconds()
        began = time.perf_counter()
        with self.link() as peer:
            taken = [self.push(peer, packets) for packets in pushes]
        answered = time.perf_counter() - began
        self.expect_offers(PUSHES)
        offered = time.perf_counter() - began
        used = self.cpu_seconds() - used
        print(f"\npushes {PUSHES} on one link: {PUSHES / answered:.0f} per second, "
              f"{statistics.median(taken) * 1e6:.0f} us to the answer (median), "
              f"all offered to the user after {offered:.2f} s, CPU {used / PUSHES * 1e6:.0f} us per push", flush=True)

    def test_body_of_3_mb(self):
        self.addCleanup(self.remove_pictures)
        body = large_card()
        packets = phone.put_packets("card.vcf", body)
        used = self.cpu_seconds()
        with self.link() as peer:
            taken = [self.push(peer, packets) for _ in range(BODIES)]
        self.expect_offers(BODIES)
        used = self.cpu_seconds() - used
        self.assertGreater((phone.IMAGES / PICTURE).stat().st_size, BODY_SIZE * 2 // 3)
        median = statistics.median(taken)
        print(f"\nbodies {BODIES} of {len(body)} bytes: {median * 1e3:.1f} ms to the answer (median), picture stored, "
              f"{len(body) / median / 1e6:.0f} MB per second, CPU {used / BODIES * 1e3:.1f} ms per body", flush=True)

    def remove_pictures(self):
        for path in phone.IMAGES.glob(f"{PICTURE}*"):
            path.unlink()


if __name__ == "__main__":
    unittest.main()
