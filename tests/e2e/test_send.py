"""Sending contacts to other devices."""

import base64
import json
import os
import random
import unittest

import phone
from phone import (BIN, BODY, CHANNEL, CONNECT, DISCONNECT, END_OF_BODY, IMAGES, LENGTH, NAME, PEER_ADDRESS,
                   PHONE_ADDRESS, PUT, PhoneTest, packet, wait_for)
from receiver import WHO, Link, Receiver, headers

TYPE = 0x42


def photo_lines(data):
    """Inserts a PHOTO, whose line ends with CR LF and LF, before the last line."""
    return "PHOTO;ENCODING=BASE64;TYPE=JPEG:" + base64.b64encode(data).decode() + "\r\n\n"


def vcard(surname="", firstname="", *lines):
    """The vCard that the phone sends for a contact."""
    name = [f"N;CHARSET=UTF-8:{surname};{firstname};;;"] if surname or firstname else []
    whole = ["BEGIN:VCARD", "VERSION: 2.1", *name, *lines, "END:VCARD"]
    return "".join(line if line.endswith("\n") else f"{line}\r\n" for line in whole).encode()


def commands(packets):
    """Joins packets to requests."""
    codes = [code for code, _, _ in packets]
    return [code for before, code in zip([None] + codes, codes) if code != before]


def named(packets):
    """For each CONNECT, whether it names a service."""
    return [WHO in dict(headers(payload[4:])) for code, _, payload in packets if code == CONNECT]


class SendingTest(PhoneTest):
    bluez = False

    def setUp(self):
        super().setUp()
        if self.bluez:
            self.start_bluez()
        self.start_phone()
        if self.bluez:
            self.wait_for_bluez()

    def give(self, **fields):
        """Passes a contact to the phone; surname="Berg" becomes surnameParam."""
        words = [word for key, value in fields.items() for word in (f"{key}Param", "s", value)]
        self.call_service("vCardSendContactEvent", "a{sv}", str(len(fields)), *words)

    def send(self, address=PEER_ADDRESS, channel=9):
        self.call_service("vCardSendEvent", "a{sv}", "2", "bdaParam", "s", address, "channelParam", "i", str(channel))

    def events(self, watcher, *names):
        return [line for line in watcher.json_lines() if line["event"] in names]

    def wait_for_outcome(self, watcher, count=1):
        return wait_for(lambda: (lambda found: found if len(found) >= count else None)(
            self.events(watcher, "sent", "send-error")), f"{count} outcomes; heard {watcher.out()}")

    def image(self, name, data):
        path = IMAGES / name
        self.addCleanup(lambda: path.unlink(missing_ok=True))
        path.write_bytes(data)
        return path

    def sent(self, behaviour=Link.serve, **contact):
        """Sends the contact successfully; returns the packets."""
        receiver = Receiver(self, behaviour)
        watcher = self.watch()
        self.give(**contact)
        self.send()
        self.assertEqual(self.wait_for_outcome(watcher)[0]["event"], "sent")
        return receiver.requests

    def expect_failure(self, behaviour):
        """Sends the contact, which must fail; returns the packets."""
        receiver = Receiver(self, behaviour)
        watcher = self.watch()
        self.give(surname="Berg", firstname="Anna")
        self.send()
        outcome = self.wait_for_outcome(watcher)[0]
        self.assertEqual(outcome, {"event": "send-error", "contact": "Berg, Anna", "address": PEER_ADDRESS})
        receiver.wait_for_end(1)
        failed = list(receiver.requests)
        receiver.behaviour = Link.serve
        receiver.requests.clear()
        self.send()
        self.assertEqual(self.wait_for_outcome(watcher, 2)[1], {"event": "sent", "contact": "Berg, Anna"})
        self.assertEqual(dict(headers(receiver.objects()))[BODY], vcard("Berg", "Anna"))
        return failed


