"""The options in the program's help text, the man page and the completion are the same ones."""

import os
import pathlib
import re
import shutil
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[1]
MAN_PAGE = ROOT / "doc" / "zelt2cggtts.1"
COMPLETION = ROOT / "completions" / "zelt2cggtts"
HELP = subprocess.run([os.environ["ZELT2CGGTTS"], "-h"], text=True, capture_output=True, check=True).stderr
OPTIONS = set(re.findall(r"^  (-\w+) ", HELP, re.MULTILINE)) | {"-matlab"}  # meant for scripts: not in the help
FLAGS = {"-h", "-V", "-C", "-v", "-matlab"}  # the others have values


def complete(*words):
    """What completing the last word answers, and the options bash is told to treat the answers with."""
    script = ('compopt() { echo "compopt $*"; }; source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))\n'
              '_zelt2cggtts; printf "%s\\n" "${COMPREPLY[@]}"')
    result = subprocess.run(["bash", "-c", script, "bash", str(COMPLETION), "zelt2cggtts", *words], text=True,
                            capture_output=True, check=True)
    return set((result.stdout + result.stderr).split("\n")) - {""}


class Options(unittest.TestCase):
    def test_man_page(self):
        text = MAN_PAGE.read_text()
        options = text[text.index("\n.SH OPTIONS"):text.index("\n.SH EXIT STATUS")]
        documented = re.findall(r"^\.T[PQ]\n\.(?:B|BI) \\(-\w+)", options, re.MULTILINE)
        self.assertEqual(sorted(documented), sorted(OPTIONS))
        version = re.search(r"zelt2cggtts VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
        self.assertIn(f'"zelt2cggtts {version}"', text.split("\n")[0])

    @unittest.skipUnless(shutil.which("groff"), "no groff")
    def test_man_page_is_clean(self):
        result = subprocess.run(["groff", "-man", "-ww", "-Tascii", str(MAN_PAGE)], text=True, capture_output=True,
                                check=True)
        self.assertEqual(result.stderr, "")

    def test_completion(self):
        for words, answers in [(["-"], OPTIONS), ([""], OPTIONS), (["-la"], {"-lab", "-labid"}), (["-px40"], set()),
                               (["-labidEX"], set()), (["-xRE"], set()), (["-flog"], set()),
                               (["-b", "2026-01-31_10", ":", ""], set()),
                               (["-f", ""], {"compopt -o default"}), (["-f", "-"], {"compopt -o default"})]:
            self.assertEqual(complete(*words), answers, words)
        for option in OPTIONS - {"-f"}:
            self.assertEqual(complete(option, "-"), OPTIONS if option in FLAGS else set(), option)


if __name__ == "__main__":
    unittest.main()
