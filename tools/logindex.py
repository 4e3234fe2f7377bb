"""The logs of an archive: found in folders and lists, and the span of each, kept from run to run."""

import concurrent.futures
import contextlib
import datetime
import fcntl
import json
import math
import os
import shutil
import stat
import subprocess
import sys
import tempfile

UNPACKERS = {".gz": "gzip", ".zst": "zstd", ".xz": "xz", ".bz2": "bzip2"}
BATCH = 64  # logs told of by one call of zeltlog
FORMAT = 2


def write_json(path, value):
    """In one step, and on the disk when it returns. An OSError names path."""
    new = os.path.join(os.path.dirname(path), f".new-{os.uname().nodename}-{os.getpid()}")
    try:
        with open(new, "w", encoding="ascii") as file:
            json.dump(value, file)
            file.flush()
            os.fsync(file.fileno())
        os.replace(new, path)
    except OSError as error:
        raise OSError(error.errno, error.strerror, path) from error
    finally:
        with contextlib.suppress(OSError):
            os.unlink(new)


def read_json(path, default=None):
    """What stands there; the default where nothing, or nothing sensible, does."""
    try:
        with open(path, encoding="utf-8") as file:
            return json.load(file)
    except (OSError, ValueError):
        return default


@contextlib.contextmanager
def locked(path, wait=True):
    """Holds the lock of a file, which stays. Yields False when somebody else holds it and is not to be waited for."""
    with open(path, "a", encoding="ascii") as file:
        try:
            fcntl.flock(file, fcntl.LOCK_EX | (0 if wait else fcntl.LOCK_NB))
        except BlockingIOError:
            yield False
            return
        yield True


@contextlib.contextmanager
def scratch_folder(home):
    """A folder for what is unpacked while the index is locked, emptied of what a run that was killed left there."""
    path = os.path.join(home, "scratch")
    with locked(os.path.join(home, "index.lock")):
        shutil.rmtree(path, ignore_errors=True)
        os.mkdir(path)
        try:
            yield path
        finally:
            shutil.rmtree(path, ignore_errors=True)


def unpacker(path):
    """The program that unpacks a file, None for a plain one."""
    return UNPACKERS.get(os.path.splitext(path)[1].lower())


def unpack(path, target):
    """Unpacks a file; what is wrong with it, or None. What comes before a fault is there nevertheless."""
    words = [unpacker(path), "-dc", "--", os.path.realpath(path)]  # zstd opens no symbolic links
    with open(target, "wb") as out:
        result = subprocess.run(words, stdout=out, stderr=subprocess.PIPE, check=False)
    if result.returncode == 0:
        return None
    return result.stderr.decode(errors="replace").strip().replace("\n", "; ") or f"{unpacker(path)} failed"


def files_below(folder, left_out, faults):
    """The files of a folder and those below it, by name; hidden ones and one folder are passed over. What cannot be
    looked at is added to the faults."""
    seen, errors = set(), []
    for place, folders, names in os.walk(folder, onerror=errors.append, followlinks=True):
        status = os.stat(place)
        if (status.st_dev, status.st_ino) in seen or os.path.realpath(place) == left_out:
            folders.clear()
            continue
        seen.add((status.st_dev, status.st_ino))
        folders[:] = sorted(name for name in folders if not name.startswith("."))
        for name in sorted(names):
            path = os.path.join(place, name)
            try:
                if not name.startswith(".") and stat.S_ISREG(os.stat(path).st_mode):
                    yield path
            except OSError as error:
                errors.append(error)
    faults += [f"{error.filename}: {error.strerror}" for error in errors]


def find_files(paths, left_out):
    """{path: was it named itself}, of files and folders, and what is not there."""
    files, faults = {}, []
    for path in map(os.path.abspath, paths):
        if os.path.isdir(path):
            for file in files_below(path, left_out, faults):
                files.setdefault(file, False)
        elif os.path.isfile(path):
            files[path] = True
        else:
            faults.append(f"{path}: no such file")
    return files, faults


