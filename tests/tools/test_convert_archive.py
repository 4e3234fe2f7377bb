import os
import shlex
import shutil
import signal
import subprocess
import time
import unittest

import common
from common import EXAMPLE_LOG, PROGRAM, TOOLS, run

TOOL = TOOLS / "convert-archive"
SLURM = TOOLS / "slurm-archive.sbatch"
OPTIONS = {"-ls": "18", "-labid": "EX", "-tref": "UTC(EX) \"main\" {} 'hall'", "-dcab": "78.4", "-C": ""}
AWKWARD_NAMES = ["plain.zelt", "two blanks .zelt", "it's \"quoted\".zelt", "{} $HOME `x` {1}.zelt", "line\nend.zelt"]

# Runs commands here, as a login shell of that host would: another folder, another environment.
STAND_IN_SSH = """#!/bin/bash
echo "$1" >>'{hosts}'
shift
[[ $1 == -- ]] && shift
cd / && exec env -i PATH=/usr/bin:/bin SHELL=/bin/sh HOME="$HOME" sh -c "$*"
"""


class ConvertArchive(common.ToolTest):
    def setUp(self):
        super().setUp()
        self.out = self.folder / "the results"
        self.options = self.folder / "options"
        self.write_options(OPTIONS)

    def write_options(self, options):
        lines = [f"{option}   {value}\n" for option, value in options.items()]
        self.options.write_text("# laboratory EX\n\n" + "".join(lines))

    def make_logs(self, names, folder="logs"):
        logs = [self.folder / folder / name for name in names]
        for log in logs:
            log.parent.mkdir(exist_ok=True)
            log.symlink_to(EXAMPLE_LOG)
        return logs

    def make_program(self, text):
        """A program that does what the text says before it converts."""
        program = self.folder / "program"
        program.write_text(f"#!/bin/bash\n{text}\nexec {shlex.quote(str(PROGRAM))} \"$@\"\n")
        program.chmod(0o755)
        return str(program)

    def archive(self, logs, *options, tool=TOOL, **environment):
        return run(tool, self.options, *logs, "-o", self.out, *options, **environment)

    def assert_counts(self, result, converted, skipped, failed):
        self.assertEqual(result.stdout, f"{converted} converted, {skipped} done before, {failed} failed\n",
                         result.stderr)
        self.assertEqual(result.returncode, 1 if failed else 0)

    def assert_converted(self, names, options):
        words = [word for option in options.items() for word in option]
        expected = common.convert(self.folder / "expected", *words)
        self.assertEqual(len(expected), 4)
        for name in names:
            for file in expected.values():
                self.assertEqual((self.out / name / file.name).read_bytes(), file.read_bytes(), name)

    def finished(self):
        return sorted(path.name for path in self.out.iterdir() if not path.name.startswith("."))

    def test_awkward_names_and_values_reach_the_program(self):
        tool = self.folder / "it's here" / "convert archive"
        tool.parent.mkdir()
        shutil.copy(TOOL, tool)
        result = self.archive(self.make_logs(AWKWARD_NAMES), tool=tool)
        self.assert_counts(result, len(AWKWARD_NAMES), 0, 0)
        self.assertEqual(result.stderr, "", "a progress bar without a terminal")
        self.assertEqual(self.finished(), sorted(AWKWARD_NAMES))
        self.assert_converted(AWKWARD_NAMES, OPTIONS)

    def test_only_what_changed_is_converted_again(self):
        logs = self.make_logs(["a", "b", "c"])
        logs[1].unlink()
        logs[1].write_bytes(EXAMPLE_LOG.read_bytes())
        logs[2].unlink()
        logs[2].symlink_to(logs[1])
        self.assert_counts(self.archive(logs), 3, 0, 0)
        written = (self.out / "a").stat().st_ino
        self.assert_counts(self.archive(logs), 0, 3, 0)
        self.assertEqual((self.out / "a").stat().st_ino, written)

        os.utime(logs[1], (1, 1))
        self.assert_counts(self.archive(logs), 2, 1, 0)

        options = OPTIONS | {"-dcab": "100"}
        self.write_options(options)
        self.assert_counts(self.archive(logs), 3, 0, 0)
        self.assert_converted(["a", "b", "c"], options)

        other_program = self.make_program("")
        self.assert_counts(self.archive(logs, ZELT2CGGTTS=other_program), 3, 0, 0)
        self.assert_counts(self.archive(logs, ZELT2CGGTTS=other_program), 0, 3, 0)

    def test_failures_are_listed_and_tried_again(self):
        good, empty, killed = self.make_logs(["good", "empty", "killed"])
        missing = self.folder / "missing"
        empty.unlink()
        empty.touch()
        program = self.make_program('[[ $* == *killed ]] && kill -KILL $$')
        for _ in range(2):
            result = self.archive([good, empty, killed, missing], ZELT2CGGTTS=program)
            self.assertEqual(result.returncode, 1)
            for message in (f"{empty}: !! Receiver position unknown", f"{killed}: no message; exit status 137",
                            f"{missing}: no such file"):
                self.assertIn("failed: " + message, result.stderr)
            self.assertEqual(self.finished(), ["good"])
        self.assertTrue(result.stdout.startswith("0 converted, 1 done before, 3 failed"))

        self.write_options(OPTIONS | {"-px": "3582105", "-py": "532589", "-pz": "5232754"})
        result = self.archive([empty])
        self.assertIn("No CGGTTS files were created", result.stderr)
        self.assert_counts(result, 0, 0, 1)

    def test_logs_of_one_name_never_share_a_folder(self):
        first, second = self.make_logs(["x"], "1") + self.make_logs(["x"], "2")
        result = self.archive([first, second])
        self.assertEqual(result.returncode, 2)
        self.assertIn("two logs are called x", result.stderr)
        self.assertFalse(self.out.exists())

        self.assert_counts(self.archive([first]), 1, 0, 0)
        second.unlink()
        second.write_bytes(EXAMPLE_LOG.read_bytes())
        result = self.archive([second])
        self.assert_counts(result, 0, 0, 1)
        self.assertIn(f"{self.out}/x belongs to '{first}'", result.stderr)

        (self.out / "y").mkdir()
        (self.out / "y" / "notes").write_text("mine")
        self.assert_counts(self.archive(self.make_logs(["y"])), 0, 0, 1)
        self.assertEqual((self.out / "y" / "notes").read_text(), "mine")

    def test_unusable_arguments(self):
        log = self.make_logs(["a"])
        for line in ("-f other.zelt", "-h", "-V", "labid EX", "-"):
            self.options.write_text("-ls 18\n" + line)
            result = self.archive(log)
            self.assertEqual((result.returncode, result.stdout), (2, ""), line)
            self.assertIn(f"{self.options}:2: {line.split()[0]} ", result.stderr)
        self.write_options(OPTIONS)
        for arguments in (["--share", "3/2"], ["--share", "0/2"], ["--share"], ["--what"], self.make_logs([".hidden"])):
            self.assertEqual(self.archive(log, *arguments).returncode, 2, arguments)
        for program in ("/no/program", self.make_program("exit 1")):
            self.assertEqual(self.archive(log, ZELT2CGGTTS=program).returncode, 2)

    def test_where_the_program_is_found(self):
        log = self.make_logs(["a"])
        tool = self.folder / "prefix" / "tools" / "convert-archive"
        tool.parent.mkdir(parents=True)
        shutil.copy(TOOL, tool)
        path = self.folder / "path"
        search = {"ZELT2CGGTTS": "", "PATH": f"{path}:{os.environ['PATH']}"}
        for place in (path, self.folder / "prefix" / "build", self.folder / "prefix" / "bin"):
            place.mkdir()
            program = self.make_program(f"echo {place.name} >'{self.folder}/used'")
            shutil.copy(program, place / "zelt2cggtts")
            self.assert_counts(self.archive(log, tool=tool, **search), 1, 0, 0)
            self.assertEqual((self.folder / "used").read_text(), place.name + "\n")

    def test_interrupted_run_goes_on(self):
        logs = self.make_logs(["a", "b", "c"])
        reached = self.folder / "reached"
        program = self.make_program(
            f"[[ $* == */b && ! -e '{reached}' ]] && {{ touch GZEX__59.025 '{reached}'; exec sleep 60; }}")
        environment = os.environ | {"ZELT2CGGTTS": program}
        process = subprocess.Popen([TOOL, self.options, *logs, "-o", self.out, "-j", "1"], env=environment, text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True)
        while not reached.exists():
            self.assertIsNone(process.poll())
            time.sleep(0.02)
        os.killpg(process.pid, signal.SIGINT)
        process.communicate(timeout=30)
        self.assertNotEqual(process.returncode, 0)
        self.assertEqual(self.finished(), ["a"])
        self.assert_counts(self.archive(logs, ZELT2CGGTTS=program), 2, 1, 0)
        self.assert_converted(["a", "b", "c"], OPTIONS)

    def test_machines(self):
        logs = self.make_logs(AWKWARD_NAMES)
        hosts = self.folder / "hosts"
        ssh = self.folder / "ssh"
        ssh.write_text(STAND_IN_SSH.format(hosts=hosts))
        ssh.chmod(0o755)
        for logins in (":", "1/:,2/:", "1/alpha,1/beta"):
            self.out = self.folder / logins.replace("/", "")
            self.assert_counts(self.archive(logs, "--sshlogin", logins, PARALLEL_SSH=str(ssh)), len(logs), 0, 0)
            self.assert_converted(AWKWARD_NAMES, OPTIONS)
        self.assertEqual(set(hosts.read_text().split()), {"alpha", "beta"})

        self.out = self.folder / "unreached"
        result = self.archive(logs[:1], "--sshlogin", "1/alpha", PARALLEL_SSH="/bin/false")
        self.assert_counts(result, 0, 0, 1)
        self.assertIn("its machine not reached", result.stderr)

    def test_slurm_array_tasks_share_the_logs(self):
        names = list("abcdefg")
        logs = self.make_logs(names)
        array = {"SLURM_ARRAY_TASK_MIN": "10", "SLURM_ARRAY_TASK_STEP": "5", "SLURM_ARRAY_TASK_COUNT": "3"}
        self.assertEqual(run("bash", "-n", SLURM).returncode, 0)
        for task, count in ((10, 3), (15, 2), (20, 2)):
            result = self.archive(logs, tool=SLURM, SLURM_ARRAY_TASK_ID=str(task), **array)
            self.assert_counts(result, count, 0, 0)
        self.assertEqual(self.finished(), names)

        copy = self.folder / "slurm_script"
        copy.write_bytes(SLURM.read_bytes())
        copy.chmod(0o755)
        elsewhere = array | {"SLURM_ARRAY_TASK_ID": "10"}
        for variables in ({"SLURM_SUBMIT_DIR": str(common.ROOT)}, {"CONVERT_ARCHIVE": str(TOOL)}):
            self.assert_counts(self.archive(logs, tool=copy, **elsewhere, **variables), 0, 3, 0)
        self.assertEqual(self.archive(logs, tool=SLURM).returncode, 2)

    def test_usage(self):
        for tool in (TOOL, SLURM):
            for option in ("-h", "--help"):
                result = run(tool, option)
                self.assertEqual((result.returncode, result.stderr), (0, ""))
                self.assertTrue(result.stdout.startswith("Usage: "))


if __name__ == "__main__":
    unittest.main()
