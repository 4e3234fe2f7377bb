"""Both programs in bad surroundings: they neither crash nor wait, say what is wrong, and give the same digits.

surroundings_test.py Surroundings.test_CASE; exit status 77: the machine does not allow the case, or a part of it.
"""

import contextlib
import ctypes
import fcntl
import json
import os
import pathlib
import platform
import resource
import shlex
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

EXAMPLES = pathlib.Path(__file__).resolve().parents[1] / "examples"
EXAMPLE_LOG = EXAMPLES / "esbc-2020-06-25-3h.zelt"
LOG = EXAMPLE_LOG.read_bytes()
OPTIONS = shlex.split((EXAMPLES / "convert").read_text().partition('-f "$log" ')[2].replace("\\\n", ""))
EXPECTED = {path.name: path.read_bytes() for path in (EXAMPLES / "expected").iterdir()}
FILES = sorted(EXPECTED, key=lambda name: "GREC".index(name[0]))  # in the order in which they are created
SUMMARY = f"Created following CGGTTS files:{','.join(FILES)}\n".encode()
HEADER_LINES = 19
PROGRAM = pathlib.Path(os.environ["ZELT2CGGTTS"]).resolve()
ZELTLOG = pathlib.Path(os.environ["ZELTLOG"]).resolve()
IS_SANITIZED = b"__asan_init" in PROGRAM.read_bytes()

AWKWARD = [b" two  blanks ", b"it's \"quoted\"", b"line\nend", b"\xff", b"$HOME `x` *;&", b"%n%s", b"--json"]


def run(*command, **settings):
    return subprocess.run(command, capture_output=True, timeout=120, **settings)


def convert(folder, *options, log=EXAMPLE_LOG, **settings):
    """Converts a log with the example's options into a folder, made if need be."""
    folder.mkdir(exist_ok=True)
    return run(PROGRAM, "-f", log, *OPTIONS, *options, cwd=folder, **settings)


def contents(folder):
    return {path.name: path.read_bytes() for path in folder.iterdir()}


def is_beginning(part, whole):
    """Whether files hold the beginnings of others."""
    return part.keys() == whole.keys() and all(whole[name].startswith(part[name]) for name in part)


def spaced_log(path):
    """Writes the example with so many zeros between its blocks that it exceeds the memory allowed below."""
    position, count = 0, 0
    with open(path, "wb") as file:
        while position < len(LOG):
            length, = struct.unpack_from("<H", LOG, position + 6)
            file.seek(count << 16)
            file.write(LOG[position:position + length])
            position, count = position + length, count + 1


