"""`phonectl doctor`, `phonectl devices` and `phonectl send` by device name, with a stand-in for BlueZ.

The telephone is on the virtual radio. tests/bluetooth tests the doctor on the real stack.
"""

import contextlib
import json
import pathlib
import shutil
import sqlite3
import subprocess
import unittest

import mounts
import phone
from phone import PhoneTest, wait_for


TEST_PLUGINS = phone.BUILD / "tests" / "host" / "plugin" / "lib"


class DoctorTest(PhoneTest):
    phonectl_program = phone.BIN / "phonectl"

    def doctor(self, expect, *prefix):
        command = [*prefix, self.phonectl_program, "--bus", self.bus_address, "doctor", "--json"]
        result = self.run_program(command)
        self.assertEqual(result.returncode, expect, result.stdout + result.stderr)
        findings = json.loads(result.stdout)
        for finding in findings:
            self.assertTrue(finding["text"], finding)
            # Faults, and only faults, have a remedy.
            self.assertEqual("remedy" in finding, finding["known"] and not finding["ok"], finding)
            # The remedy does not repeat the text.
            self.assertNotIn(finding.get("remedy", "-" * 9).split(": ")[-1], finding["text"])
        return {finding["check"]: finding for finding in findings}

    def assert_fault(self, finding, text, remedy=""):
        self.assertFalse(finding["ok"])
        self.assertIn(text, finding["text"])
        self.assertIn(remedy, finding["remedy"])

    def start_with_adapter(self, discoverable=True, options=(), rules=""):
        """A telephone that receives, and a program in BlueZ's place."""
        bluez = self.start_bluez(adapter=False, rules=rules)
        bluez.tell("add /org/bluez/hci0 org.bluez.Adapter1 {'Address': <'00:11:22:33:44:55'>, 'Alias': <'phone'>, "
                   "'UUIDs': <@as []>, 'Powered': <true>, "
                   f"'Discoverable': <{'true' if discoverable else 'false'}>}}")
        self.start_phone(options=options)
        self.receive_on()
        return bluez

    def wait_for_status(self, key, part):
        wait_for(lambda: part in self.status(key), f"{key} to say {part}")

    def status(self, key):
        return json.loads(self.phonectl("status", "--json"))[key]