class ToOthers(SendingTest):
    """Third-party receivers."""

    def obex_test(self):
        folder = self.folder / "received"
        folder.mkdir()
        command = self.on_radio(PEER_ADDRESS) + ["obex_test", "-b", str(CHANNEL)]
        script = 'cd "$0" && printf "s\\n" >in && { cat in; sleep 600; } | "$@"'
        receiver = self.start("obex_test", ["setsid", "bash", "-c", script, folder, *command])
        self.addCleanup(lambda: os.killpg(receiver.process.pid, 9))
        wait_for(lambda: any(self.radio.iterdir()), "obex_test to listen")
        return folder

    def test_card_arrives_byte_for_byte(self):
        photo = bytes(range(256)) * 300
        self.image("e2esend.jpg", photo)
        folder = self.obex_test()
        self.give(surname="Berg", firstname="Anna", mobile="+47 1", defaultnumber="Mobile", picture="e2esend.jpg")
        watcher = self.watch()

        def push():
            self.send(channel=CHANNEL)
            return self.wait_for_outcome(watcher)[-1]["event"] == "sent"

        wait_for(push, "the card to be sent")
        expected = vcard("Berg", "Anna", "TEL;VOICE;CELL;PREF:+47 1", photo_lines(photo))
        wait_for(lambda: (folder / "BergAnna.vcf").exists(), "the file of obex_test")
        wait_for(lambda: (folder / "BergAnna.vcf").stat().st_size == len(expected), "the whole file")
        self.assertEqual((folder / "BergAnna.vcf").read_bytes(), expected)


class OnTheWire(SendingTest):
    def test_three_requests(self):
        requests = self.sent(surname="Berg", firstname="Anna")
        self.assertEqual(commands(requests), [CONNECT, PUT, DISCONNECT])
        connect, disconnect = requests[0][2], requests[-1][2]
        put = b"".join(payload for code, _, payload in requests if code == PUT)
        self.assertEqual(connect[:2], b"\x10\x00")
        self.assertEqual(headers(connect[4:]), [(WHO, b"Corval")])
        body = vcard("Berg", "Anna")
        self.assertEqual(headers(put), [
            (LENGTH, len(body).to_bytes(4, "big")), (NAME, "BergAnna.vcf\0".encode("utf-16-be")),
            (TYPE, b"vCard"), (BODY, body), (END_OF_BODY, b"")])
        self.assertEqual(disconnect, b"")

    def test_large_card_goes_out_in_pieces(self):
        path = self.image("e2elarge.jpg", random.Random(1).randbytes(102400))
        puts = [(final, headers(payload)) for code, final, payload in self.sent(picture=path.name) if code == PUT]
        self.assertEqual([final for final, _ in puts], [False] * (len(puts) - 1) + [True])
        self.assertGreater(len(puts), 2)
        body = b"".join(value for _, found in puts for identifier, value in found if identifier in (BODY, END_OF_BODY))
        self.assertEqual(body, vcard("", "", photo_lines(path.read_bytes())))

    def test_names_of_every_length(self):
        receiver = Receiver(self, Link.serve)
        watcher = self.watch()
        count = 0
        for text in ("n", "é", "字", "😀"):
            for length in (94, 95, 96, 195, 196, 5000):  # plus ".vcf"
                surname = text * length
                self.give(surname=surname)
                receiver.requests.clear()
                self.send()
                count += 1
                self.assertEqual(self.wait_for_outcome(watcher, count)[-1]["event"], "sent")
                found = dict(headers(receiver.objects()))
                self.assertEqual(found[BODY], vcard(surname))
                size = len(surname.encode()) + 4
                self.assertEqual(NAME in found, size < 100, f"a name of {size} bytes")


