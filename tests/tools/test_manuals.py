"""The tools as commands; their help, man pages and completions know the same options. Documents name what exists."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import unittest

from common import EXPECTED, ROOT, TOOLS, run

NAMES = ("check-cggtts", "compare-cggtts", "convert-archive", "plot-cggtts", "plot-position", "strict-cggtts")
COMPLETE = ('compopt() { echo "compopt $*"; }; source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))\n'
            '_cggtts_tools; printf "%s\\n" "${COMPREPLY[@]}"')
SOURCES = ("app", "bench", "cggtts", "cmake", "completions", "examples", "fuzz", "scripts", "tests", "tools", "utils",
           "zeltlog")
PLACEHOLDERS = {"NAMEcommand.cpp", "OM_", "addNAMECommand", "kName", "name_"}  # of architecture.md


def complete(*words):
    result = run("bash", "-c", COMPLETE, "bash", ROOT / "completions" / "cggtts-tools", *words)
    assert (result.returncode, result.stderr) == (0, ""), result.stderr
    return set(result.stdout.split("\n")) - {""}


def unread_pipe():
    read, write = os.pipe()
    os.close(read)
    return write


class Manuals(unittest.TestCase):
    def test_options(self):
        for name in NAMES:
            result = run(TOOLS / name, "--help")  # as a command: with its interpreter, found from anywhere
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertRegex(result.stdout, r"(?s)^usage: " + name + r".*\nExit status: 0 .*\n  -h, --help ")
            lines = re.findall(r"(?m)^  (-.*?)(?:  .*)?$", result.stdout)
            options = {word for line in lines for word in re.findall(r"(?<!\S)--?[a-z][a-z-]*", line)}
            self.assertEqual(complete(name, "-"), options)
            text = (ROOT / "doc" / f"{name}.1").read_text()
            version = re.search(r"zelt2cggtts VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())[1]
            self.assertRegex(text, rf'(?m)^\.TH .* "zelt2cggtts {re.escape(version)}"')
            tags = re.findall(r"(?m)^\.TP\n(\.B.*)", text[text.index("\n.SH OPTIONS"):text.index("\n.SH EXIT")])
            self.assertEqual({word.replace("\\", "") for tag in tags for word in re.findall(r" (\\-[\\\-a-z]+)", tag)},
                             options)
            self.assertIn("\n.SH EXIT STATUS\n", text)
            page = run("groff", "-man", "-ww", "-Tascii", ROOT / "doc" / f"{name}.1") if shutil.which("groff") else None
            self.assertEqual(page.stderr if page else "", "")

    def test_completion_of_values_and_files(self):
        self.assertEqual(complete("compare-cggtts", "--method", "a"), {"all-in-view"})
        self.assertEqual(complete("compare-cggtts", "--dsg", ""), set())
        self.assertEqual(complete("strict-cggtts", "-o", ""), {"compopt -o dirnames"})
        for words in (("plot-cggtts", "-o", ""), ("/usr/bin/check-cggtts", "GZ"), ("compare-cggtts", "a", "--", "")):
            self.assertEqual(complete(*words), {"compopt -o default"})

    def test_standard_output_that_takes_nothing(self):
        gps = EXPECTED["G"]
        for name, *words in (("check-cggtts", gps), ("compare-cggtts", gps, "--", gps), ("strict-cggtts", "--help")):
            for end, output in ((2, os.open("/dev/full", os.O_WRONLY)), (-signal.SIGPIPE, unread_pipe())):
                result = subprocess.run([TOOLS / name, *words], stdout=output, stderr=subprocess.PIPE, text=True)
                os.close(output)
                message = f"{name}: standard output: No space left on device\n" if end == 2 else ""
                self.assertEqual((result.returncode, result.stderr), (end, message))

    def test_without_numpy(self):
        for name, status, message in (("check-cggtts", 0, ""), ("plot-cggtts", 2, "python3-numpy"),
                                      ("compare-cggtts", 2, "python3-numpy")):
            result = run(sys.executable, "-S", TOOLS / name, EXPECTED["G"])  # -S: what Debian installs is not found
            self.assertEqual(result.returncode, status, result.stderr)
            self.assertIn(message, result.stderr)

    def test_names_in_documents(self):
        paths = [path for folder in SOURCES for path in (ROOT / folder, *(ROOT / folder).rglob("*"))]
        known = {name for path in paths for name in (path.name, path.stem)} | PLACEHOLDERS
        for path in paths:
            if path.is_file() and path.suffix != ".zelt" and path.name != pathlib.Path(__file__).name:
                known.update(re.findall(r"\w+", path.read_text(errors="replace")))
        for document in ("architecture", "bounds", "log-format"):
            quoted = re.findall(r"`([^`\n]+)`", (ROOT / "doc" / f"{document}.md").read_text())
            names = {name for text in quoted for name in re.findall(r"\w+\.(?:cpp|h|py)\b|[A-Za-z_]\w+", text)}
            self.assertEqual(names - known, set(), document)


if __name__ == "__main__":
    unittest.main()