class Surroundings(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)

    def check(self, result, status, out=b"", err=b""):
        self.assertEqual((result.returncode, result.stdout, result.stderr), (status, out, err), result.args)

    def unprivileged(self):
        """What a command begins with so that permissions count for root, too."""
        prefix = [] if os.geteuid() != 0 else ["setpriv", "--inh-caps=-dac_override,-dac_read_search",
                                               "--bounding-set=-dac_override,-dac_read_search"]
        locked = self.folder / "locked"
        locked.touch(0)
        if run(*prefix, "true").returncode != 0 or run(*prefix, "cat", locked).returncode == 0:
            self.skipTest("root, who cannot give up the right to read everything")
        return prefix

    def test_output_that_cannot_be_created(self):
        out = self.folder / "out"
        out.mkdir()
        (out / FILES[2]).mkdir()
        self.check(convert(out), 1, err=b'The GALILEO output file "%s" could not be opened for writing: '
                                        b'Is a directory\n' % FILES[2].encode())
        # All files come into being before the first line is written. The fourth never does.
        self.assertEqual({path.name: path.read_bytes() for path in out.iterdir() if path.is_file()},
                         {name: b"".join(EXPECTED[name].splitlines(True)[:HEADER_LINES]) for name in FILES[:2]})
        joined = run(ZELTLOG, "join", "-o", out, EXAMPLE_LOG)
        self.check(joined, 1, err=b"zeltlog: %s: is no file\n" % os.fsencode(out))
        self.assertFalse(pathlib.Path(f"{out}.part").exists())

    def test_output_folder_not_writable(self):
        prefix = self.unprivileged()
        out = self.folder / "out"
        out.mkdir(0o555)
        self.check(run(*prefix, PROGRAM, "-f", EXAMPLE_LOG, *OPTIONS, cwd=out), 1,
                   err=b'The GPS output file "%s" could not be opened for writing: Permission denied\n'
                       % FILES[0].encode())
        self.check(run(*prefix, ZELTLOG, "join", "-o", "log", EXAMPLE_LOG, cwd=out), 1,
                   err=b"zeltlog: log.part: Permission denied\n")
        self.assertEqual(contents(out), {})

    # Writes of files in CGGTTS are not checked: who converts unattended compares (convert-archive). Whatever zeltlog
    # writes is whole, or the status says that it is not.
    def test_full_disk(self):
        for command in (["info", EXAMPLE_LOG], ["info", "--span", EXAMPLE_LOG], ["tracks", "-f", EXAMPLE_LOG, *OPTIONS],
                        ["join", "-o", self.folder / "log", EXAMPLE_LOG]):
            with self.subTest(command=command), open("/dev/full", "wb") as full:
                result = subprocess.run([ZELTLOG, *command], stdout=full, stderr=subprocess.PIPE, timeout=120)
                self.assertEqual((result.returncode, result.stderr),
                                 (1, b"zeltlog: standard output: No space left on device\n"))
        self.assertEqual((self.folder / "log").read_bytes(), LOG)

        namespace = ["unshare", "--mount"] if os.geteuid() == 0 else ["unshare", "--user", "--map-root-user", "--mount"]
        mount = ["sh", "-c", 'mount -t tmpfs -o size=64k none disk && cd disk && head -c 40K /dev/zero >filler && '
                 '"$@"; status=$?; cp -r . ../copy && exit $status', "sh"]
        for name in ("disk", "copy"):
            (self.folder / name).mkdir()
        if run(*namespace, *mount, "true", cwd=self.folder).returncode != 0:
            self.skipTest("no right to mount a file system of 64 KiB")
        self.check(run(*namespace, *mount, PROGRAM, "-f", EXAMPLE_LOG, *OPTIONS, cwd=self.folder), 0, SUMMARY)
        files = contents(self.folder / "copy")
        self.assertLessEqual(sum(map(len, files.values())), 64 << 10)
        del files["filler"]
        self.assertTrue(is_beginning(files, EXPECTED))
        self.assertNotEqual(files, EXPECTED)
        shutil.rmtree(self.folder / "copy")
        self.check(run(*namespace, *mount, ZELTLOG, "join", "-o", "log", EXAMPLE_LOG, cwd=self.folder), 1,
                   err=b"zeltlog: log.part: No space left on device\n")
        self.assertEqual(contents(self.folder / "copy").keys(), {"filler"})

    def test_input_that_is_no_readable_file(self):
        prefix = self.unprivileged()
        log = self.folder / "log"
        for make, converted, text in [
                (log.mkdir, (1, b"", b"Abnormal program termination (..\\fw\\fw\\gen\\utils\\zeltdata\\src\\"
                                     b"zeltread.cpp,275): Is a directory\n"), b"Is a directory"),
                (lambda: os.mkfifo(log), None, b"it cannot seek, as a pipe cannot: give a file"),  # None: program_test
                (lambda: log.touch(0), (3, b"", b'The Zelt file "log" could not be opened for reading: '
                                        b'Permission denied\n'), b"Permission denied")]:
            make()
            if converted:
                self.check(run(*prefix, PROGRAM, "-f", "log", "-ls18", cwd=self.folder), *converted)
            for words in (["info"], ["info", "--json"], ["info", "--span"], ["tracks", "-ls18", "-f"],
                          ["position", "-ls18", "-f"]):
                self.check(run(*prefix, ZELTLOG, *words, "log", cwd=self.folder), 1, err=b"zeltlog: log: %s\n" % text)
            # Of several logs, the others are told of, and joined.
            for words in (["info", "--span", "--json"], ["join", "-o", "out"]):
                result = run(*prefix, ZELTLOG, *words, "log", EXAMPLE_LOG, cwd=self.folder)
                self.assertEqual((result.returncode, result.stderr), (1, b"zeltlog: log: %s\n" % text))
                self.assertIn(b"2020-06-25 02:59:", result.stdout)
            self.assertEqual((self.folder / "out").read_bytes(), LOG)
            log.rmdir() if log.is_dir() else log.unlink()
        self.assertEqual({path.name for path in self.folder.iterdir()}, {"locked", "out"})

    def change_while_read(self, command, room, begin, change, told=b""):
        """Runs a command in a folder of its own that holds the log `log`, of bytes `begin`, and the pipe `pipe`, its
        standard output. When it has written about `room` bytes the pipe is full, and it waits; the log is changed then,
        and the pipe read to its end. The command must tell of what is `told` alone."""
        folder = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        (folder / "log").write_bytes(begin)
        os.mkfifo(folder / "pipe")
        pipe = os.open(folder / "pipe", os.O_RDWR | os.O_NONBLOCK)
        self.addCleanup(os.close, pipe)
        capacity = fcntl.fcntl(pipe, fcntl.F_GETPIPE_SZ)
        stuffing = os.write(pipe, b"." * (capacity - room))

        def is_halted():
            filled, = struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, b"0000"))
            state = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rpartition(")")[2].split()[0]
            return filled > capacity - 200 and state == "S"

        with open(folder / "pipe", "wb") as out:
            process = subprocess.Popen(command, cwd=folder, stdout=out, stderr=subprocess.PIPE)
        deadline = time.monotonic() + 60
        while not is_halted():
            self.assertIsNone(process.poll(), "it ended before it could be halted")
            self.assertLess(time.monotonic(), deadline, "it was not halted")
            time.sleep(0.001)
        change(folder / "log")
        written = b""
        while True:
            has_ended = process.poll() is not None  # then nothing is written behind what is read now
            try:
                written += os.read(pipe, 1 << 16)
            except BlockingIOError:
                if has_ended:
                    break
                time.sleep(0.001)
        self.assertEqual((process.returncode, process.stderr.read()), (1 if told else 0, told), command)
        process.stderr.close()
        (folder / "log").unlink(missing_ok=True)
        (folder / "pipe").unlink()
        return written[stuffing:], contents(folder)

    # Read once, and forwards: what becomes of bytes that were not read yet counts, what becomes of others does not.
    def test_input_that_changes_while_it_is_read(self):
        early = len(LOG) * 8 // 10  # amid a block, and not read yet where the commands are halted

        def overwrite(log):
            with open(log, "r+b") as file:
                file.seek(early)
                file.write(b"$@" * ((len(LOG) - early) // 2))

        def replace(log):
            other = log.with_name("other")
            other.write_bytes(b"another")
            other.rename(log)

        def grow(log):
            with open(log, "ab") as file:
                file.write(LOG[early:])

        changes = [(LOG, lambda log: os.truncate(log, early), LOG[:early]), (LOG, overwrite, LOG[:early]),
                   (LOG, replace, LOG), (LOG, os.unlink, LOG), (LOG[:early], grow, LOG)]
        # The bar is drawn once per percent, in 81 bytes; tables are written in pieces of 4096.
        commands = [([PROGRAM, "-v", "-f", "log", *OPTIONS], 30 * 81),
                    ([ZELTLOG, "tracks", "-f", "log", *OPTIONS], 4096),
                    ([ZELTLOG, "position", "--epochs", "-f", "log", *OPTIONS], 4096)]
        for command, room in commands:
            for number, (begin, change, end) in enumerate(changes):
                with self.subTest(command=command, change=number):
                    told = b"zeltlog: log: it became shorter while it was read\n"
                    told = told if command[0] == ZELTLOG and number == 0 else b""
                    written, files = self.change_while_read(command, room, begin, change, told)
                    plain = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
                    (plain / "log").write_bytes(end)
                    result = run(*command, cwd=plain)
                    (plain / "log").unlink()
                    self.assertEqual(files, contents(plain))
                    if command[0] == ZELTLOG:
                        self.assertEqual(written, result.stdout)
                    elif end is LOG:
                        self.assertEqual(files, EXPECTED)
        # Emptied: what was read counts, which is whole lines.
        written, files = self.change_while_read(*commands[0], LOG, lambda log: os.truncate(log, 0))
        self.assertTrue(is_beginning(files, EXPECTED))
        self.assertEqual({file[-1:] for file in files.values()}, {b"\n"})
        self.assertTrue(written.endswith(SUMMARY))

    # zelt2cggtts: program_test. A log that is told of last, when standard error could be the joined one.
    def test_no_standard_streams(self):
        (self.folder / "empty").touch()
        for closed in ("<&-", ">&-", "2>&-", "<&- >&-", "<&- 2>&-", ">&- 2>&-", "<&- >&- 2>&-"):
            for words, status in ((["join", "-o", "out", EXAMPLE_LOG, "empty"], 1), (["info", EXAMPLE_LOG], 0)):
                result = run("sh", "-c", f'exec "$@" {closed}', "sh", ZELTLOG, *words, cwd=self.folder)
                self.assertEqual(result.returncode, status, closed)
            self.assertEqual((self.folder / "out").read_bytes(), LOG, closed)
            (self.folder / "out").unlink()

    def test_locale_and_time_zone(self):
        name = "de_DE.UTF-8"
        with contextlib.suppress(FileNotFoundError):
            run("localedef", "-c", "-i", "de_DE", "-f", "UTF-8", self.folder / name)
        hostile = {"LC_ALL": name, "LC_NUMERIC": name, "LANG": name, "LOCPATH": str(self.folder), "TZ": "ABC-13:45"}
        if run("locale", "decimal_point", env=os.environ | hostile).stdout != b",\n":
            self.skipTest("no locale with a decimal comma: localedef or its sources (Debian: locales) are missing")
        numbers = ["-dl1", "1.5", "-dcab", "78.4", "-al1", "0.25", "-elm", "12.5", "-dref", "1e-1",
                   "-b", "2020-06-25_00:30:00", "-e", "2020-06-25_02:00:00.5"]
        outputs = []
        for environment in ({"LC_ALL": "C", "TZ": "UTC"}, hostile):
            out = self.folder / environment["LC_ALL"].lower()
            self.check(convert(out, *numbers, env=os.environ | environment), 0, SUMMARY)
            outputs.append([contents(out)] + [
                run(ZELTLOG, *words, env=os.environ | environment).stdout
                for words in (["info", EXAMPLE_LOG], ["info", "--json", EXAMPLE_LOG],
                              *([command, *form, "-f", EXAMPLE_LOG, *OPTIONS, *numbers]
                                for command, form in (("tracks", []), ("tracks", ["--json"]),
                                                      ("position", ["--epochs"]), ("position", ["--json"]))),
                              ["join", "--from", numbers[-3], "-o", self.folder / "log", EXAMPLE_LOG])])
        self.assertEqual(outputs[0], outputs[1])
        self.assertIn(b"\nCABDLY=78.4ns\n", outputs[1][0][FILES[0]].replace(b" ", b""))
        convert(self.folder / "plain", env=os.environ | hostile)
        self.assertEqual(contents(self.folder / "plain"), EXPECTED)

    def test_awkward_names(self):
        for name in AWKWARD:
            with self.subTest(name=name):
                folder = self.folder / os.fsdecode(name)
                folder.mkdir()
                (folder / os.fsdecode(name)).write_bytes(LOG)
                files = {file.encode() + name: EXPECTED[file] for file in FILES}
                self.check(run(PROGRAM, "-f", name, "-suffix", name, *OPTIONS, cwd=folder), 0,
                           b"Created following CGGTTS files:" + b",".join(files) + b"\n")
                absent, why = b"no" + name, b"No such file or directory\n"
                self.check(run(PROGRAM, "-f", absent, cwd=folder), 3,
                           err=b'The Zelt file "%s" could not be opened for reading: %s' % (absent, why))
                self.check(run(ZELTLOG, "info", absent, cwd=folder), 1, err=b"zeltlog: %s: %s" % (absent, why))
                path = os.fsencode(folder) + b"/" + name
                for words in (["info", "--json", path], ["info", "--json", "--span", path],
                              ["tracks", "--json", *OPTIONS, "-f", path], ["position", "--json", *OPTIONS, "-f", path],
                              ["join", "--json", "-o", path + b".joined", path]):
                    result = run(ZELTLOG, *words)
                    told = path + b".joined" if words[0] == "join" else path
                    self.assertEqual(json.loads(result.stdout)["log"], told.decode("utf-8", "replace"))
                found = {os.fsencode(file): content for file, content in contents(folder).items()}
                self.assertEqual(found, files | {name: LOG, name + b".joined": LOG})

    def test_little_memory(self):
        if IS_SANITIZED:
            self.skipTest("a sanitizer reserves more address space than is allowed here")
        spaced_log(self.folder / "log")
        limit = 32 << 20
        self.assertGreater((self.folder / "log").stat().st_size, 2 * limit)
        limits = {"cwd": self.folder, "preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit))}
        out = self.folder / "out"
        out.mkdir()
        self.check(run(PROGRAM, "-f", "../log", *OPTIONS, **limits | {"cwd": out}), 0, SUMMARY)
        self.assertEqual(contents(out), EXPECTED)
        for words in (["tracks", "-f", "{}", *OPTIONS], ["position", "--epochs", "-f", "{}", *OPTIONS]):
            plain, spaced = ([word.replace("{}", log) for word in words] for log in (str(EXAMPLE_LOG), "log"))
            self.check(run(ZELTLOG, *spaced, **limits), 0, run(ZELTLOG, *plain).stdout.replace(
                os.fsencode(EXAMPLE_LOG), b"log"))
        information = json.loads(run(ZELTLOG, "info", "--json", "log", **limits).stdout)
        self.assertEqual(information["bytes"] - information["stray_bytes"], len(LOG))
        run(ZELTLOG, "join", "-o", "joined", "log", **limits)
        self.assertEqual((self.folder / "joined").read_bytes(), LOG)

    # zelt2cggtts: large_file_test. The mark of 4 GiB lies amid the blocks, behind a hole.
    def test_log_of_four_gib(self):
        folder = pathlib.Path(tempfile.mkdtemp(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None))
        self.addCleanup(shutil.rmtree, folder)
        length, = struct.unpack_from("<H", LOG, 6)
        try:
            with open(folder / "log", "wb") as file:
                file.write(LOG[:length])
                file.seek((4 << 30) - len(LOG) // 2)
                file.write(LOG[length:])
        except OSError as error:
            self.skipTest(f"no file of 4 GiB: {error}")
        if (folder / "log").stat().st_blocks > 1 << 20:
            self.skipTest("the file system fills holes")
        self.assertEqual(run(ZELTLOG, "tracks", "-f", "log", *OPTIONS, cwd=folder).stdout,
                         run(ZELTLOG, "tracks", "-f", EXAMPLE_LOG, *OPTIONS).stdout)
        run(ZELTLOG, "join", "-o", "joined", "log", cwd=folder)
        self.assertEqual((folder / "joined").read_bytes(), LOG)
        self.assertIn(b'"last":"2020-06-25 02:59:', run(ZELTLOG, "info", "--span", "--json", "log", cwd=folder).stdout)

    def test_no_network_and_no_processes(self):
        # Of socket, clone, clone3, and where there are such fork and vfork.
        forbidden = {"x86_64": (41, 56, 435, 57, 58), "aarch64": (198, 220, 435)}.get(platform.machine())
        if forbidden is None:
            self.skipTest(f"the numbers of the system calls of {platform.machine()} are not known")
        # A filter of system calls by their number (linux/filter.h, linux/seccomp.h): load it, compare it, and kill.
        instructions = [(0x20, 0, 0, 0), *((0x15, len(forbidden) - i, 0, number) for i, number in enumerate(forbidden)),
                        (0x06, 0, 0, 0x7FFF0000), (0x06, 0, 0, 0x80000000)]
        code = ctypes.create_string_buffer(b"".join(struct.pack("=HBBI", *each) for each in instructions))
        program = ctypes.create_string_buffer(struct.pack("@HP", len(instructions), ctypes.addressof(code)))
        prctl = ctypes.CDLL(None).prctl

        def confine():
            if prctl(38, 1, 0, 0, 0) != 0 or prctl(22, 2, program) != 0:  # PR_SET_NO_NEW_PRIVS, PR_SET_SECCOMP
                raise OSError

        confined = {"preexec_fn": confine, "cwd": self.folder,
                    "env": os.environ | {"ASAN_OPTIONS": "detect_leaks=0"}}  # the search for leaks has a process
        try:
            run("true", **confined)
        except subprocess.SubprocessError:
            self.skipTest("no filter of system calls")
        self.assertEqual(run("sh", "-c", "(true); true", **confined).returncode, -signal.SIGSYS, "of the filter itself")
        out = self.folder / "out"
        out.mkdir()
        self.check(run(PROGRAM, "-f", EXAMPLE_LOG, *OPTIONS, **confined | {"cwd": out}), 0, SUMMARY)
        self.assertEqual(contents(out), EXPECTED)
        for words in (["info", EXAMPLE_LOG], ["tracks", "-f", EXAMPLE_LOG, *OPTIONS],
                      ["position", "-f", EXAMPLE_LOG, *OPTIONS], ["join", "-o", "joined", EXAMPLE_LOG]):
            self.check(run(ZELTLOG, *words, **confined), 0, run(ZELTLOG, *words, cwd=self.folder).stdout)


if __name__ == "__main__":
    outcome = unittest.main(exit=False).result
    sys.exit(77 if outcome.wasSuccessful() and outcome.skipped else not outcome.wasSuccessful())
