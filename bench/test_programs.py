"""The command line of bench_read and bench_write: a line of figures, or an error message."""

import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

BIN = pathlib.Path(os.environ["PHONE_BUILD_DIR"]) / "bin"
FIGURES = re.compile(r"cards (\d+) seconds (\d+\.\d+) bytes (\d+) cpu (\d+\.\d+)\n")
CARD = "BEGIN:VCARD\r\nVERSION:2.1\r\nN:Berg;Anna\r\nTEL;WORK:1\r\nEND:VCARD\r\n"


class Programs(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="bench-test-")
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)

    def run_program(self, name, *arguments, seconds="0.05", warm="0"):
        return subprocess.run([BIN / name, *arguments], capture_output=True, text=True, timeout=60, check=False,
                              env=dict(os.environ, BENCH_SECONDS=seconds, BENCH_WARM=warm))

    def expect_figures(self, name, **options):
        result = self.run_program(name, self.folder, **options)
        self.assertEqual(result.returncode, 0, result.stderr)
        figures = FIGURES.fullmatch(result.stdout)
        self.assertTrue(figures, result.stdout)
        return int(figures[1]), float(figures[2]), int(figures[3]), result.stderr

    def expect_error(self, sentence, name, *arguments, code=1, **options):
        result = self.run_program(name, *arguments, **options)
        self.assertEqual((result.returncode, result.stdout), (code, ""))
        self.assertIn(sentence, result.stderr)

    def test_reads_for_the_given_seconds(self):
        (self.folder / "a.vcf").write_text(CARD, newline="")
        (self.folder / "b.vcf").write_text(CARD, newline="")
        (self.folder / "c.txt").write_text("no card")
        cards, seconds, size, _ = self.expect_figures("bench_read", seconds="0.2")
        self.assertGreaterEqual(seconds, 0.2)
        self.assertEqual((cards % 2, size), (0, cards * len(CARD)))

    def test_does_not_count_the_warm_up(self):
        (self.folder / "a.vcf").write_text(CARD)
        cards, *_ = self.expect_figures("bench_read", seconds="0", warm="0.2")
        self.assertEqual(cards, 1)

    def test_counts_the_bytes_of_built_cards(self):
        (self.folder / "a.json").write_text(json.dumps({"surname": "Berg", "mobile": "1"}))
        cards, _, size, _ = self.expect_figures("bench_write")
        written = subprocess.run([BIN / "cardtool", "write", self.folder / "a.json"], capture_output=True, check=True)
        self.assertEqual(size, cards * len(written.stdout))

    def test_warns_of_cards_that_do_not_parse(self):
        (self.folder / "a.vcf").write_text(CARD)
        (self.folder / "b.vcf").write_text("N:no card\n")
        *_, words = self.expect_figures("bench_read")
        self.assertIn("1 of 2 cards don't parse", words)

    def test_warns_of_a_missing_picture(self):
        (self.folder / "a.json").write_text(json.dumps({"surname": "Berg", "picture": "benchMissing.jpg"}))
        *_, words = self.expect_figures("bench_write")
        self.assertIn("1 of 1 contacts have an unreadable picture", words)

    def test_fails_if_no_card_parses(self):
        (self.folder / "a.vcf").write_text("N:no card\n")
        self.expect_error("no card parses", "bench_read", self.folder)

    def test_fails_for_a_missing_folder(self):
        for name in ("bench_read", "bench_write"):
            self.expect_error("No such file or directory", name, self.folder / "missing")

    def test_fails_for_a_folder_without_cards(self):
        self.expect_error("no .vcf file", "bench_read", self.folder)
        self.expect_error("no .json file", "bench_write", self.folder)

    def test_fails_for_a_dangling_link(self):
        (self.folder / "a.vcf").symlink_to("nowhere")
        self.expect_error("can't read: No such file", "bench_read", self.folder)

    def test_fails_for_a_fifo(self):
        os.mkfifo(self.folder / "a.vcf")
        self.expect_error("not a regular file", "bench_read", self.folder)

    def test_fails_for_json_that_is_no_contact(self):
        (self.folder / "a.json").write_text("[]")
        self.expect_error("a.json", "bench_write", self.folder)

    def test_fails_for_invalid_seconds(self):
        (self.folder / "a.vcf").write_text(CARD)
        for seconds in ("soon", "-1", "nan", "1x"):
            self.expect_error("BENCH_SECONDS must be a number of seconds", "bench_read", self.folder, seconds=seconds)

    def test_prints_usage_without_a_folder(self):
        self.expect_error("usage: bench_read DIR", "bench_read", code=2)


if __name__ == "__main__":
    unittest.main()
