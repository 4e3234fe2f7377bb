"""The options in the program's table, its help text, the man page and the completion are the same ones."""

import os
import pathlib
import re
import shutil
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[1]
PROGRAM = os.environ["ZELT2CGGTTS"]

MAN_PAGE = ROOT / "doc" / "zelt2cggtts.1"
COMPLETION = ROOT / "completions" / "zelt2cggtts"
BEFORE_THE_TABLE = {"-h", "-V", "-f"}
NOT_IN_HELP = {"-matlab"}  # as it always was
FLAGS = {"-C", "-v", "-matlab"}  # of the table; the others have values


def table():
    source = (ROOT / "app" / "cmdline.cpp").read_text()
    body = re.search(r"^std::vector<Option> optionTable\(.*?^}", source, re.DOTALL | re.MULTILINE).group()
    options = re.findall(r'\{"(-\w+)",', body)
    assert len(options) == body.count('{"') > 0
    return set(options)


def all_options():
    return table() | BEFORE_THE_TABLE


def complete(*words):
    """What completing the last word answers, and the options bash is told to treat the answers with."""
    script = ('compopt() { echo "compopt $*"; }; source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))\n'
              '_zelt2cggtts; printf "%s\\n" "${COMPREPLY[@]}"')
    result = subprocess.run(["bash", "-c", script, "bash", str(COMPLETION), "zelt2cggtts", *words], text=True,
                            capture_output=True, check=True)
    assert not result.stderr, result.stderr
    return set(result.stdout.split("\n")) - {""}


class Options(unittest.TestCase):
    def test_help_text(self):
        text = subprocess.run([PROGRAM, "-h"], text=True, capture_output=True, check=True).stderr
        self.assertEqual(set(re.findall(r"^  (-\w+) ", text, re.MULTILINE)), all_options() - NOT_IN_HELP)

    def test_man_page(self):
        text = MAN_PAGE.read_text()
        options = text[text.index("\n.SH OPTIONS"):text.index("\n.SH EXIT STATUS")]
        documented = re.findall(r"^\.T[PQ]\n\.(?:B|BI) \\(-\w+)", options, re.MULTILINE)
        self.assertEqual(sorted(documented), sorted(all_options()))
        version = re.search(r"VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text().split("project(")[1]).group(1)
        self.assertIn(f'"zelt2cggtts {version}"', text.split("\n")[0])

    @unittest.skipUnless(shutil.which("groff"), "no groff")
    def test_man_page_is_clean(self):
        result = subprocess.run(["groff", "-man", "-ww", "-Tascii", str(MAN_PAGE)], text=True, capture_output=True,
                                check=True)
        self.assertEqual(result.stderr, "")

    def test_completion_of_options(self):
        self.assertEqual(complete("-"), all_options())
        self.assertEqual(complete(""), all_options())
        self.assertEqual(complete("-la"), {"-lab", "-labid"})
        for glued in ("-px40", "-dcab78.4", "-labidEX", "-xRE", "-flog"):
            self.assertEqual(complete(glued), set(), glued)

    def test_completion_behind_options(self):
        for option in table():
            self.assertEqual(complete(option, "-"), all_options() if option in FLAGS else set(), option)
        self.assertEqual(complete("-b", "2026-01-31_10", ":", ""), set())

    def test_completion_of_the_log(self):
        self.assertEqual(complete("-f", ""), {"compopt -o default"})  # bash's own: of files
        self.assertEqual(complete("-f", "-"), {"compopt -o default"})


if __name__ == "__main__":
    unittest.main()
