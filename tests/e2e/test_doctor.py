"""`phonectl doctor`, `phonectl devices` and a device's name, with a program in BlueZ's place.

The telephone is on the virtual radio here, which needs no BlueZ. What the doctor says of a real stack is tried where there
is one; here it is where the machine has no RFCOMM at all, or only the virtual one.
"""

import json
import pathlib
import subprocess
import unittest

import mounts
import phone
from phone import PhoneTest, wait_for


class DoctorTest(PhoneTest):
    def doctor(self, expect, *prefix):
        command = [*prefix, phone.BIN / "phonectl", "--bus", self.bus_address, "doctor", "--json"]
        result = self.run_program(command)
        self.assertEqual(result.returncode, expect, result.stdout + result.stderr)
        findings = json.loads(result.stdout)
        for finding in findings:
            self.assertTrue(finding["text"], finding)
            # What is a fault has a remedy, and nothing else has.
            self.assertEqual("remedy" in finding, finding["known"] and not finding["ok"], finding)
        return {finding["check"]: finding for finding in findings}

    def assert_fault(self, finding, text, remedy=""):
        self.assertFalse(finding["ok"])
        self.assertIn(text, finding["text"])
        self.assertIn(remedy, finding["remedy"])


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
        self.assert_fault(findings["phone"], "the phone isn't running")
        self.assertIn("phone-host", findings["phone"]["remedy"])

    def test_receiving_that_is_off_is_named(self):
        self.start_phone()
        self.assert_fault(self.doctor(1)["receiving"], "doesn't listen")

    def test_missing_radio_and_bluez_are_named(self):
        if pathlib.Path("/sys/class/bluetooth").exists():
            self.skipTest("this machine has Bluetooth")
        self.start_phone(radio=False)
        findings = self.doctor(1)
        self.assert_fault(findings["radio"], "no Bluetooth")
        self.assert_fault(findings["bluez"], "BlueZ can't be asked")
        self.assertFalse(findings["adapter"]["known"])

    def adapter_findings(self, properties):
        """A telephone with a program in BlueZ's place, which has an adapter if it has properties."""
        bluez = self.start_bluez(adapter=False)
        if properties:
            bluez.tell("add /org/bluez/hci0 org.bluez.Adapter1 {'Address': <'00:11:22:33:44:55'>, "
                       f"'Alias': <'phone'>, 'UUIDs': <@as []>, {properties}}}")
        self.start_phone()
        return bluez

    def test_missing_adapter_is_named(self):
        self.adapter_findings("")
        self.assert_fault(self.doctor(1)["adapter"], "there is no Bluetooth adapter")

    def test_adapter_that_is_off_is_named(self):
        bluez = self.adapter_findings("'Powered': <true>, 'Discoverable': <true>")
        self.receive_on()
        bluez.tell("change /org/bluez/hci0 org.bluez.Adapter1 {'Powered': <false>}")
        self.assert_fault(self.doctor(1)["power"], "switched off")

    def test_adapter_that_is_not_visible_is_named(self):
        self.adapter_findings("'Powered': <true>, 'Discoverable': <false>")
        self.receive_on()
        wait_for(lambda: self.status("record") == "published", "the record")
        findings = self.doctor(1)
        self.assert_fault(findings["visibility"], "not visible")
        self.assertTrue(findings["record"]["ok"], findings["record"])
        self.phonectl("receive", "on", "--visible", "1m")
        findings = self.doctor(0)
        self.assertTrue(findings["visibility"]["ok"])
        self.assertTrue(findings["record"]["ok"])

    def test_missing_record_is_named(self):
        bluez = self.adapter_findings("'Powered': <true>, 'Discoverable': <true>")
        bluez.tell("fail RegisterProfile org.bluez.Error.NotPermitted")
        self.receive_on()
        wait_for(lambda: "doesn't take it" in self.status("record"), "the refusal")
        self.assert_fault(self.doctor(1)["record"], "BlueZ doesn't take it")

    def test_channel_of_another_program_is_named(self):
        self.adapter_findings("'Powered': <true>, 'Discoverable': <true>")
        other = self.start("other", self.on_radio(phone.PHONE_ADDRESS) + ["obex_test", "-b", "4"],
                           stdin=subprocess.PIPE)
        other.process.stdin.write(b"s\n")
        other.process.stdin.flush()
        wait_for(lambda: (self.radio / "001122334455-04").exists(), "the other program to listen")
        self.call_service("obexEnableEvent", "a{sv}", "1", "obexEnableParam", "b", "true")
        self.assert_fault(self.doctor(1, *self.on_radio(phone.PHONE_ADDRESS))["channel"], "channel 4 is taken by another program")
        other.end()
        (self.radio / "001122334455-04").unlink(missing_ok=True)

    def status(self, key):
        return json.loads(self.phonectl("status", "--json"))[key]


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
        self.assertIn("StartDiscovery /org/bluez/hci0", bluez.process.out())
        wait_for(lambda: "StopDiscovery" in bluez.process.out(), "the end of the search")

    def test_without_bluez_the_reason_is_told(self):
        result = self.run_program([phone.BIN / "phonectl", "devices"])
        self.assertEqual(result.returncode, 1)
        self.assertIn("BlueZ can't be asked", result.stderr)

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
        self.assertIn('several devices call themselves "Anna"', self.send("Anna").stderr)
        self.assertIn('no device is known by the name "Carl"', self.send("Carl").stderr)
        bluez.change_device("66:77:88:99:AA:BC", paired=True)
        self.assertIn("66:77:88:99:AA:BC", self.send("Anna").stderr)


if __name__ == "__main__":
    unittest.main()
