"""The options in the programs' help texts, man pages and completions are the same ones."""

import os
import pathlib
import re
import shutil
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[1]
MAN_PAGES = {name: (ROOT / "doc" / f"{name}.1").read_text() for name in ("zelt2cggtts", "zeltlog")}
HELP = subprocess.run([os.environ["ZELT2CGGTTS"], "-h"], text=True, capture_output=True, check=True).stderr
OPTIONS = set(re.findall(r"^  (-\w+) ", HELP, re.MULTILINE)) | {"-matlab"}  # meant for scripts: not in the help
FLAGS = {"-h", "-V", "-C", "-v", "-matlab"}  # the others have values


def complete(program, *words):
    """What completing the last word answers, and the options bash is told to treat the answers with."""
    script = ('compopt() { echo "compopt $*"; }; for file in zelt2cggtts zeltlog; do source "$0/$file"; done\n'
              'COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); "_$1"; printf "%s\\n" "${COMPREPLY[@]}"')
    result = subprocess.run(["bash", "-c", script, str(ROOT / "completions"), program, *words], text=True,
                            capture_output=True, check=True)
    return set((result.stdout + result.stderr).split("\n")) - {""}


def zeltlog_help(*words):
    """The options in a help text of zeltlog, and the subcommands."""
    text = subprocess.run([os.environ["ZELTLOG"], *words, "--help"], text=True, capture_output=True, check=True).stdout
    pairs = re.findall(r"^  (?:(-\w),)?(--?\w+)", text, re.MULTILINE)
    subcommands = re.findall(r"^  (\w+)", text.partition("Subcommands:")[2], re.MULTILINE)
    return {option for pair in pairs for option in pair if option}, subcommands


class Options(unittest.TestCase):
    def test_man_page(self):
        text = MAN_PAGES["zelt2cggtts"]
        options = text[text.index("\n.SH OPTIONS"):text.index("\n.SH EXIT STATUS")]
        documented = re.findall(r"^\.T[PQ]\n\.(?:B|BI) \\(-\w+)", options, re.MULTILINE)
        self.assertEqual(sorted(documented), sorted(OPTIONS))
        version = re.search(r"zelt2cggtts VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
        for page in MAN_PAGES.values():
            self.assertIn(f'"zelt2cggtts {version}"', page.split("\n")[0])

    @unittest.skipUnless(shutil.which("groff"), "no groff")
    def test_man_pages_are_clean(self):
        for page in MAN_PAGES.values():
            result = subprocess.run(["groff", "-man", "-ww", "-Tascii"], input=page, text=True, capture_output=True,
                                    check=True)
            self.assertEqual(result.stderr, "")

    def test_completion(self):
        for words, answers in [(["-"], OPTIONS), ([""], OPTIONS), (["-la"], {"-lab", "-labid"}), (["-px40"], set()),
                               (["-labidEX"], set()), (["-xRE"], set()), (["-flog"], set()),
                               (["-b", "2026-01-31_10", ":", ""], set()),
                               (["-f", ""], {"compopt -o default"}), (["-f", "-"], {"compopt -o default"})]:
            self.assertEqual(complete("zelt2cggtts", *words), answers, words)
        for option in OPTIONS - {"-f"}:
            self.assertEqual(complete("zelt2cggtts", option, "-"), OPTIONS if option in FLAGS else set(), option)

    @unittest.skipUnless("ZELTLOG" in os.environ, "no zeltlog")
    def test_zeltlog(self):
        page = MAN_PAGES["zeltlog"].replace("\\-", "-")
        synopsis = page.partition(".SH SYNOPSIS")[2].partition(".SH")[0].split(".br\n")
        sections = [section.partition("\n") for section in re.split(r"^\.S[HS] ", page, flags=re.MULTILINE)]
        options, subcommands = zeltlog_help()
        self.assertEqual(complete("zeltlog", ""), options | set(subcommands))
        self.assertEqual({re.search(r"\.B zeltlog (\S+)", usage).group(1) for usage in synopsis},
                         {"--help", *subcommands})
        for name in subcommands:
            options, _ = zeltlog_help(name)
            usage, = (usage for usage in synopsis if f".B zeltlog {name}\n" in usage)
            described = "".join(text for title, _, text in sections if title.lower() == f"zeltlog {name}")
            converter = OPTIONS if "options of zelt2cggtts" in usage else set()
            self.assertEqual(complete("zeltlog", name, "-"), options | converter, name)
            self.assertEqual(complete("zeltlog", name, "--"), {option for option in options if option[:2] == "--"})
            own = sorted(options - {"-h", "--help"})
            self.assertEqual(sorted(re.findall(r"(?<![\w-])--?\w+", usage)), own, name)
            self.assertEqual(sorted(re.findall(r'^\.TP\n\.BI? "?(--?\w+)', described, re.MULTILINE)), own, name)


if __name__ == "__main__":
    unittest.main()
