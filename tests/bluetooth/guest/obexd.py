"""obexd, the receiver of Linux desktops and phones: as a receiver on channel 9, and as a client that pushes."""

import dbus
from checks import wait_for
from peer import PEER, TELEPHONE
from receiver import FOLDER

SERVICE = "org.bluez.obex"
CHANNEL = 9


class Obexd:
    def __init__(self, machine):
        self.machine = machine
        self.process = None

    def start_receiver(self, takes=True):
        """Accepts every object into `receiver.FOLDER`, or refuses every one."""
        FOLDER.mkdir(exist_ok=True)
        self._start(*(["-a"] if takes else []), "-r", FOLDER)
        wait_for(self.machine.bluez.offers_push, "obexd's service record")

    def start_client(self):
        """Only pushes: publishes no record that could be mistaken for the telephone's."""
        self._start("-P", "opp,ftp,irmc,pcsuite,syncevolution,mas")

    def _start(self, *options):
        self.process = self.machine.start_program("obexd", "/usr/libexec/bluetooth/obexd", "-n", *options)
        bus = self.machine.session_bus()
        wait_for(lambda: bus.name_has_owner(SERVICE), "obexd on the session bus")
        bus.close()

    def stop(self):
        if self.process is not None:
            self.process.end()
            self.process = None

    def push(self, file):
        """Finds the telephone's channel by its service record, pushes a file, and waits for the end of the transfer. A session
        lives as long as its bus connection."""
        bus = self.machine.session_bus()
        try:
            self._push(bus, file)
        finally:
            bus.close()

    @staticmethod
    def _push(bus, file):
        def call(path, interface, method, signature, *arguments):
            return bus.call_blocking(SERVICE, path, interface, method, signature, arguments, timeout=120)

        session = call("/org/bluez/obex", "org.bluez.obex.Client1", "CreateSession", "sa{sv}", TELEPHONE,
                       {"Target": "opp", "Source": PEER})
        transfer, _ = call(session, "org.bluez.obex.ObjectPush1", "SendFile", "s", str(file))

        def has_ended():
            try:
                return call(transfer, "org.freedesktop.DBus.Properties", "Get", "ss", "org.bluez.obex.Transfer1",
                            "Status") in ("complete", "error")
            except dbus.DBusException as error:
                return error.get_dbus_name() == "org.freedesktop.DBus.Error.UnknownObject"  # the object is removed soon after

        wait_for(has_ended, "the transfer to end")
