"""Checks of the packages, from installation to purge."""

import json
import pathlib
import re

from checks import check, expect, expect_in
from peer import PEER
from phone import DATA, card, wait_for
from system import USER, files, programs

GIVEN = pathlib.Path("/given")
IMAGES = pathlib.Path("/data/images")
OPTIONS = pathlib.Path("/etc/default/obexphone")
PHOTO = (GIVEN / "portrait.jpg").read_bytes()
before = set()


@check("installation starts the service and enables it at boot")
def installed(system):
    before.update(files())
    system.install(GIVEN / "packages")
    system.wait_until_active()
    expect(system.unit("UnitFileState"), "enabled", "the unit")
    expect_in("phone-host: ready on the system bus", system.run("journalctl", "-u", "obexphone"), "its log")


@check("it runs as its own user without privileges")
def confined(system):
    process = system.unit("MainPID")
    status = dict(re.findall(r"^(\w+):\s*(.*)$", pathlib.Path(f"/proc/{process}/status").read_text(), re.MULTILINE))
    number = system.run("id", "-u", "obexphone").strip()
    expect(status["Uid"].split(), [number] * 4, "its user")
    expect((int(status["CapPrm"], 16), int(status["CapBnd"], 16), status["NoNewPrivs"], status["Seccomp"]), (0, 0, "1", "2"),
           "capabilities, bounding set, no new privileges, seccomp mode")


@check("only users in its group can use it")
def group(system):
    refusal = system.ctl("status", user="bert", code=1)
    expect_in("sudo adduser NAME obexphone", refusal, "bert's error message")
    system.run("adduser", "--quiet", USER, "obexphone")
    expect_in("/obexphone/libobexservice.so", system.status()["plugin"], "the plug-in")


@check("phonectl doctor finds no problem when receiving is on")
def healthy(system):
    system.receive_on()
    system.wait_for_no_link()
    system.say("".join(f"    # {line}\n" for line in system.ctl("doctor").splitlines()).rstrip("\n"))


@check("a pushed card is stored, with a photo that the group can read")
def card_arrives(system):
    watcher = system.watch()
    system.peer.obexput(DATA / "demo" / "anna.vcf")
    wait_for(lambda: "Berg" in system.book(), "the card")
    expect(watcher.stop(), 0, "phonectl watch's exit code")
    photo = IMAGES / "photoBergAnna.jpg"
    expect(photo.read_bytes(), PHOTO, "the photo")
    expect((photo.owner(), photo.group(), oct(photo.stat().st_mode & 0o777)), ("obexphone", "obexphone", "0o640"),
           "its owner, group and mode")


@check("it is restarted when killed and keeps its phonebook")
def killed(system):
    process = system.unit("MainPID")
    system.run("systemctl", "kill", "--signal", "KILL", "obexphone")
    wait_for(lambda: system.unit("MainPID") not in ("0", process) and system.unit("ActiveState") == "active",
             "the telephone to restart")
    expect(list(system.book()), ["Berg"], "the phonebook")


@check("it stops cleanly, and bus activation starts it again")
def activated(system):
    system.run("systemctl", "stop", "obexphone")
    expect((system.unit("ActiveState"), system.unit("Result")), ("inactive", "success"), "the unit")
    expect(list(system.book()), ["Berg"], "the phonebook")
    expect(system.unit("ActiveState"), "active", "the unit")


@check("with the unattended options it receives at start and stores cards of trusted devices")
def unattended(system):
    OPTIONS.write_text(OPTIONS.read_text().replace('PHONE_OPTIONS=""', 'PHONE_OPTIONS="--accept trusted --receive"'))
    system.bluez.set_device("hci0", PEER, "Trusted", True)
    system.run("systemctl", "restart", "obexphone")
    wait_for(lambda: system.status()["listening"], "the telephone to listen")
    path = pathlib.Path("/tmp/card.vcf")
    path.write_text(card("Trusted"))
    system.peer.obexput(path)
    wait_for(lambda: "Trusted" in system.book(), "the card")
    line = json.loads(system.ctl("journal", "--json"))[-1]
    expect((line["peer"], line["object"], line["link"], line["phonebook"]), (PEER, "card.vcf", "taken", "stored"), "the journal")


@check("bus activation starts a user service with a phonebook of its own")
def own(system):
    system.run("loginctl", "enable-linger", USER)
    wait_for(pathlib.Path(f"/run/user/{system.run('id', '-u', USER).strip()}/bus").exists, f"{USER}'s bus")
    system.own_ctl("book", "add", "--surname", "Own", "--mobile", "5")
    expect_in("Own", system.own_ctl("book", "list"), "the user's phonebook")
    expect("Own" in system.book(), False, "the entry is in the system's phonebook")


@check("an upgrade restarts it and keeps phonebook and options")
def upgraded(system):
    process = system.unit("MainPID")
    options = OPTIONS.read_text()
    system.install(GIVEN / "later")
    system.wait_until_active()
    expect(system.unit("MainPID") != process, True, "a new process")
    wait_for(lambda: system.status()["listening"], "the telephone to listen")
    expect(sorted(system.book()), ["Berg", "Trusted"], "the phonebook")
    expect(OPTIONS.read_text(), options, "the options")


@check("a purge stops it and leaves only phonebook and photos")
def purged(system):
    system.run("loginctl", "terminate-user", USER)
    system.run("apt-get", "-qq", "purge", "-y", "obexphone", "obexphone-tools", "obexphone-radio")
    expect("phone-host" in programs(), False, "phone-host runs")
    kept = {"/data", "/data/images", "/data/images/photoBergAnna.jpg", "/var/lib/obexphone"}
    kept |= {f"/var/lib/obexphone/phonebook.db{end}" for end in ("", "-wal", "-shm")}
    left = {name for name in files() - before if name not in kept}
    expect(sorted(left), [], "other files left")
    expect((IMAGES / "photoBergAnna.jpg").read_bytes(), PHOTO, "the photo")
    surnames = system.run("sqlite3", "/var/lib/obexphone/phonebook.db", "SELECT surname FROM entries ORDER BY id").split()
    expect(surnames, ["Berg", "Trusted"], "the phonebook")
