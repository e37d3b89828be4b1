"""Receiving while another program has the RFCOMM channel."""

import json
import subprocess
import time
import unittest

import phone
from phone import PhoneTest, card, wait_for


class TakenChannel(PhoneTest):
    def setUp(self):
        super().setUp()
        self.listener = self.radio / f"{phone.PHONE_ADDRESS.replace(':', '')}-04"
        self.other = self.start("other", self.on_radio(phone.PHONE_ADDRESS) + ["obex_test", "-b", "4"],
                                stdin=subprocess.PIPE)
        self.other.process.stdin.write(b"s\n")
        self.other.process.stdin.flush()
        wait_for(self.listener.exists, "the other program to listen")
        self.start_phone()
        self.enable(True)
        wait_for(lambda: self.status()["listenError"], "the phone to fail")

    def enable(self, on):
        self.call_service("obexEnableEvent", "a{sv}", "1", "obexEnableParam", "b", str(on).lower())

    def status(self):
        return json.loads(self.phonectl("status", "--json"))

    def test_status_tells_why(self):
        self.assertEqual(self.status()["listenError"], "RFCOMM channel 4 is taken by another program")
        self.assertFalse(self.status()["listening"])
        self.assertEqual(self.phone.err().count("RFCOMM channel 4 is taken by another program"), 1)

    def test_receiving_can_be_switched_off_and_on(self):
        began = time.monotonic()
        self.enable(False)
        self.assertLess(time.monotonic() - began, 10)
        self.assertEqual(self.status()["listenError"], "")
        self.other.end()
        self.listener.unlink(missing_ok=True)
        self.enable(True)
        self.phone.wait_for_out("OBEX SERVER IS RUNNING")
        self.push_card(card("Berg"))

    def test_phone_stops_cleanly(self):
        self.assertEqual(self.phone.stop(), 0, self.phone.err())

    def test_phone_listens_when_the_channel_is_free(self):
        self.other.end()
        self.listener.unlink(missing_ok=True)
        self.phone.wait_for_out("OBEX SERVER IS RUNNING")
        wait_for(lambda: self.status()["listening"], "the status")
        self.assertEqual(self.status()["listenError"], "")


if __name__ == "__main__":
    unittest.main()
