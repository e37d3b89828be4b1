"""The D-Bus policy on a system bus."""

import os
import unittest

import phone
from phone import SOURCE, PhoneTest, card, wait_for

POLICY = SOURCE / "packaging" / "org.obexphone.Phone.conf"

# The defaults of Debian's system bus: signals, replies and calls to the bus itself.
SYSTEM_BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>system</type><listen>unix:path={folder}/bus</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><deny own="*"/><deny send_type="method_call"/>
<allow send_type="signal"/><allow send_requested_reply="true" send_type="method_return"/>
<allow send_requested_reply="true" send_type="error"/><allow receive_type="method_call"/>
<allow receive_type="method_return"/><allow receive_type="error"/><allow receive_type="signal"/>
<allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/></policy>
<include>{folder}/policy.conf</include></busconfig>
"""

HOST, MEMBER, STRANGER = "root", "daemon", "nobody"
REFUSED = "Access denied"


@unittest.skipIf(os.geteuid() != 0, "only root can be somebody else")
class SystemBus(PhoneTest):
    """Runs the service as root with the group of `daemon`, so that no user has to be created."""

    def _start_bus(self):
        policy = POLICY.read_text()
        for kind, name, stand_in in (("user", "obexphone", HOST), ("group", "obexphone", MEMBER)):
            self.assertIn(f'{kind}="{name}"', policy)
            policy = policy.replace(f'{kind}="{name}"', f'{kind}="{stand_in}"')
        (self.folder / "policy.conf").write_text(policy)
        config = self.folder / "bus.conf"
        config.write_text(SYSTEM_BUS.format(folder=self.folder))
        self.folder.chmod(0o755)
        bus = self.start("bus", ["dbus-daemon", f"--config-file={config}", "--nofork", "--print-address"])
        bus.wait_for_out("unix:")

    def setUp(self):
        super().setUp()
        self.start_phone()

    def call_as(self, user, destination, path, interface, *call):
        result = self.run_program(
            ["setpriv", f"--reuid={user}", f"--regid={'nogroup' if user == STRANGER else user}", "--clear-groups", "--",
             "busctl", f"--address={self.bus_address}", "--timeout=60", "call", destination, path, interface, *call])
        return result.returncode, result.stdout + result.stderr

    def expect_allowed(self, user, *call):
        code, text = self.call_as(user, *call)
        self.assertEqual(code, 0, text)
        return text

    def expect_refused(self, user, *call):
        code, text = self.call_as(user, *call)
        self.assertNotEqual(code, 0, text)
        self.assertIn(REFUSED, text)

    CALLS = (
        ("/org/obexphone/Phone", "org.obexphone.Phone", "Status"),
        ("/org/obexphone/OBEXService", "org.obexphone.OBEXServiceIfc", "vCardsRejectedEvent", "a{sv}", "0"),
        ("/org/obexphone/DirectoryService", "org.obexphone.DirectoryServiceIfc", "handleRequest", "ay", "1", "0"),
        ("/org/obexphone/Phone", "org.freedesktop.DBus.Introspectable", "Introspect"),
    )

    def test_member_of_the_group_may_call(self):
        for call in self.CALLS:
            self.expect_allowed(MEMBER, "org.obexphone.Phone", *call)

    def test_root_may_call(self):
        for call in self.CALLS:
            self.expect_allowed(HOST, "org.obexphone.Phone", *call)

    def test_nobody_else_may_call(self):
        for call in self.CALLS:
            self.expect_refused(STRANGER, "org.obexphone.Phone", *call)

    def test_nobody_else_may_call_by_the_unique_name(self):
        owner = self.expect_allowed(STRANGER, "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetNameOwner", "s",
                                    "org.obexphone.Phone").split('"')[1]
        self.assertTrue(owner.startswith(":"))
        for call in self.CALLS:
            self.expect_refused(STRANGER, owner, *call)
            self.expect_allowed(MEMBER, owner, *call)

    def test_only_the_telephone_may_have_its_name(self):
        self.phone.stop()
        take = ("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName", "su", "org.obexphone.Phone", "0")
        for user in (MEMBER, STRANGER):
            code, text = self.call_as(user, *take)
            self.assertNotEqual(code, 0, text)
            self.assertIn(REFUSED, text)
        self.expect_allowed(HOST, *take)

    def test_only_the_telephone_may_tell_observers_of_cards(self):
        watcher = self.watch()
        observer = wait_for(lambda: self.unique_name(watcher.process.pid), "the observer to be on the bus")
        offer = (observer, "/org/obexphone/OBEXServiceObserver", "org.obexphone.OBEXServiceObserverIfc", "vCardAcceptEvent",
                 "a{sv}", "0")
        for user in (MEMBER, STRANGER):
            self.expect_refused(user, *offer)

    def unique_name(self, process):
        """The unique bus name of a process."""
        names = self.busctl("list", "--unique", "--no-legend", "--no-pager").splitlines()
        for name in (line.split()[0] for line in names):
            code, text = self.call_as(HOST, "org.freedesktop.DBus", "/", "org.freedesktop.DBus",
                                      "GetConnectionUnixProcessID", "s", name)
            if code == 0 and text.split() == ["u", str(process)]:
                return name
        return None

    def test_a_card_comes_in_is_offered_and_stored(self):
        self.receive_on()
        watcher = self.watch("--accept")
        self.push_card(card("Berg"))
        wait_for(lambda: self.surnames() == ["Berg"], f"the card to be stored; {watcher.out()}{self.phone.err()}")
        self.assertNotIn("not delivered", self.phone.err())


if __name__ == "__main__":
    unittest.main()
