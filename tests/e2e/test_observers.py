"""Observers that hang, die or answer twice, next to a well-behaved one."""

import json
import signal
import unittest

from phone import PhoneTest, card, wait_for


class Observers(PhoneTest):
    def setUp(self):
        super().setUp()
        self.start_phone()
        self.receive_on()
        self.good = self.watch(name="good")

    def events(self, *kinds):
        return [line for line in self.good.json_lines() if line["event"] in kinds]

    def offer(self, *surnames):
        before = len(self.events("accept"))
        for surname in surnames:
            self.push_card(card(surname))
        wait_for(lambda: len(self.events("accept")) == before + len(surnames), "the offers")

    def answer(self, message):
        self.call_service(message, "a{sv}", "0")

    def expect_outcomes(self, *counts):
        """The card counts of all reported outcomes."""
        wait_for(lambda: len(self.events("received", "error")) >= len(counts), f"the outcomes {counts}")
        self.assertEqual([(line["event"], line["count"]) for line in self.events("received", "error")],
                         [("received", count) for count in counts])

    def known(self):
        return json.loads(self.phonectl("status", "--json"))["observers"]

    def test_one_that_hangs_keeps_nobody_waiting(self):
        hanging = self.watch(name="hanging")
        hanging.process.send_signal(signal.SIGSTOP)
        self.addCleanup(hanging.process.send_signal, signal.SIGCONT)
        self.offer(*(f"Card{number}" for number in range(20)))
        self.answer("vCardsAcceptedEvent")
        self.expect_outcomes(20)
        self.assertEqual(len(self.surnames()), 20)

    def test_one_that_hung_hears_everything_when_it_goes_on(self):
        hanging = self.watch(name="hanging")
        hanging.process.send_signal(signal.SIGSTOP)
        self.offer("First", "Second")
        self.answer("vCardsAcceptedEvent")
        self.expect_outcomes(2)
        hanging.process.send_signal(signal.SIGCONT)
        wait_for(lambda: [line["event"] for line in hanging.json_lines()] ==
                 ["watching", "accept", "accept", "received"], f"it to catch up; {hanging.out()}")

    def test_one_that_dies_with_a_card_before_it_leaves_the_card_to_the_others(self):
        dying = self.watch(name="dying")
        self.offer("Berg")
        wait_for(lambda: "Berg" in dying.out(), "the offer")
        dying.process.kill()
        wait_for(lambda: self.known() == 1, "the dead one to be forgotten")
        self.answer("vCardsAcceptedEvent")
        self.expect_outcomes(1)
        self.assertEqual(self.surnames(), ["Berg"])

    def test_card_that_came_while_nobody_watched_waits(self):
        self.good.process.kill()
        wait_for(lambda: self.known() == 0, "the dead one to be forgotten")
        self.push_card(card("Berg"))
        self.good = self.watch(name="later")

        def stored():
            self.answer("vCardsAcceptedEvent")
            return self.surnames() == ["Berg"]

        wait_for(stored, f"the card; {self.good.out()}")

    def test_yes_twice_stores_once(self):
        self.offer("Berg")
        self.answer("vCardsAcceptedEvent")
        self.answer("vCardsAcceptedEvent")
        self.expect_outcomes(1, 0)
        self.assertEqual(self.surnames(), ["Berg"])

    def test_yes_and_then_no_stores(self):
        self.offer("Berg")
        self.answer("vCardsAcceptedEvent")
        self.answer("vCardsRejectedEvent")
        self.expect_outcomes(1)
        self.assertEqual(self.surnames(), ["Berg"])

    def test_no_and_then_yes_stores_nothing(self):
        self.offer("Berg")
        self.answer("vCardsRejectedEvent")
        self.answer("vCardsAcceptedEvent")
        self.expect_outcomes(0)
        self.assertEqual(self.surnames(), [])

    def test_two_that_say_yes_at_once_store_every_card_once(self):
        self.watch("--accept", name="second")
        self.watch("--accept", name="third")
        for number in range(10):
            self.push_card(card(f"Card{number}"))
        wait_for(lambda: sum(line["count"] for line in self.events("received")) == 10, "every card to be stored")
        self.assertEqual(self.surnames(), sorted(f"Card{number}" for number in range(10)))
        self.assertEqual(self.events("error"), [])


if __name__ == "__main__":
    unittest.main()