class ToUnhealthyOnes(SendingTest):
    """After a failure the contact stays pending and goes to the next device."""

    def test_nobody_listens(self):
        watcher = self.watch()
        self.give(surname="Berg")
        self.send()
        self.assertEqual(self.wait_for_outcome(watcher)[0]["event"], "send-error")
        Receiver(self, Link.serve)
        self.send()
        self.assertEqual(self.wait_for_outcome(watcher, 2)[1]["event"], "sent")

    def test_address_that_is_none(self):
        watcher = self.watch()
        self.give(surname="Berg")
        self.send(address="nonsense")
        self.assertEqual(self.wait_for_outcome(watcher)[0]["address"], "nonsense")

    def test_connect_is_refused(self):
        requests = self.expect_failure(lambda link: link.serve(refuse=CONNECT, code=0x53))
        self.assertEqual(named(requests), [True])
        self.assertEqual(commands(requests), [CONNECT, PUT, DISCONNECT])

    def test_connect_is_forbidden(self):
        requests = self.expect_failure(lambda link: link.serve(refuse=CONNECT, code=0x43))
        self.assertEqual(named(requests), [True])
        self.assertEqual(commands(requests), [CONNECT, PUT, DISCONNECT])

    def test_connect_is_refused_in_three_bytes(self):
        def behaviour(link):
            link.receive()
            link.send(packet(0xC1))
            link.serve()

        self.assertEqual(named(self.expect_failure(behaviour)), [True])

    def test_put_is_refused(self):
        self.expect_failure(lambda link: link.serve(refuse=PUT, code=0x4F))

    def test_disconnect_is_refused(self):
        self.expect_failure(lambda link: link.serve(refuse=DISCONNECT, code=0x50))

    def test_silence_ends_after_ten_seconds(self):
        self.expect_failure(lambda link: (link.receive(), link.peer.recv(1)))
        self.phone.wait_for_out("Timeout waiting for data. Aborting")

    def test_silence_at_the_card(self):
        self.expect_failure(lambda link: (link.serve_until(PUT), link.peer.recv(1)))

    def test_it_dies_at_once(self):
        self.expect_failure(lambda link: None)

    def test_it_dies_at_connect(self):
        self.expect_failure(lambda link: link.serve_until(CONNECT))

    def test_it_dies_at_the_card(self):
        self.expect_failure(lambda link: link.serve_until(PUT))

    def test_endless_continue(self):
        def behaviour(link):
            request = link.serve_until(PUT)
            while True:
                link.answer(request, 0x10)

        self.expect_failure(behaviour)

    def test_answers_nobody_asked_for(self):
        def behaviour(link):
            link.send(packet(0xA0, b"\x10\x00\xff\xff") * 5)
            link.peer.recv(1)

        self.expect_failure(behaviour)

    def test_packets_too_small_to_use(self):
        def behaviour(link):
            link.receive()
            link.send(packet(0xA0, b"\x10\x00\x00\x05"))
            link.serve()

        self.expect_failure(behaviour)

    def test_garbage(self):
        seed = int.from_bytes(os.urandom(4), "big")
        generator = random.Random(seed)
        receiver = Receiver(self, lambda link: None)
        watcher = self.watch()
        self.give(surname="Berg")
        for turn in range(1, 61):
            garbage = generator.randbytes(generator.choice((1, 2, 3, 7, 50, 3000)))
            if generator.random() < 0.5:  # with a correct length
                garbage = packet(generator.choice((0xA0, 0x90, 0xC3, 0x02, 0x80)), garbage)

            def behaviour(link, garbage=garbage):
                link.serve_until(generator.choice((CONNECT, PUT)))
                link.send(garbage)

            receiver.behaviour = behaviour
            self.send()
            outcomes = self.wait_for_outcome(watcher, turn)
            if outcomes[-1]["event"] == "sent":  # the garbage was a valid response
                self.give(surname="Berg")
        print(f"seed {seed}")