class Doctor(DoctorTest):
    def test_telephone_on_the_virtual_radio_is_well(self):
        self.start_phone()
        self.receive_on()
        findings = self.doctor(0)
        self.assertTrue(all(finding["ok"] for finding in findings.values()))
        self.assertIn("virtual", findings["radio"]["text"])
        lines = self.phonectl("doctor")
        self.assertTrue(lines.endswith("A card would arrive.\n"), lines)

    def test_host_that_does_not_run_is_named(self):
        findings = self.doctor(1)
        self.assertEqual(findings["phone"]["text"], f"the phone isn't running on the bus at {self.bus_address}")
        self.assertEqual(findings["phone"]["remedy"], f"start it with: phone-host --bus {self.bus_address}")

    def test_bus_that_is_not_there_is_named(self):
        self.bus_address = f"unix:path={self.folder}/nowhere"
        self.assert_fault(self.doctor(1)["phone"], "can't reach the bus at", "--bus or PHONE_BUS")

    def test_bus_that_keeps_the_user_from_the_phone_is_named(self):
        self._start_bus("strict-bus", '<deny send_destination="org.obexphone.Phone"/>')
        self.bus_address = f"unix:path={self.folder}/strict-bus"
        self.start_phone()
        self.assert_fault(self.doctor(1)["phone"], "denies access to the phone", "policy")

    def test_receiving_that_is_off_is_named(self):
        self.start_phone()
        self.assert_fault(self.doctor(1)["receiving"], "doesn't listen")

    def test_missing_radio_and_bluez_are_named(self):
        if pathlib.Path("/sys/class/bluetooth").exists():
            self.skipTest("this machine has Bluetooth")
        self.start_phone(radio=False)
        findings = self.doctor(1)
        self.assert_fault(findings["radio"], "no Bluetooth")
        self.assert_fault(findings["bluez"], "can't reach BlueZ")
        self.assertFalse(findings["adapter"]["known"])

    def test_missing_adapter_is_named(self):
        self.start_bluez(adapter=False)
        self.start_phone()
        self.assert_fault(self.doctor(1)["adapter"], "there is no Bluetooth adapter")

    def test_adapter_that_is_off_is_named(self):
        bluez = self.start_with_adapter()
        self.wait_for_bluez()
        bluez.tell("change /org/bluez/hci0 org.bluez.Adapter1 {'Powered': <false>}")
        self.assert_fault(self.doctor(1)["power"], "switched off")

    def test_adapter_that_is_not_visible_is_named(self):
        self.start_with_adapter(discoverable=False)
        self.wait_for_status("record", "published")
        findings = self.doctor(1)
        self.assert_fault(findings["visibility"], "not visible")
        self.assertTrue(findings["record"]["ok"], findings["record"])
        self.phonectl("receive", "on", "--visible", "1m")
        findings = self.doctor(0)
        self.assertTrue(findings["visibility"]["ok"])
        self.assertTrue(findings["record"]["ok"])

    def test_missing_record_is_named(self):
        bluez = self.start_bluez()
        bluez.tell("fail RegisterProfile org.bluez.Error.NotPermitted")
        self.start_phone()
        self.receive_on()
        self.wait_for_status("record", "refuses it")
        self.assert_fault(self.doctor(1)["record"], "BlueZ refuses it", "restart bluetoothd")

    def test_bus_that_keeps_the_record_from_bluez_is_named(self):
        self.start_with_adapter(rules='<deny send_destination="org.bluez" send_interface="org.bluez.ProfileManager1"/>')
        self.wait_for_status("record", "Rejected send message")
        findings = self.doctor(1)
        self.assert_fault(findings["record"], "the system bus's policy denies access to BlueZ", "send to org.bluez")
        self.assertNotIn("restart bluetoothd", findings["record"]["remedy"])
        self.assertTrue(findings["bluez"]["ok"])

    def test_bus_that_keeps_everybody_from_bluez_is_named(self):
        self.start_bluez(rules='<deny send_destination="org.bluez" send_interface="org.freedesktop.DBus.ObjectManager"/>')
        self.start_phone(radio=False)  # on the virtual radio it wouldn't matter
        self.assert_fault(self.doctor(1)["bluez"], "Rejected send message", "your user may send to org.bluez")

    def test_bus_that_keeps_the_phone_alone_from_bluez_is_named(self):
        bluez = self.start_bluez()
        bluez.tell("fail GetManagedObjects org.freedesktop.DBus.Error.AccessDenied")
        self.start_phone()
        self.wait_for_status("bluez", "denied")
        bluez.tell("work GetManagedObjects")
        self.assert_fault(self.doctor(1)["bluez"], "the phone can't use it", "the phone's user may send to org.bluez")

    def test_bluez_that_the_phone_cannot_ask_is_named(self):
        bluez = self.start_bluez()
        bluez.tell("fail GetManagedObjects org.bluez.Error.Failed")
        self.start_phone()
        self.wait_for_status("bluetooth", "doesn't list its adapters")
        bluez.tell("work GetManagedObjects")
        self.assert_fault(self.doctor(1)["bluez"], "the phone can't use it", "restart phone-host")

    def test_adapter_that_the_phone_alone_misses_is_named(self):
        self.start_with_adapter(options=("--adapter", "hci1"))
        self.wait_for_status("bluez", "ready")
        fault = self.doctor(1)["adapter"]
        self.assert_fault(fault, "there is no Bluetooth adapter hci1", "--adapter hci0")

    def test_visibility_that_is_refused_is_told_with_the_reason(self):
        bluez = self.start_with_adapter(discoverable=False)
        bluez.tell("refuse Discoverable org.bluez.Error.Failed 1000 no luck today")
        self.phonectl("receive", "on", "--visible", "1m", expect=1)
        self.assert_fault(self.doctor(1)["visibility"], "no luck today")

    def test_phonebook_that_is_locked_is_named(self):
        self.start_phone()
        self.receive_on()
        with contextlib.closing(sqlite3.connect(self.phonebook, isolation_level=None)) as book:
            book.execute("BEGIN IMMEDIATE")
            self.assert_fault(self.doctor(1)["phonebook"], "is locked by another program", "fix ")
        self.assertIn("can be read and written", self.doctor(0)["phonebook"]["text"])


