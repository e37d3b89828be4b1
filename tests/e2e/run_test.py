"""Runs one test on its own virtual radio: run_test.py MODULE.CLASS.METHOD"""

import os
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import phone  # noqa: E402


def main():
    with tempfile.TemporaryDirectory(prefix="phone-radio-") as radio:
        command = [phone.BIN / "virtual-radio", "--address", phone.PEER_ADDRESS, "--dir", radio, "--",
                   sys.executable, "-m", "unittest", "-v", sys.argv[1]]
        environment = dict(os.environ, PYTHONPATH=os.path.dirname(os.path.abspath(__file__)),
                           PYTHONDONTWRITEBYTECODE="1")
        return subprocess.run([str(word) for word in command], env=environment, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