def gps_seconds(text):
    """Seconds since 1980-01-06 of a time as zeltlog writes it."""
    return (datetime.datetime.fromisoformat(text) - datetime.datetime(1980, 1, 6)).total_seconds()


def look_at_plain(zeltlog, paths):
    """What look_at tells, of plain logs whose names zeltlog can print."""
    result = subprocess.run([zeltlog, "info", "--json", "--span", *paths], capture_output=True, check=False)
    fault = "zeltlog was killed" if result.returncode < 0 else "cannot be read"
    # "zeltlog: no Zelt block in PATH", and behind a colon what it holds instead where that can be told.
    messages = [message.partition("no Zelt block in ")[2] for message in
                result.stderr.decode(errors="replace").splitlines()]
    found = {}
    for path in paths:
        is_no_log = any(message == path or message.startswith(path + ": ") for message in messages)
        found[path] = {"span": []} if is_no_log else {"span": [], "fault": fault}
    for line in result.stdout.decode(errors="replace").split("\n")[:-1]:
        told = json.loads(line)
        span = [math.floor(gps_seconds(told["first"])), math.ceil(gps_seconds(told["last"]))] if told["first"] else []
        found[told["log"]] = {"span": span}
    return found


def look_at_one(zeltlog, path, folder):
    """What look_at tells, of a log whose name or packing wants care."""
    with tempfile.TemporaryDirectory(dir=folder) as work:
        plain, fault = os.path.join(work, "log"), None
        if unpacker(path):
            fault = unpack(path, plain)
        else:
            os.symlink(path, plain)
        found = look_at_plain(zeltlog, [plain])[plain]
        return {**found, "fault": fault} if fault else found


def look_at(zeltlog, paths, folder):
    """{path: {"span": [first, last], [] without a time stamp, "fault": what kept from finding out, if anything}}."""
    simple = [path for path in paths if not unpacker(path) and path.isprintable() and path.isascii()]
    found = look_at_plain(zeltlog, simple) if simple else {}
    for path in paths:
        if path not in found:
            found[path] = look_at_one(zeltlog, path, folder)
    return found


def stamp(path):
    status = os.stat(path)
    return [status.st_size, status.st_mtime_ns]


def index_logs(files, zeltlog, home, jobs, on_progress):
    """The logs among files: {path: {"stamp": [size, time of change], "span": [first, last]}}, spans in seconds since
    1980-01-06. Only what is new or changed is opened; the index is kept in the folder `home`. Files without a time
    stamp have the span []. Where the span may be wrong, "fault" tells why, and it is not kept."""
    for program in {unpacker(path) for path in files} - {None}:
        if shutil.which(program) is None:
            print(f"convert-archive: {program} is needed to unpack some logs", file=sys.stderr)
            raise SystemExit(2)
    with scratch_folder(home) as scratch:
        path = os.path.join(home, "index.json")
        kept = read_json(path, {})
        kept = kept.get("logs", {}) if kept.get("format") == FORMAT else {}
        index, new = {}, []
        for file in files:
            try:
                entry = {"stamp": stamp(file)}
            except OSError:
                continue
            index[file] = entry
            if kept.get(file, {}).get("stamp") == entry["stamp"]:
                entry["span"] = kept[file]["span"]
            else:
                new.append(file)
        plain = [file for file in new if not unpacker(file)]
        batches = [[file] for file in new if unpacker(file)]  # unpacked one at a time
        batches += [plain[i:i + BATCH] for i in range(0, len(plain), BATCH)]
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            for done, found in enumerate(pool.map(lambda batch: look_at(zeltlog, batch, scratch), batches), 1):
                for file, told in found.items():
                    index[file].update(told)
                on_progress(done, len(batches))
        known = {file: entry for file, entry in index.items() if "fault" not in entry}
        if new:
            write_json(path, {"format": FORMAT, "logs": {**kept, **known}})
    return index
