"""Enabling, disabling, stopping and restarting, and machines without Bluetooth."""

import signal
import time
import unittest

import phone
from phone import PhoneTest, card, wait_for


class Life(PhoneTest):
    def test_running_line_comes_through_a_pipe(self):
        self.start_phone()
        self.receive_on()
        self.assertEqual(self.phone.out().count("OBEX SERVER IS RUNNING"), 1)

    def test_enable_disable_enable(self):
        self.start_phone()
        self.receive_on()
        self.phonectl("receive", "on")
        self.phonectl("receive", "off")
        self.assert_refused()
        self.phonectl("receive", "off")
        self.phonectl("receive", "on")
        self.phone.wait_for_out("OBEX SERVER IS RUNNING", 2)
        watcher = self.watch("--accept")
        self.push_card(card("Berg"))
        wait_for(lambda: self.surnames() == ["Berg"], f"the card; {watcher.out()}")

    def assert_refused(self):
        path = self.card_file(card("Nobody"))
        result = self.run_program(self.on_radio(phone.PEER_ADDRESS) + [
            "obexput", "-b", phone.PHONE_ADDRESS, "-B", "4", "-U", "none", "-H", "-S", "-p", path])
        self.assertNotEqual(result.returncode, 255, result.stderr)

    def test_restarted_host_does_not_store_a_card_again(self):
        for _ in range(2):
            self.start_phone()
            self.receive_on()
            watcher = self.watch("--accept")
            self.push_card(card("Berg", "TEL:1"))
            wait_for(lambda: [line for line in watcher.json_lines() if line["event"] == "received"],
                     "the card to be received")
            self.assertEqual(self.surnames(), ["Berg"])
            watcher.stop()
            self.assertEqual(self.phone.stop(), 0)

    def test_stops_soon_while_it_serves(self):
        self.start_phone()
        self.receive_on()
        began = time.monotonic()
        self.assertEqual(self.phone.stop(), 0)
        self.assertLess(time.monotonic() - began, 30)

    def test_interrupt_ends_it_as_well(self):
        self.start_phone()
        self.assertEqual(self.phone.stop(signal.SIGINT), 0)

    def test_observer_that_leaves_without_unsubscribing(self):
        self.start_phone()
        self.receive_on()
        gone = self.watch(name="gone")
        gone.stop(signal.SIGKILL)
        wait_for(lambda: self.observers() == 0, "the host to notice that the observer has gone")
        watcher = self.watch("--accept")
        self.push_card(card("Berg"))
        wait_for(lambda: self.surnames() == ["Berg"], f"the card; {watcher.out()}")

    def observers(self):
        import json
        return json.loads(self.phonectl("status", "--json"))["observers"]

    def test_without_bluetooth_it_stays_up_and_says_so_once(self):
        self.start_phone(radio=False)
        wait_for(lambda: "Bluetooth" in self.phone.err() or "Bluetooth" in self.phone.out(),
                 "a word about Bluetooth")
        self.phonectl("receive", "on")
        self.phonectl("receive", "off")
        self.assertIn("Bluetooth", self.phonectl("status"))
        self.assertEqual(self.book(), [])
        output = self.phone.err() + self.phone.out()
        self.assertEqual(output.count("no Bluetooth") + output.count("No Bluetooth"), 1, output)
        began = time.monotonic()
        self.phone.stop()
        self.assertLess(time.monotonic() - began, 30)


class Bus(PhoneTest):
    def setUp(self):
        super().setUp()
        self.start_phone()

    def test_busctl_is_a_client(self):
        self.call_service("obexEnableEvent", "a{sv}", "1", "obexEnableParam", "b", "true")
        self.phone.wait_for_out("OBEX SERVER IS RUNNING")
        self.push_card(card("Berg"))
        wait_for(lambda: self.accept_by_busctl() == ["Berg"], "the card to be stored")

    def accept_by_busctl(self):
        self.call_service("vCardsAcceptedEvent", "a{sv}", "0")
        return self.surnames()

    def test_subscription_is_answered(self):
        reply = self.call_service("subscribeEvent", "a{sv}", "0")
        self.assertIn('"subscribeEventReturn" b true', reply)
        reply = self.call_service("unsubscribeEvent", "a{sv}", "0")
        self.assertIn('"unsubscribeEventReturn" b', reply)

    def test_unknown_message_and_wrong_body(self):
        self.assertIn("DBus.Error.UnknownMethod", self.refusal("vcardcancelevent", "string:x"))
        self.assertIn("DBus.Error.InvalidArgs", self.refusal("vCardsAcceptedEvent", "string:x"))
        self.assertIn("DBus.Error.InvalidArgs", self.refusal("vCardsAcceptedEvent"))

    def test_value_of_a_type_that_no_parameter_has(self):
        self.call_service("vCardsRejectedEvent", "a{sv}", "1", "x", "d", "1.5", expect=1)

    def refusal(self, message, *body):
        result = self.run_program([
            "dbus-send", f"--bus={self.bus_address}", "--print-reply", "--dest=org.obexphone.Phone",
            "/org/obexphone/OBEXService", f"org.obexphone.OBEXServiceIfc.{message}", *body])
        self.assertNotEqual(result.returncode, 0, result.stdout)
        return result.stderr

    def test_cancel_with_nothing_pending(self):
        self.call_service("vCardCancelEvent", "a{sv}", "0")
        self.call_service("vCardCancelTransmissionEvent", "a{sv}", "0")
        self.call_service("vCardsRejectedEvent", "a{sv}", "0")


if __name__ == "__main__":
    unittest.main()
