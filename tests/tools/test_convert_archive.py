import binascii
import json
import os
import pathlib
import random
import shlex
import shutil
import signal
import struct
import subprocess
import time
import unittest
import unittest.mock

import common
from common import EXAMPLE_LOG, PROGRAM, TOOLS, call, load, run

import daymaker
import optionsfile

TOOL = TOOLS / "convert-archive"
SLURM = TOOLS / "slurm-archive.sbatch"
ZELTLOG = pathlib.Path(os.environ["ZELTLOG"]).resolve()
OPTIONS = {"-ls": "18", "-labid": "EX", "-tref": "UTC(EX) \"main\" {} 'hall'", "-dcab": "78.4"}
DAYS = (59024, 59025)
AWKWARD = ["plain", "two blanks ", "it's \"quoted\"", "{} $HOME `x` {1}", "line\nend", "\udcff"]

# Runs commands here, as a login shell of that host would: another folder, another environment.
STAND_IN_SSH = """#!/bin/bash
[[ $1 == dead* ]] && exit 255
echo "$1" >>'{hosts}'
shift
[[ $1 == -- ]] && shift
cd / && exec env -i PATH=/usr/bin:/bin SHELL=/bin/sh HOME="$HOME" sh -c "$*"
"""


def with_crc(body):
    """The block of its bytes from the number on."""
    return b"$@" + struct.pack("<H", binascii.crc_hqx(body, 0)) + body


def stamped(block, second):
    """The block with another time stamp."""
    week, rest = divmod(second, 604800)
    return with_crc(block[4:8] + struct.pack("<IH", rest * 1000, week) + block[14:])


def shifted_blocks(shift):
    """The example's blocks, their time stamps moved by some seconds: [(second, block)]."""
    log, position, blocks = EXAMPLE_LOG.read_bytes(), 0, []
    while position < len(log):
        length, tow, week = struct.unpack_from("<HIH", log, position + 6)
        second = week * 604800 + tow // 1000 + shift
        blocks.append((second, stamped(log[position:position + length], second)))
        position += length
    return blocks


BLOCKS = shifted_blocks(-5400)  # midnight lies in the middle of them
MIDNIGHT = BLOCKS[-1][0] // 86400 * 86400


def part(begin, end):
    """The log of a stretch, seconds from midnight, its end not included."""
    return b"".join(block for second, block in BLOCKS if begin <= second - MIDNIGHT < end)