class TakenChannel(DoctorTest):
    """Another program on the phone's address listens on its channel."""

    def take_channel(self):
        other = self.start("other", self.on_radio(phone.PHONE_ADDRESS) + ["obex_test", "-b", "4"],
                           stdin=subprocess.PIPE)
        other.process.stdin.write(b"s\n")
        other.process.stdin.flush()
        wait_for(self.channel_is_taken, "the other program to listen")
        return other

    def channel_is_taken(self):
        path = str(self.radio / "001122334455-04")
        sockets = pathlib.Path("/proc/net/unix").read_text().splitlines()
        return any(line.endswith(path) and " 00010000 " in line for line in sockets)

    def receive_on_fails(self):
        result = self.run_program([self.phonectl_program, "--bus", self.bus_address, "receive", "on"])
        self.assertEqual(result.returncode, 1, result.stdout + result.stderr)
        self.assertEqual(result.stdout, "")
        self.assertIn("phonectl: the phone can't receive yet: ", result.stderr)
        self.assertIn("Find the cause with: phonectl doctor", result.stderr)
        return result.stderr

    def test_doctor_names_the_program(self):
        other = self.take_channel()
        self.start_phone()
        self.receive_on_fails()
        findings = self.doctor(1)
        self.assert_fault(findings["channel"], f"channel 4 is taken by obex_test (process {other.process.pid})",
                          "end that program")
        self.assertFalse(findings["receiving"]["ok"])

    def test_doctor_on_the_same_radio_names_the_program(self):
        self.start_bluez()
        other = self.take_channel()
        self.start_phone()
        self.receive_on_fails()
        finding = self.doctor(1, *self.on_radio(phone.PHONE_ADDRESS))["channel"]
        self.assert_fault(finding, f"channel 4 is taken by obex_test (process {other.process.pid})")

    def test_phone_receives_once_the_program_has_ended(self):
        other = self.take_channel()
        self.start_phone()
        self.receive_on_fails()
        other.end()
        wait_for(lambda: self.status("listening"), "the phone to listen")
        self.phonectl("receive", "on")
        self.doctor(0)

    def test_receive_on_gives_the_reason(self):
        self.take_channel()
        self.start_phone()
        said = self.receive_on_fails()
        reason = self.status("listenError")
        self.assertTrue(reason)
        self.assertIn(reason, said)
        self.assertIn(reason, self.phonectl("status"))
        self.assertIn(reason, self.doctor(1)["receiving"]["text"])

    def test_reason_is_gone_when_receiving_is_switched_off(self):
        self.take_channel()
        self.start_phone()
        self.receive_on_fails()
        self.phonectl("receive", "off")
        self.assertEqual(self.status("listenError"), "")