class ToThoseWhoForbidTheName(SendingTest):
    """With BlueZ running, a forbidden CONNECT is repeated without the service name."""

    bluez = True

    def test_receiver_that_knows_no_name_but_its_own(self):
        path = self.image("e2ewho.jpg", random.Random(3).randbytes(70000))
        requests = self.sent(Link.serve_the_nameless, surname="Berg", firstname="Anna", picture=path.name)
        self.assertEqual(named(requests), [True, False])
        first, second, *rest = requests
        self.assertEqual(second, (CONNECT, True, first[2][:4]))
        self.assertEqual(commands(rest), [PUT, DISCONNECT])
        puts = [headers(payload) for code, _, payload in rest if code == PUT]
        body = b"".join(value for found in puts for identifier, value in found if identifier in (BODY, END_OF_BODY))
        self.assertEqual(body, vcard("Berg", "Anna", photo_lines(path.read_bytes())))
        self.assertEqual(dict(puts[0])[NAME], "BergAnna.vcf\0".encode("utf-16-be"))

    def test_connect_is_forbidden_with_a_name_and_without(self):
        requests = self.expect_failure(lambda link: link.serve(refuse=CONNECT, code=0x43))
        self.assertEqual(named(requests), [True, False])
        self.assertEqual(commands(requests), [CONNECT, PUT, DISCONNECT])

    def test_second_connect_is_refused_for_another_reason(self):
        def behaviour(link):
            link.answer(link.receive(), 0x43)
            link.serve(refuse=CONNECT, code=0x53)

        self.assertEqual(named(self.expect_failure(behaviour)), [True, False])

    def test_it_dies_after_forbidding_the_name(self):
        requests = self.expect_failure(lambda link: link.answer(link.receive(), 0x43))
        self.assertEqual(named(requests), [True])

    def test_it_dies_at_the_second_connect(self):
        requests = self.expect_failure(lambda link: (link.answer(link.receive(), 0x43), link.receive()))
        self.assertEqual(named(requests), [True, False])

    def test_silence_after_forbidding_the_name(self):
        def behaviour(link):
            link.answer(link.receive(), 0x43)
            link.receive()
            link.peer.recv(1)

        self.assertEqual(named(self.expect_failure(behaviour)), [True, False])
        self.phone.wait_for_out("Timeout waiting for data. Aborting")


class OverTheBus(SendingTest):
    def test_observers_hear_all_in_order(self):
        monitor = self.start("monitor", [
            "busctl", f"--address={self.bus_address}", "monitor", "--json=short",
            "--match", "interface='org.obexphone.OBEXServiceObserverIfc'"])
        wait_for(lambda: "Monitoring" in monitor.out() + monitor.err(), "the monitor")
        self.watch()
        receiver = Receiver(self, lambda link: link.serve(refuse=PUT))
        self.give(surname="Berg", firstname="Anna")
        self.send()
        receiver.behaviour = Link.serve
        self.send()

        def heard():
            calls = []
            for line in monitor.out().split("\n")[:-1]:
                if line.startswith("{"):
                    message = json.loads(line)
                    values = {key: value["data"] for key, value in message["payload"]["data"][0].items()}
                    calls.append((message["member"], values))
            return calls if len(calls) >= 4 else None

        self.assertEqual(wait_for(heard, "four notifications"), [
            ("vCardDestRequestEvent", {"infoParam": "Berg, Anna"}),
            ("vCardSendErrEvent", {"infoParam": "Berg, Anna", "bdaParam": PEER_ADDRESS, "channelParam": 0}),
            ("vCardSendSuccEvent", {"infoParam": ""}),
            ("vCardSendSuccEvent", {"infoParam": "Berg, Anna"})])

    def test_second_contact_takes_the_place_of_the_first(self):
        receiver = Receiver(self, Link.serve)
        watcher = self.watch()
        self.give(surname="Berg")
        self.give(surname="Dahl")
        self.send()
        self.assertEqual(self.wait_for_outcome(watcher), [{"event": "sent", "contact": "Dahl"}])
        self.assertEqual(receiver.links, 1)

    def test_cancelled_contact_is_not_sent(self):
        receiver = Receiver(self, Link.serve)
        self.give(surname="Berg")
        self.call_service("vCardCancelEvent", "a{sv}", "0")
        self.send()
        self.assertEqual(receiver.links, 0)