class ConvertArchive(common.ToolTest):
    def setUp(self):
        super().setUp()
        self.out = self.folder / "the results"
        self.logs = self.folder / "logs"
        self.logs.mkdir()
        self.options = self.folder / "options"
        self.write_options(OPTIONS)

    def write_options(self, options):
        lines = [f"{option}   {value}\n" for option, value in options.items()]
        self.options.write_text("# laboratory EX\n\n" + "".join(lines))

    def write_hours(self):
        for hour in (-2, -1, 0, 1):
            (self.logs / f"{hour}.zelt").write_bytes(part(3600 * hour, 3600 * (hour + 1)))

    def make_program(self, before="", after=""):
        """A program that does what a text says before it converts, or after."""
        program = self.folder / "program"
        program.write_text(f"#!/bin/bash\n{before}\n{shlex.quote(str(PROGRAM))} \"$@\" || exit\n{after}\n")
        program.chmod(0o755)
        return str(program)

    def archive(self, *words, **environment):
        return run(TOOL, self.options, *(words or [self.logs]), "-o", self.out, **environment)

    def assert_counts(self, result, made, done, failed):
        self.assertEqual(result.stdout.splitlines()[-1:], [f"{made} made, {done} done before, {failed} failed"],
                         result.stderr)
        self.assertEqual(result.returncode, 1 if failed else 0)

    def files(self):
        return {path.name: path.read_bytes() for path in self.out.iterdir() if not path.name.startswith(".")}

    def assert_days(self, options=None):
        """The files are those of the one continuous log, a file a day."""
        words = [word for option in (options or OPTIONS).items() for word in option]
        whole = self.folder / "whole"
        whole.write_bytes(part(-90000, 90000))
        expected = {}
        for path in common.convert(self.folder / "expected", *words, log=whole).values():
            lines = path.read_bytes().splitlines(keepends=True)
            for day in DAYS:
                mine = [line for line in lines[common.HEADER_LINES:] if line[7:12] == b"%d" % day]
                name = f"{path.name[:6]}{day // 1000}.{day % 1000:03d}"
                expected[name] = b"".join(lines[:common.HEADER_LINES] + mine)
        for day in DAYS:
            self.assertGreater(sum(text.count(b" %d " % day) for text in expected.values()), 25)
        self.assertEqual(self.files(), expected)
        self.assertEqual(list((self.out / ".convert-archive" / "work").iterdir()), [])

    def test_days_of_any_pieces(self):
        rng = random.Random(2)
        folder = self.logs / "below {}"
        folder.mkdir()
        for number, begin in enumerate(range(-5400, 5400, 900)):
            path = folder / f"{AWKWARD[number % len(AWKWARD)]}{rng.random()}.zelt"
            path.write_bytes(part(begin - rng.randrange(300), begin + 900))
            if number % 3 == 0:
                packer, ending = (("gzip", "gz"), ("xz", "xz"), ("bzip2", "bz2"), ("zstd", "zst"))[number // 3]
                with open(self.folder / str(number), "wb") as packed:
                    subprocess.run([packer, "-c", path], stdout=packed, check=True)
                path.unlink()
                path.with_name(f"{path.name}.{ending}").symlink_to(packed.name)
        shutil.copy(path, self.logs / "twice")
        (self.logs / "junk\udcff").write_bytes(part(900, 1800) + b"junk")
        (self.logs / "notes.txt").write_text("no log")
        (self.logs / "index.bin").write_bytes(bytes(range(256)))
        (self.logs / ".hidden").write_bytes(part(0, 60)[:-1])
        for made in (2, 0):
            result = self.archive(PYTHONIOENCODING="ascii:strict")
            self.assert_counts(result, made, 2 - made, 0)
            self.assertIn("left out 4 bytes", result.stdout)
            self.assert_days()

    def test_only_what_changed_is_made_again(self):
        self.write_hours()
        self.assert_counts(self.archive(), 2, 0, 0)
        (self.logs / "1.zelt").rename(self.logs / "renamed")
        self.assert_counts(self.archive(), 1, 1, 0)  # the second day alone
        options = OPTIONS | {"-dcab": "100"}
        self.write_options(options)
        self.assert_counts(self.archive(), 2, 0, 0)
        self.assert_days(options)
        next(self.out.glob("GZ*")).unlink()
        self.assert_counts(self.archive(), 1, 1, 0)
        self.assert_days(options)
        for days in ("59025", "59025.."):
            self.assert_counts(self.archive(self.logs, "--days", days), 0, 1, 0)
        self.assert_counts(self.archive(self.logs, "--lead", "1"), 2, 0, 0)
        self.assert_counts(self.archive(self.logs, "--lead", "1", ZELT2CGGTTS=self.make_program()), 2, 0, 0)

    def test_a_poorer_day_replaces_none(self):
        self.write_hours()
        self.assert_counts(self.archive(), 2, 0, 0)
        before = self.files()
        foreign = self.folder / "foreign"
        foreign.write_bytes(before["EZEX__59.025"].replace(b"\n", b"\r\n"))
        self.assertEqual(daymaker.count_lines(foreign), daymaker.count_lines(self.out / "EZEX__59.025"))
        (self.logs / "1.zelt").unlink()
        for done in (1, 2):
            result = self.archive()
            self.assertRegex(result.stderr, r"failed: 59025: not replaced: .*EZEX__59.025: \d+ lines in place of")
            self.assert_counts(result, 0, done, 1)
            self.assertEqual(self.files(), before)
        self.assert_counts(self.archive(self.logs, "--force"), 1, 1, 0)
        self.assertLess(len(self.files()["EZEX__59.025"]), len(before["EZEX__59.025"]))
        (self.logs / "again").write_bytes(part(3600, 7200))
        self.assert_counts(self.archive(), 1, 1, 0)
        self.assertEqual(self.files(), before)
        (self.logs / "again").unlink()
        self.assert_counts(self.archive(), 0, 1, 1)
        for path in self.out.glob("*.025"):
            path.unlink()
        self.assert_counts(self.archive(), 1, 1, 0)

    def test_a_day_refused_for_want_of_a_log_is_tried_again(self):
        self.write_hours()
        last = self.logs / "1.zelt"
        last.rename(self.folder / "later")
        subprocess.run(["gzip", self.logs / "0.zelt"], check=True)
        self.assert_counts(self.archive(), 2, 0, 0)
        (self.folder / "later").rename(last)
        gzip = self.folder / "gzip"
        gzip.write_text("#!/bin/sh\nexit 1\n")
        gzip.chmod(0o755)
        result = self.archive(PATH=f"{self.folder}:{os.environ['PATH']}")
        self.assertRegex(result.stderr, r"failed: 59025: not replaced: .* lines in place of .*0\.zelt\.gz: gzip failed")
        self.assert_counts(result, 0, 1, 1)
        self.assert_counts(self.archive(), 1, 1, 0)
        self.assert_days()

    def test_the_day_that_is_not_over(self):
        self.write_hours()
        tool = load("convert-archive")
        during = MIDNIGHT + 315964800 + 3600
        for now, more, days in ((during, (), [(59024, True)]), (during, ("--follow",), [(59024, True), (59025, False)]),
                                (during + 86400, (), [(59024, True), (59025, True)])):
            with unittest.mock.patch.object(tool.time, "time", lambda now=now: now):
                result = call(tool, self.options, self.logs, "-o", self.out, "--json", *more)
            rows = json.loads(result.stdout)["days"]
            self.assertEqual([(row["mjd"], row["is_finished"]) for row in rows], days, result.stderr)
        self.assert_days()

    def test_the_setup_comes_from_an_earlier_log(self):
        (self.logs / "a").write_bytes(part(-5400, -1800))
        (self.logs / "b").write_bytes(part(-600, 5400))
        setup = next(block for _, block in BLOCKS if b"ZeltRx TR" in block)
        bare = part(-5400, -1200).replace(setup, b"")
        setup = stamped(setup.replace(b"ZeltRx TR", b"ZeltRx XX"), MIDNIGHT - 1200)
        self.assert_counts(self.archive(self.logs, "--lead", "0"), 2, 0, 0)
        kept = self.out / ".convert-archive" / "setups"
        for late, receiver, made in ((bare, "TR", 0), (bare + setup, "XX", 1), (None, "TR", 1), ("damaged", "TR", 1)):
            (self.logs / "late").unlink(missing_ok=True)
            if late == "damaged":
                for path in (*kept.glob("*.zelt"), *self.out.glob("*.025")):
                    path.write_bytes(b"")
            elif late:
                (self.logs / "late").write_bytes(late)
            self.assert_counts(self.archive(self.logs, "--lead", "0", "--days", "59025"), made, 1 - made, 0)
            headers = {name: text.splitlines()[:common.HEADER_LINES] for name, text in self.files().items()}
            self.assertIn(f"RCVR = ZeltRx {receiver}".encode(), b"\n".join(headers["GZEX__59.025"]))
        for name, header in headers.items():
            self.assertEqual(header, headers[f"{name[0]}ZEX__59.024"], name)

    def test_nothing_half_made_is_put_in_place(self):
        self.write_hours()
        for program, message in (
                ({"after": "truncate -s 256 GZ*"}, "was not written whole"),
                ({"after": "truncate -s -128 EZ*"}, "was not written whole"),
                ({"after": "rm EZ*"}, "the file of Galileo was not written"),
                ({"before": "kill -KILL $$"}, "was killed by signal 9"),
                ({"before": "echo no >&2; exit 3"}, "59024: no")):
            result = self.archive(ZELT2CGGTTS=self.make_program(**program))
            self.assertIn(message, result.stderr)
            self.assert_counts(result, 0, 0, 2)
            self.assertEqual(self.files(), {})
        cut = self.logs / "cut.gz"
        with cut.open("wb") as file:
            subprocess.run(["gzip"], input=part(-1800, 0), stdout=file, check=True)
        os.truncate(cut, cut.stat().st_size - 1000)
        result = self.archive()
        self.assertIn(f"failed: {cut}: ", result.stderr)
        self.assertIn(f"59024: made without what cannot be read: {cut}: ", result.stderr)
        self.assert_counts(result, 2, 0, 3)
        self.assert_days()

    def test_a_day_replaced_in_part_is_not_done(self):
        """Neither by the old options, when they are taken back, nor by the new, which may make fewer files."""
        self.write_hours()
        self.assert_counts(self.archive(), 2, 0, 0)
        second = self.out / "EZEX__59.025"
        for new, then in (({"-dcab": "79.4"}, {}), ({"-x": "C"}, {"-x": "C"})):
            second.rename(self.folder / "aside")
            second.mkdir()
            self.write_options(OPTIONS | new)
            result = self.archive(self.logs, "--force", "--days", "59025")
            self.assertIn(f"failed: 59025: {self.out}", result.stderr)
            second.rmdir()
            (self.folder / "aside").rename(second)
            self.write_options(OPTIONS | then)
            if not then:
                self.assert_counts(self.archive(), 1, 1, 0)
                self.assert_days()
        self.archive(self.logs, "--force")
        self.assertNotIn("CZEX__59.025", self.files())

    def test_full_disks(self):
        self.write_hours()
        missing = self.folder / "missing"
        for form in ("--json", "-j2"):
            with open("/dev/full", "w", encoding="ascii") as full:
                result = subprocess.run([TOOL, self.options, self.logs, missing, "-o", self.out, form], stdout=full,
                                        stderr=subprocess.PIPE, text=True, check=False)
            self.assertEqual((result.returncode, result.stderr),
                             (1, "convert-archive: standard output: No space left on device\n"
                                 f"failed: {missing}: no such file\n"))
        self.assert_days()
        index = self.out / ".convert-archive" / "index.json"
        index.unlink()
        self.limit_files(100)
        result = self.archive()
        self.assertEqual((result.returncode, result.stderr), (2, f"convert-archive: {index}: File too large\n"))

    def test_a_span_that_could_not_be_found_out_is_not_kept(self):
        self.write_hours()
        subprocess.run(["gzip", self.logs / "1.zelt"], check=True)
        for name, message in (("gzip", "gzip failed"), ("zeltlog", "zeltlog was killed")):
            program = self.folder / name
            program.write_text(f"#!/bin/sh\n[ \"$3\" = --span -o {name} = gzip ] && kill -KILL $$\n"
                               f"exec '{ZELTLOG}' \"$@\"\n")
            program.chmod(0o755)
            zeltlog = program if name == "zeltlog" else ZELTLOG
            result = self.archive(PATH=f"{self.folder}:{os.environ['PATH']}", ZELTLOG=str(zeltlog))
            program.unlink()
            self.assertIn(f"failed: {self.logs}/1.zelt.gz: {message}", result.stderr)
            self.assert_counts(result, 2, 0, 1)
        self.assert_counts(self.archive(), 2, 0, 0)
        self.assert_days()

    def test_killed_and_simultaneous_runs(self):
        self.write_hours()
        program = self.make_program(f"if mkdir '{self.folder}/once'; then echo >GZEX__59.024; kill -KILL $PPID; fi")
        result = self.archive(self.logs, "-j", "1", ZELT2CGGTTS=program)
        self.assertIn("failed: 59024: no answer", result.stderr)
        self.assertEqual({name[-6:] for name in self.files()}, {"59.025"})
        self.assertNotEqual(list((self.out / ".convert-archive" / "work").iterdir()), [])
        words = [TOOL, self.options, self.logs, "-o", self.out, "--force"]
        environment = os.environ | {"ZELT2CGGTTS": self.make_program("sleep 1")}
        both = [subprocess.Popen(words, env=environment, stdout=subprocess.PIPE, text=True) for _ in range(2)]
        results = [process.communicate(timeout=60)[0] for process in both]
        self.assertEqual([process.returncode for process in both], [0, 0], results)
        self.assert_days()
        # A run of other options that is under way leaves nothing of its own behind one that begins now.
        program = self.make_program(f"touch '{self.folder}/begun.'$$; sleep 1")
        self.assert_counts(self.archive(ZELT2CGGTTS=program), 2, 0, 0)
        self.write_options(OPTIONS | {"-dcab": "79.4"})
        with subprocess.Popen([*words, "-j", "2"], env=environment, stdout=subprocess.DEVNULL) as other:
            while len(list(self.folder.glob("begun.*"))) < 4:
                self.assertIsNone(other.poll())
                time.sleep(0.05)
            self.write_options(OPTIONS)
            self.assert_counts(self.archive(ZELT2CGGTTS=program), 2, 0, 0)
        self.assert_days()

    def test_sigterm_ends_a_run_that_ignores_sigint(self):
        """As jobs in the background of a script do."""
        self.write_hours()
        environment = os.environ | {"ZELT2CGGTTS": self.make_program(f"touch '{self.folder}/begun'; sleep 30")}
        process = subprocess.Popen([TOOL, self.options, self.logs, "-o", self.out], env=environment, text=True,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                   preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
        while not (self.folder / "begun").exists():
            self.assertIsNone(process.poll())
            time.sleep(0.05)
        process.terminate()
        self.assertIn("interrupted", process.communicate(timeout=20)[1])
        self.assertEqual((process.returncode, self.files()), (1, {}))

    def test_machines_and_shares(self):
        self.write_hours()
        hosts, ssh = self.folder / "hosts", self.folder / "ssh"
        ssh.write_text(STAND_IN_SSH.format(hosts=hosts))
        ssh.chmod(0o755)
        self.assert_counts(self.archive(self.logs, "--sshlogin", "1/dead,1/alpha", PARALLEL_SSH=str(ssh)), 2, 0, 0)
        self.assert_days()
        self.assertEqual(set(hosts.read_text().split()), {"alpha"})
        shutil.rmtree(self.out)
        result = self.archive(self.logs, "--sshlogin", "1/dead", PARALLEL_SSH=str(ssh))
        self.assertIn("59024: no answer (killed, or its machine not reached)", result.stderr)
        array = {"SLURM_ARRAY_TASK_MIN": "10", "SLURM_ARRAY_TASK_MAX": "20", "SLURM_ARRAY_TASK_STEP": "10",
                 "SLURM_ARRAY_TASK_COUNT": "2"}
        for task in ("10", "20"):
            result = run(SLURM, self.options, self.logs, "-o", self.out, SLURM_ARRAY_TASK_ID=task, **array)
            self.assert_counts(result, 1, 0, 0)
        self.assert_days()
        result = run(SLURM, SLURM_ARRAY_TASK_ID="20", **array | {"SLURM_ARRAY_TASK_STEP": "1"})
        self.assertEqual((result.returncode, "not evenly spaced" in result.stderr), (2, True))

    def test_strict_headers_and_logs_from_a_list(self):
        self.write_hours()
        names = self.folder / "list"
        names.write_text("\n".join(map(str, self.logs.glob("-*"))) + "\n")
        words = ("--strict", "--logs-from", names, self.logs / "0.zelt", "--lead", "6", self.logs / "1.zelt")
        for date in ({}, {"-revdate": "May"}):
            self.write_options(OPTIONS | date)
            result = self.archive(*words)
            self.assertEqual((result.returncode, "write -revdate" in result.stderr), (2, True))
        self.write_options(OPTIONS | {"-revdate": "2020-06-01"})
        self.assert_counts(self.archive(*words), 2, 0, 0)
        self.assertEqual({text[:18] for text in self.files().values()}, {b"CGGTTS     GENERIC"})

    def test_what_is_refused(self):
        self.write_hours()
        for words in (("--share", "3/2"), ("--days", "5902"), ("--days", "59025..59024"), ("--lead", "-1"), ("-j", "0"),
                      ("--what",)):
            self.assertEqual(self.archive(self.logs, *words).returncode, 2, words)
        for words, message in (
                ([self.folder / "missing"], "failed: .*missing: no such file\n.*no log was found"),
                ([self.out], "no log was found"), ([self.logs, "--days", "59026.."], "no log reaches into 59026")):
            result = self.archive(*words)
            self.assertRegex(result.stderr, message)
            self.assertEqual((result.returncode, result.stdout), (2, ""))
        for second, message in (
                (BLOCKS[0][0] + 86400 * 7168, "begin at 2040-02-08_22:30.* yet to come\n.*into any day"),
                (MIDNIGHT + 7200, "no day that is over has logs of ten minutes")):
            short = self.folder / "short"
            short.write_bytes(stamped(BLOCKS[0][1], second))
            result = self.archive(short)
            self.assertRegex(result.stderr, message)
            self.assertEqual((result.returncode, result.stdout), (2, ""))
        other = self.folder / "other receiver"  # 180 epochs of two blocks each
        other.write_bytes(b"".join(with_crc(block[4:-1] + b"x") for second, block in BLOCKS if second >= MIDNIGHT))
        self.assertIn("59025: 360 measurement blocks differ", self.archive(self.logs, other, "--days", "59025").stderr)
        self.write_options(OPTIONS | {"-ls": "17"})
        result = self.archive()
        self.assertEqual((result.returncode, self.files()), (1, {}))
        for day in DAYS:
            self.assertIn(f"failed: {day}: -ls 17: the logs say 18", result.stderr)


    def test_what_is_missing_is_told(self):
        self.write_hours()
        (self.logs / "0.zelt").write_bytes(part(0, 3600) + b"junk")
        (self.logs / "denied").mkdir()
        (self.logs / "gone").symlink_to("nowhere")
        (self.logs / "later").write_bytes(stamped(BLOCKS[0][1], MIDNIGHT + 3 * 86400 + 3600))
        scandir = os.scandir

        def deny(path):  # root may look into every folder
            if str(path).endswith("denied"):
                raise PermissionError(13, "Permission denied", path)
            return scandir(path)

        with unittest.mock.patch("os.scandir", deny):
            result = call(load("convert-archive"), self.options, self.logs, "-o", self.out)
        self.assertEqual((result.status, set(result.stderr.splitlines())),
                         (1, {f"failed: {self.logs}/denied: Permission denied",
                              f"failed: {self.logs}/gone: No such file or directory"}))
        self.assertIn(f"\n59026..59027 no log\n59025: {self.logs}/0.zelt: left out 4 bytes", result.stdout)
        self.assert_days()


class OptionsFile(common.ToolTest):
    def read(self, *lines):
        path = self.folder / "options"
        path.write_text("\n".join(lines))
        return optionsfile.read_options(path)

    def test_faults(self):
        for lines, message in (
                (["# x", "-dcab 12,5"], ":2: -dcab: '12,5' is no number: write 12.5"),
                (["-elm 5deg"], ":1: -elm: '5deg' is no number: write 5 alone"), (["-dl1 nan"], "no number"),
                (["-ls 18.5"], "no number"), (["-px 1", "-pz 2"], ":1: -px needs -py beside it"),
                (["-tref \"UTC(EX)\""], "write UTC(EX)"), (["-x GX"], "letters of GREC"), (["-labid a/b"], "slash"),
                (["-labid EX -rxid 01"], "give -rxid a line of its own"), (["-labidEX"], "put a blank behind -labid"),
                (["-foo 1"], "'-foo' is no option"), (["labid EX"], "'labid' is no option"), (["-C"], "no days"),
                (["-f x"], "refused"), (["-b x"], "bounds"), (["-lab"], "a value is missing"),
                (["-matlab 1"], "no value"),
                (["-lab a\0b", "-ls 18"], "NUL"),
                (["-ls 18", "-ls 18"], ":2: -ls stands in line 1"), (["-comment -px"], "taken for an option")):
            _, _, faults = self.read(*lines)
            self.assertEqual(len(faults), 1, lines)
            self.assertIn(message, faults[0])

    def test_values_and_warnings(self):
        options, warnings, faults = self.read("-dcab\t-7.5e1\r", "  -lab  The lab's #1 \r", "-px 1", "-py 2.",
                                              "-pz .3", "-labid EXX", "-revdate May", "-comment see -lab", "-matlab")
        self.assertEqual((options["-dcab"], options["-lab"], faults), ("-7.5e1", "The lab's #1", []))
        self.assertEqual([warning.split(":")[1] for warning in warnings], ["6", "7", "8"])
        self.assertEqual(optionsfile.option_words({"-matlab": "", "-ls": "18"}), ["-matlab", "-ls", "18"])


class Bounds(unittest.TestCase):
    def test_tracks_of_consecutive_days_leave_none_out(self):
        """The schedule of 1997-10-01, MJD 50722, began at 00:02, and every day is 4 minutes earlier."""
        self.assertEqual(daymaker.day_bounds(50722)[0], (50722 - 44244) * 86400 + 120)
        for mjd in range(50722, 51222):
            (begin, end), (following, _) = daymaker.day_bounds(mjd), daymaker.day_bounds(mjd + 1)
            midnight = (mjd - 44244) * 86400
            self.assertGreaterEqual(begin, midnight)
            self.assertLess(end - 780, midnight + 86400)
            self.assertIn(following - end, (180, 900), mjd)


if __name__ == "__main__":
    unittest.main()