class NotRunning(DoctorTest):
    """What the doctor finds out by itself while the phone doesn't run."""

    def setUp(self):
        super().setUp()
        self.default_book = self.folder / "state" / "obexphone" / "phonebook.db"

    def make_book(self):
        """A phonebook in the default place, closed."""
        self.default_book.parent.mkdir(parents=True)
        self.phonebook = self.default_book
        self.start_phone()
        self.phonectl("book", "add", "--surname", "Berg")
        self.phone.stop()

    def copy_programs(self):
        """phone-host and phonectl in a place of their own, where the plug-in would be in "lib"; returns that."""
        (self.folder / "bin").mkdir()
        for program in ("phone-host", "phonectl"):
            shutil.copy(phone.BIN / program, self.folder / "bin")
        self.phonectl_program = self.folder / "bin" / "phonectl"
        lib = self.folder / "lib"
        lib.mkdir()
        return lib

    def seen(self):
        return {path: (path.stat().st_mtime_ns, path.is_file() and path.read_bytes())
                for path in (self.folder / "state", *sorted((self.folder / "state").rglob("*")))}

    def test_defaults_are_looked_at_and_nothing_is_made(self):
        findings = self.doctor(1)
        self.assertRegex(findings["plug-in"]["text"], "^the default one, /.*/libobexservice.so, can be loaded$")
        self.assertEqual(findings["phonebook"]["text"],
                         f"the default one, sqlite3://{self.default_book}, doesn't exist yet, and can be created")
        self.assertTrue(findings["plug-in"]["ok"] and findings["phonebook"]["ok"])
        self.assertFalse((self.folder / "state").exists())

    def test_phonebook_is_looked_at_and_stays_as_it_is(self):
        self.make_book()
        before = self.seen()
        finding = self.doctor(1)["phonebook"]
        self.assertEqual(finding["text"], f"the default one, sqlite3://{self.default_book}, can be opened")
        self.assertEqual(self.seen(), before)

    def test_damaged_phonebook_is_named(self):
        self.make_book()
        self.default_book.write_bytes(self.default_book.read_bytes()[:5000])
        self.assert_fault(self.doctor(1)["phonebook"], "the default one: The phonebook", "specify another")

    def test_folder_that_cannot_be_made_is_named(self):
        (self.folder / "state").write_text("a file")
        self.assert_fault(self.doctor(1)["phonebook"], "can't be reached: Not a directory", "specify another")

    @unittest.skipUnless(mounts.available(), "this kernel gives no mounts of one's own")
    def test_phonebook_on_a_full_disk_is_named(self):
        (self.folder / "state").mkdir()
        findings = self.doctor(1, *mounts.inside(
            f"mount -t tmpfs -o size=64k none {self.folder}/state"))
        self.assert_fault(findings["phonebook"], "has no room", "make room")

    def test_plug_in_that_is_missing_is_named(self):
        self.copy_programs()
        self.assert_fault(self.doctor(1)["plug-in"], "can't find libobexservice.so in", "build or reinstall")

    def test_plug_in_that_is_no_library_is_named(self):
        (self.copy_programs() / "libobexservice.so").write_text("no library")
        self.assert_fault(self.doctor(1)["plug-in"], "can't load", "build or reinstall")

    def test_plug_in_of_another_service_is_named(self):
        shutil.copy(TEST_PLUGINS / "libfakeservice.so", self.copy_programs() / "libobexservice.so")
        self.assert_fault(self.doctor(1)["plug-in"], "entry point createOBEXService is missing", "build or reinstall")

    def test_plug_in_that_crashes_takes_nothing_with_it(self):
        shutil.copy(TEST_PLUGINS / "libcrashingservice.so", self.copy_programs() / "libobexservice.so")
        findings = self.doctor(1)
        self.assert_fault(findings["plug-in"], "reported nothing: ", "phone-host --check")
        self.assertTrue(findings["phonebook"]["ok"])

    def test_plug_in_that_hangs_is_given_up(self):
        shutil.copy(TEST_PLUGINS / "libhangingservice.so", self.copy_programs() / "libobexservice.so")
        findings = self.doctor(1)
        self.assert_fault(findings["plug-in"], "it didn't end", "phone-host --check")
        self.assertTrue(findings["phonebook"]["ok"])

    def test_missing_phone_host_is_named(self):
        self.copy_programs()
        (self.folder / "bin" / "phone-host").unlink()
        findings = self.doctor(1)
        self.assert_fault(findings["plug-in"], "can't be loaded without ", "package obexphone")
        self.assertFalse(findings["phonebook"]["known"])