class ThereAndBack(SendingTest):
    """Sends contacts to the phone itself and compares the received entries."""

    def setUp(self):
        super().setUp()
        self.receive_on()
        self.watcher = self.watch("--accept")
        self.stored = 0

    def send_to_itself(self, **contact):
        outcomes = len(self.events(self.watcher, "sent", "send-error"))

        def push():
            nonlocal outcomes
            self.give(**contact)
            self.send(PHONE_ADDRESS, CHANNEL)
            outcomes += 1
            return self.wait_for_outcome(self.watcher, outcomes)[-1]["event"] == "sent"

        wait_for(push, "the phone to hear itself")
        self.stored += 1
        wait_for(lambda: len(self.book()) == self.stored, "the entry")
        return [entry for entry in self.book() if entry["Surname"] == contact.get("surname", "")][-1]

    def test_whole_record(self):
        entry = self.send_to_itself(
            surname="Bergé", firstname="Ånna", office="1", office2="2", mobile="3", private="4", defaultnumber="Mobile",
            email="a@b.no", address="Gate 1", address2="Gate 2", company="Æra", jobfunction="Søker")
        expected = {"Surname": "Bergé", "Firstname": "Ånna", "Office": "1", "Office2": "2", "Mobile": "3",
                    "Private": "4", "DefaultNumber": "3", "Company": "Æra", "JobFunction": "Søker"}
        self.assertEqual({key: entry[key] for key in expected}, expected)
        self.assertEqual([entry[key] for key in entry if "ail" in key], ["a@b.no"])
        self.assertEqual(sorted(value for key, value in entry.items() if key.startswith("Address")),
                         ["Gate 1", "Gate 2"])

    def test_pictures_of_every_size(self):
        generator = random.Random(2)
        for size in (1, 2, 3, 102399, 102400, 102401, 200000):
            data = generator.randbytes(size)
            self.image("e2eback.jpg", data)
            name = f"photoE2eback{size}Anna.jpg"
            self.addCleanup(lambda name=name: (IMAGES / name).unlink(missing_ok=True))
            entry = self.send_to_itself(surname=f"E2eback{size}", firstname="Anna", picture="e2eback.jpg")
            self.assertEqual(entry["Picture"], name)
            self.assertEqual((IMAGES / name).read_bytes(), data[:102400], size)

    def test_picture_that_is_empty_is_left_out(self):
        self.image("e2eempty.jpg", b"")
        self.assertEqual(self.send_to_itself(surname="Berg", picture="e2eempty.jpg")["Picture"], "")


class Endurance(SendingTest):
    SENDS = 40 if os.environ.get("PHONE_SANITIZE") else 200  # each takes half a second

    def test_hundreds_of_sends_leave_nothing_behind(self):
        receiver = Receiver(self, Link.serve)
        watcher = self.watch()
        process = f"/proc/{self.phone.process.pid}"

        def memory():
            with open(f"{process}/status", encoding="ascii") as status:
                return int(status.read().split("RssAnon:")[1].split()[0])

        def descriptors():
            return len(os.listdir(f"{process}/fd"))

        before = None
        for turn in range(1, self.SENDS + 1):
            self.give(surname="Berg")
            self.send()
            if turn == 20:
                before = memory(), descriptors()
        self.wait_for_outcome(watcher, self.SENDS)
        self.assertEqual(receiver.links, self.SENDS)
        self.assertEqual(descriptors(), before[1])
        if not os.environ.get("PHONE_SANITIZE"):
            self.assertLess(memory() - before[0], 1000)


if __name__ == "__main__":
    unittest.main()
