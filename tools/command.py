"""What the tools are as commands: how they end, and how they write files."""

import contextlib
import os
import signal
import sys


def print_any_name():
    """Lets standard output have names of files that its encoding has no characters for, as standard error has."""
    if sys.stdout is not None:  # closed by who called
        sys.stdout.reconfigure(errors="backslashreplace")


def run(main):
    """Runs a tool. Without a word it ends when nobody reads on, as in a pipe to head; with a message and status 2 when
    standard output cannot be written. Other files are the tool's own affair."""
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    print_any_name()
    try:
        try:
            status = main()
        finally:  # --help ends by SystemExit
            if sys.stdout is not None:  # closed by who called
                sys.stdout.flush()
    except OSError as error:
        with contextlib.suppress(OSError):
            print(f"{os.path.basename(sys.argv[0])}: standard output: {error.strerror}", file=sys.stderr)
        os._exit(2)  # sys.exit() would try once more to write what is left, and complain in its own words
    sys.exit(status)


def write_whole(path, content):
    """Writes bytes beside the place and moves them, so that nobody meets half a file; leaves nothing when it fails,
    with an OSError that names path."""
    part = path + ".part"
    try:
        with open(part, "wb") as out:
            out.write(content)
        os.replace(part, path)
    except OSError as error:
        raise OSError(error.errno, error.strerror, path) from error
    finally:
        with contextlib.suppress(OSError):
            os.remove(part)