class Policy(DoctorTest):
    """Whether anybody could come in who may: the exit code is 0 only then."""

    def examine(self, expect, *options, discoverable=True, **device):
        bluez = self.start_with_adapter(discoverable, options)
        if device:
            bluez.add_device(phone.PEER_ADDRESS, "Anna", **device)
        self.wait_for_status("record", "published")
        return self.doctor(expect)

    def test_everybody_is_let_in_and_finds_the_phone(self):
        self.assertIn("all devices", self.examine(0)["policy"]["text"])

    def test_paired_device_alone_is_not_everybody(self):
        findings = self.examine(1, discoverable=False, paired=True)
        self.assert_fault(findings["visibility"], "phones that aren't paired can't find this one", "--visible")

    def test_trusted_device_needs_no_visibility_where_nobody_else_is_let_in(self):
        findings = self.examine(0, "--strangers", "refuse", discoverable=False, paired=True, trusted=True)
        self.assertIn("only paired phones", findings["visibility"]["text"])

    def test_nobody_is_trusted(self):
        findings = self.examine(1, "--accept", "trusted", paired=True)
        self.assert_fault(findings["policy"], "there is none", "bluetoothctl trust")

    def test_trust_without_a_pairing_is_none(self):
        self.assert_fault(self.examine(1, "--accept", "trusted", trusted=True)["policy"], "there is none")

    def test_trusted_device_that_is_blocked_is_none(self):
        findings = self.examine(1, "--strangers", "refuse", paired=True, trusted=True, blocked=True)
        self.assert_fault(findings["policy"], "there is none")

    def test_strangers_come_in_where_trusted_ones_are_accepted(self):
        self.assertIn("all devices", self.examine(0, "--trusted", "accept")["policy"]["text"])

    def test_nobody_is_let_in_without_bluez(self):
        bluez = self.start_with_adapter(options=("--accept", "trusted"))
        bluez.process.end()
        self.wait_for_status("bluez", "missing")
        self.assert_fault(self.doctor(1)["policy"], "every device is refused", "fix the BlueZ problem")

    def test_without_a_policy_cards_come_in_without_bluez(self):
        bluez = self.start_with_adapter()
        bluez.process.end()
        self.wait_for_status("bluez", "missing")
        self.doctor(0)  # on this virtual radio


@unittest.skipUnless(mounts.available(), "this kernel gives no mounts of one's own")
class Phonebook(DoctorTest):
    def test_full_disk_below_a_running_phone_is_named(self):
        folder = self.folder / "disk"
        folder.mkdir()
        self.phonebook = folder / "phonebook.db"
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=2m", "none", folder], check=True)
        self.addCleanup(subprocess.run, ["umount", "--lazy", folder], check=True)
        self.start_phone()
        (folder / "filler").write_bytes(bytes(1_500_000))
        self.assert_fault(self.doctor(1)["phonebook"], "its disk is full", "make room")


@unittest.skipUnless(mounts.available(), "this kernel gives no mounts of one's own")
class Images(DoctorTest):
    """Remedies for an images folder of which something else is wrong each time."""

    def images_fault(self, script, *prefix):
        return self.doctor(1, *mounts.inside(script), *prefix)["images"]

    def test_disk_that_is_read_only_is_to_be_mounted_for_writing(self):
        fault = self.images_fault("mount -t tmpfs -o ro none /data/images")
        self.assert_fault(fault, "Read-only file system", "mount -o remount,rw")

    def test_running_phone_tells_what_is_wrong_with_its_own_disk(self):
        self.start_phone(inside=mounts.inside("mount -t tmpfs -o ro none /data/images"))
        self.assert_fault(self.doctor(1)["images"], "Read-only file system", "mount -o remount,rw")

    def test_missing_folder_is_to_be_made(self):
        fault = self.images_fault("mount -t tmpfs none /data")
        self.assert_fault(fault, "No such file", "mkdir -p /data/images")

    def test_folder_of_somebody_else_is_to_be_given_to_the_user(self):
        fault = self.images_fault("mount -t tmpfs -o uid=65534,mode=0755 none /data/images",
                                  "setpriv", "--bounding-set=-dac_override")
        self.assert_fault(fault, "Permission denied", "chown root /data/images")

    def test_full_disk_is_to_be_emptied(self):
        fault = self.images_fault(mounts.disk("/data/images", 10))
        self.assert_fault(fault, "its disk is full", "make room")

    def test_disk_without_room_for_another_file_is_to_be_emptied(self):
        fault = self.images_fault("mount -t tmpfs -o nr_inodes=1 none /data/images")
        self.assert_fault(fault, "No space left", "make room")

    def test_as_many_files_as_the_phone_keeps_are_to_become_fewer(self):
        fault = self.images_fault(mounts.disk("/data/images", 100) + "; (cd /data/images; seq 20000 | xargs touch)")
        self.assert_fault(fault, "20000 files or 2048 MiB", "move photos")


