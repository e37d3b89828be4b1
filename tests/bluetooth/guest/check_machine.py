"""What all other checks need."""

import json

from checks import check, expect
from machine import ADDRESSES


@check("bluetoothd manages both emulated controllers")
def controllers(machine):
    for name, address in ADDRESSES.items():
        adapter = machine.bluez.adapter(name)
        expect((str(adapter["Address"]), bool(adapter["Powered"])), (address, True), name)


@check("the telephone listens on channel 4")
def listens(machine):
    status = json.loads(machine.telephone.ctl("status", "--json"))
    expect((status["radio"], status["listening"], status["channel"]), ("ready", True, 4), "its status")
