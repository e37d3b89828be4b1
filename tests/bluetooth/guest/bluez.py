"""A client of BlueZ: the objects of org.bluez on the system bus."""

import dbus
from checks import wait_for

ADAPTER, DEVICE, PROPERTIES = "org.bluez.Adapter1", "org.bluez.Device1", "org.freedesktop.DBus.Properties"

OPP = "00001105-0000-1000-8000-00805f9b34fb"


class BlueZ:
    def __init__(self):
        self.bus = None

    def connect(self):
        self.bus = dbus.SystemBus(private=True)

    def call(self, path, interface, method, signature="", *arguments, timeout=120):
        return self.bus.call_blocking("org.bluez", path, interface, method, signature, arguments, timeout=timeout)

    def reload_bus(self):
        self.bus.call_blocking("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "ReloadConfig", "",
                               ())

    def objects(self):
        """Interfaces by path; empty while bluetoothd isn't running."""
        try:
            return self.call("/", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects")
        except dbus.DBusException as error:
            if error.get_dbus_name() in ("org.freedesktop.DBus.Error.ServiceUnknown",
                                         "org.freedesktop.DBus.Error.NameHasNoOwner",
                                         "org.freedesktop.DBus.Error.NoReply"):
                return {}
            raise

    def adapters(self):
        """Properties by name (hci0)."""
        return {path.split("/")[-1]: interfaces[ADAPTER] for path, interfaces in self.objects().items()
                if ADAPTER in interfaces}

    def adapter(self, name):
        return self.adapters()[name]

    def set_adapter(self, name, key, value, signature=None):
        """Sets a property; waits for the adapter, and while it is busy."""
        def is_set():
            try:
                if name not in self.adapters():
                    return False
                if self.adapter(name)[key] != value:
                    self._set(f"/org/bluez/{name}", ADAPTER, key, value, signature)
                return self.adapter(name)[key] == value
            except dbus.DBusException as error:
                if error.get_dbus_name() in ("org.bluez.Error.Busy", "org.bluez.Error.InProgress"):
                    return False
                raise

        wait_for(is_set, f"{key} of {name} to be {value}")

    def offers_push(self):
        """Whether any Object Push record is published; bluetoothd publishes the same ones on both adapters."""
        return any(OPP in adapter["UUIDs"] for adapter in self.adapters().values())

    def device(self, adapter, address):
        """The properties of a device that this adapter knows, or None."""
        return self.objects().get(self._device_path(adapter, address), {}).get(DEVICE)

    def is_paired(self, adapter, address):
        device = self.device(adapter, address)
        return device is not None and bool(device["Paired"])

    def set_device(self, adapter, address, key, value):
        self._set(self._device_path(adapter, address), DEVICE, key, value, None)

    def forget(self, adapter, address):
        if self.device(adapter, address) is not None:
            self.call(f"/org/bluez/{adapter}", ADAPTER, "RemoveDevice", "o", self._device_path(adapter, address))

    def pair(self, adapter, address):
        """Pairs with a device that was in range just now."""
        wait_for(lambda: self.device(adapter, address) is not None, f"{adapter} to know {address}")
        self.call(self._device_path(adapter, address), DEVICE, "Pair")
        wait_for(lambda: self.is_paired(adapter, address), f"{adapter} to be paired with {address}")

    @staticmethod
    def _device_path(adapter, address):
        return f"/org/bluez/{adapter}/dev_{address.replace(':', '_')}"

    def _set(self, path, interface, key, value, signature):
        typed = {"u": dbus.UInt32}.get(signature, lambda plain: plain)(value)
        self.call(path, PROPERTIES, "Set", "ssv", interface, key, typed)
