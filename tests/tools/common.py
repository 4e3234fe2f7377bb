"""What the tests of the tools share: the program, the example, a folder of their own, the tools as functions."""

import contextlib
import importlib.machinery
import importlib.util
import io
import os
import pathlib
import resource
import shutil
import subprocess
import sys
import tempfile
import types
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TOOLS = ROOT / "tools"
EXAMPLE_LOG = ROOT / "examples" / "esbc-2020-06-25-3h.zelt"
EXPECTED = {path.name[0]: path for path in (ROOT / "examples" / "expected").iterdir()}
PROGRAM = pathlib.Path(os.environ["ZELT2CGGTTS"]).resolve()
HEADER_LINES = 19

sys.path.insert(0, str(TOOLS))


def run(*command, cwd=None, **environment):
    """Runs a command; environment variables given as keywords are added."""
    return subprocess.run([str(word) for word in command], cwd=cwd, env=os.environ | environment, text=True,
                          capture_output=True, timeout=120)


def load(name):
    """A tool as a module."""
    loader = importlib.machinery.SourceFileLoader(name.replace("-", "_"), str(TOOLS / name))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


def call(tool, *words):
    """Runs a loaded tool in this process."""
    out, err = io.StringIO(), io.StringIO()
    with contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
        try:
            status = tool.main([str(word) for word in words])
        except SystemExit as end:
            status = end.code
    return types.SimpleNamespace(status=status, stdout=out.getvalue(), stderr=err.getvalue())


def convert(folder, *options, log=EXAMPLE_LOG):
    """Converts a log into a folder, made if need be, and returns the files by the first letter of their names."""
    folder.mkdir(parents=True, exist_ok=True)
    result = run(PROGRAM, "-f", log, "-ls", "18", *options, cwd=folder)
    if result.returncode != 0:
        raise RuntimeError(result.stderr)
    return {path.name[0]: path for path in folder.iterdir()}


def sum_line(line):
    """A data line with its checksum; without it, or with another, at its end."""
    return line[:125] + format(sum(line[:125].encode("latin-1")) & 0xFF, "02X")


def data_line(satellite, minute, elevation, refsys, dsg=10, azimuth=0, frc="L3P"):
    """A line in the units of the file; minute: start, since 0:00 of MJD 59025."""
    day, minute = divmod(minute, 1440)
    return sum_line(f"{satellite} FF {59025 + day} {minute // 60:02d}{minute % 60:02d}00  780 {elevation:3d} "
                    f"{azimuth:4d} {0:11d} {0:6d} {refsys:11d} {0:6d} {dsg:4d}  12   99    7  107    6  107    6   7 "
                    f" 0  0 {frc} ")


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)

    def limit_files(self, size):
        """Lets no file become larger, as on a full disk, until the test ends."""
        before = resource.getrlimit(resource.RLIMIT_FSIZE)
        self.addCleanup(resource.setrlimit, resource.RLIMIT_FSIZE, before)
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, before[1]))

    def write(self, name, lines, header=None, end="\n"):
        """A file of these data lines under a header: that of the example unless given."""
        if header is None:
            header = EXPECTED[name[0] if name[0] in EXPECTED else "G"].read_text().splitlines()[:HEADER_LINES]
        path = self.folder / name
        path.write_text("\n".join([*header, *lines]) + end)
        return path