class Devices(PhoneTest):
    def test_known_devices_are_listed_with_their_trust(self):
        bluez = self.start_bluez()
        bluez.add_device("66:77:88:99:AA:BB", "Anna", paired=True, trusted=True)
        bluez.add_device("66:77:88:99:AA:BC", "Berg", paired=True)
        bluez.add_device("66:77:88:99:AA:BD", "Carl")
        bluez.add_device("66:77:88:99:AA:BE", "Dora", blocked=True)
        lines = self.phonectl("devices", "--scan", "0").splitlines()
        self.assertEqual(lines, ["66:77:88:99:AA:BB  trusted        Anna",
                                 "66:77:88:99:AA:BC  paired         Berg",
                                 "66:77:88:99:AA:BD  stranger       Carl",
                                 "66:77:88:99:AA:BE  blocked        Dora"])
        devices = json.loads(self.phonectl("devices", "--scan", "0", "--json"))
        self.assertEqual([device["trust"] for device in devices], ["trusted", "paired", "stranger", "blocked"])

    def test_devices_in_reach_are_searched_for(self):
        bluez = self.start_bluez()
        self.phonectl("devices", "--scan", "1s")
        self.assertRegex(bluez.process.out(), "(?s)SetDiscoveryFilter /org/bluez/hci0 .*'Transport': <'bredr'>.*"
                                              "StartDiscovery /org/bluez/hci0")
        wait_for(lambda: "StopDiscovery" in bluez.process.out(), "the end of the search")

    def test_devices_are_searched_for_where_a_search_can_not_be_confined(self):
        bluez = self.start_bluez()
        bluez.tell("fail SetDiscoveryFilter org.bluez.Error.NotSupported")
        self.phonectl("devices", "--scan", "1s")
        self.assertIn("StartDiscovery /org/bluez/hci0", bluez.process.out())

    def test_without_bluez_the_reason_is_told(self):
        result = self.run_program([phone.BIN / "phonectl", "devices"])
        self.assertEqual(result.returncode, 1)
        self.assertIn("can't reach BlueZ", result.stderr)

    def send(self, device):
        return self.run_program([phone.BIN / "phonectl", "--bus", self.bus_address, "send", "Berg",
                                 "--to", device])

    def test_contact_is_sent_by_name_and_without_a_channel(self):
        bluez = self.start_bluez()
        bluez.add_device(phone.PEER_ADDRESS, "Anna's phone")
        self.start_phone()
        self.phonectl("book", "add", "--surname", "Berg")
        sent = self.send("anna's PHONE")
        self.assertIn(f"not sent to {phone.PEER_ADDRESS}, channel 4", sent.stderr)
        self.assertIn("no Bluetooth here to ask the device for its channel; trying 4", sent.stderr)

    def test_names_of_nobody_and_of_several_are_refused(self):
        bluez = self.start_bluez()
        bluez.add_device("66:77:88:99:AA:BB", "Anna")
        bluez.add_device("66:77:88:99:AA:BC", "Anna")
        self.start_phone()
        self.phonectl("book", "add", "--surname", "Berg")
        self.assertIn('several devices are named "Anna"', self.send("Anna").stderr)
        self.assertIn('no known device is named "Carl"', self.send("Carl").stderr)
        bluez.change_device("66:77:88:99:AA:BC", paired=True)
        self.assertIn("66:77:88:99:AA:BC", self.send("Anna").stderr)


if __name__ == "__main__":
    unittest.main()
