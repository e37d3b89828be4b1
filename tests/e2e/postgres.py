"""A PostgreSQL server for one test."""

import os
import pathlib
import shutil
import subprocess

PROGRAMS = pathlib.Path("/usr/lib/postgresql/15/bin")


class Server:
    """Runs in a temporary folder, reachable through a socket there; as user "postgres" if the test runs as root."""

    def __init__(self, folder):
        self.folder = folder
        self.folder.mkdir()
        self.prefix = []
        if os.geteuid() == 0:
            shutil.chown(self.folder, "postgres", "postgres")
            self.prefix = ["setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups"]
        self.connection = f"postgresql://phone@/book?host={self.folder}&connect_timeout=2"
        self._run("initdb", "-U", "phone", "-A", "trust", "--no-sync", "-E", "UTF8", "--locale=C")
        with open(self.folder / "data" / "postgresql.conf", "a", encoding="utf-8") as config:
            config.write(f"listen_addresses = ''\nunix_socket_directories = '{self.folder}'\nfsync = off\n")
        self.start()
        self.sql("CREATE DATABASE book", "postgres")

    def _run(self, program, *words):
        command = [*self.prefix, PROGRAMS / program, "-D", self.folder / "data", *words]
        subprocess.run([str(word) for word in command], check=True, stdout=subprocess.DEVNULL, cwd="/")

    def start(self):
        self._run("pg_ctl", "start", "-w", "-s", "-l", str(self.folder / "log"))

    def stop(self):
        self._run("pg_ctl", "stop", "-w", "-s", "-m", "immediate")

    def end(self):
        if (self.folder / "data" / "postmaster.pid").exists():
            self.stop()

    def sql(self, text, database="book"):
        command = ["psql", "-XqAt", "-h", str(self.folder), "-U", "phone", "-d", database, "-c", text]
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()
