"""What the tests of the tools share: the program, the example log, a folder of their own."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TOOLS = ROOT / "tools"
EXAMPLE_LOG = ROOT / "examples" / "esbc-2020-06-25-3h.zelt"
PROGRAM = pathlib.Path(os.environ["ZELT2CGGTTS"]).resolve()


def run(*command, cwd=None, **environment):
    """Runs a command; environment variables given as keywords are added."""
    return subprocess.run([str(word) for word in command], cwd=cwd, env=os.environ | environment, text=True,
                          capture_output=True, timeout=120)


def convert(folder, *options, log=EXAMPLE_LOG):
    """Converts a log into a folder, made if need be, and returns the files by the first letter of their names."""
    folder.mkdir(parents=True, exist_ok=True)
    result = run(PROGRAM, "-f", log, "-ls", "18", *options, cwd=folder)
    if result.returncode != 0:
        raise RuntimeError(result.stderr)
    return {path.name[0]: path for path in folder.iterdir()}


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
