"""Soak test: many cards over many links, with contacts being sent and random answers. Every push must be accounted for.

scripts/soak runs it with many cards, ctest with few."""

import os
import random
import threading
import time
import unittest

import phone
from phone import PhoneTest, card, wait_for
from receiver import Link, Receiver

PUSHES = int(os.environ.get("PHONE_SOAK", "200"))
SUCCESS = 0x20


class Soak(PhoneTest):
    def setUp(self):
        super().setUp()
        self.seed = random.SystemRandom().randrange(1 << 30)
        self.random = random.Random(self.seed)
        self.start_phone()
        self.receive_on()
        self.watcher = self.watch()
        self.stored, self.rejected, self.unreadable, self.links, self.sent = set(), set(), 0, 0, 0

    def heard(self, *events):
        return [line for line in self.watcher.json_lines() if line["event"] in events]

    def push(self, cards):
        """Pushes over several links that end in different ways; returns the cards pushed successfully."""
        done = []
        while cards:
            some = cards[:self.random.randint(1, 30)]
            cards = cards[len(some):]
            self.links += 1
            with self.link() as peer:
                try:
                    for surname in some:
                        body = card(surname, "TEL;WORK:1").encode() if surname else b"N:no card\r\n"
                        for data in phone.put_packets("card.vcf", body, chunk=self.random.choice((20, 100, 60000))):
                            peer.sendall(data)
                            code, _ = phone.receive_packet(peer)
                        self.assertEqual(code, SUCCESS)
                        done.append(surname)
                    if self.random.random() < 0.3:  # breaks off in the middle of the next push
                        peer.sendall(phone.put_packets("card.vcf", card("Half").encode())[0][:-5])
                except ConnectionError:
                    self.assertNotIn(some[0], done, "a link was lost after an answer")
                    cards = some + cards  # reset before the link was accepted
        return done

    def answer(self, batch):
        """Accepts or rejects all waiting cards."""
        self.expect_offers(batch)
        cards = {surname for surname in batch if surname}
        self.unreadable += len(batch) - len(cards)
        if self.random.random() < 0.7:
            self.call_service("vCardsAcceptedEvent", "a{sv}", "0")
            self.stored |= cards
        else:
            self.call_service("vCardsRejectedEvent", "a{sv}", "0")
            self.rejected |= cards

    def expect_offers(self, batch):
        total = len(self.stored) + len(self.rejected) + self.unreadable + len(batch)
        wait_for(lambda: self.events_seen() >= total, f"{total} offers and reports")

    def events_seen(self):
        text = self.watcher.out()
        return text.count('"event":"accept"') + text.count('"reason":"unreadable"')

    def send_back(self, receiver, until):
        while not until.is_set():
            self.call_service("vCardSendContactEvent", "a{sv}", "1", "surnameParam", "s", "Back")
            self.call_service("vCardSendEvent", "a{sv}", "2", "bdaParam", "s", phone.PEER_ADDRESS, "channelParam", "i",
                              str(receiver.channel))
            self.sent += 1
            until.wait(self.random.random())

    def usage(self):
        process = f"/proc/{self.phone.process.pid}"
        with open(f"{process}/status", encoding="ascii") as status:
            memory = int(status.read().split("RssAnon:")[1].split()[0])
        return memory, len(os.listdir(f"{process}/fd"))

    def test_every_push_is_accounted_for(self):
        began = time.monotonic()
        receiver = Receiver(self, Link.serve)
        ended = threading.Event()
        sender = threading.Thread(target=self.send_back, args=(receiver, ended), daemon=True)
        sender.start()
        number, early = 0, None
        while number < PUSHES:
            size = min(self.random.randint(1, max(2, PUSHES // 20)), PUSHES - number)
            batch = ["" if self.random.random() < 0.05 else f"Soak{number + i:06}" for i in range(size)]
            number += size
            self.answer(self.push(batch))
            if early is None and number >= PUSHES // 5:
                early = self.usage()
        ended.set()
        sender.join()
        late = self.usage()
        received = sum(line["count"] for line in self.heard("received"))
        reported = len([line for line in self.heard("error") if line["reason"] == "unreadable"])
        book = set(self.surnames())
        unaccounted = PUSHES - len(self.stored) - len(self.rejected) - self.unreadable
        print(f"""
seed {self.seed}, {time.monotonic() - began:.0f} s
pushes answered with success  {PUSHES} over {self.links} links
  stored                      {len(book)}
  rejected                    {len(self.rejected)}
  reported as unreadable      {reported}
  unaccounted                 {unaccounted}
contacts sent back            {receiver.links} of {self.sent}
memory (anonymous)            {early[0]} KiB after a fifth, {late[0]} KiB at the end
descriptors                   {early[1]} after a fifth, {late[1]} at the end""", flush=True)
        self.assertEqual(unaccounted, 0)
        self.assertEqual(book, self.stored)
        self.assertEqual(received, len(self.stored))
        self.assertEqual(reported, self.unreadable)
        self.assertEqual(receiver.links, self.sent)
        self.assertLessEqual(late[1], early[1] + 4)
        if not os.environ.get("PHONE_SANITIZE"):
            self.assertLess(late[0] - early[0], 2000 + PUSHES // 2)


if __name__ == "__main__":
    unittest.main()
