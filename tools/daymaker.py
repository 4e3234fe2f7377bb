"""One day of an archive: its bounds, and its files made, checked and put in place."""

import contextlib
import datetime
import functools
import hashlib
import json
import os
import shutil
import subprocess
import sys
import time

from cggttsfile import LINE_LENGTH, ORIGIN, PERIOD, SECONDS_PER_DAY, SPACING, TRACK_LENGTH, TRACKS_PER_PERIOD
from logindex import locked, read_json, unpack, unpacker, write_json

GPS_MJD = 44244  # 1980-01-06
NAMES = {"G": "GPS", "R": "GLONASS", "E": "Galileo", "C": "BeiDou"}
REFERENCE_LEAD = 600  # s before a day's first track: compact measurements refer to an epoch before
SAMPLING = 30  # s, of what tracks use
LOGS_AT_ONCE = 64  # searched for a setup
LOCK_WAIT = 600  # s for a day that another run is making
TITLES = b"SAT CL "


@functools.lru_cache(maxsize=None)
def day_bounds(mjd):
    """Start of the first track that starts on a day and end of the last, s since 1980-01-06."""
    begin = mjd * SECONDS_PER_DAY
    period, phase = divmod(begin - ORIGIN, PERIOD)
    track = min(-(-phase // SPACING), TRACKS_PER_PERIOD)
    starts = []
    for number in range(period * TRACKS_PER_PERIOD + track, (period + 2) * TRACKS_PER_PERIOD + 1):
        whole, rest = divmod(number, TRACKS_PER_PERIOD)
        start = ORIGIN + whole * PERIOD + rest * SPACING
        if start >= begin + SECONDS_PER_DAY:
            break
        starts.append(start)
    origin = GPS_MJD * SECONDS_PER_DAY
    return starts[0] - origin, starts[-1] + TRACK_LENGTH - origin


def gps_text(second):
    """A time as zelt2cggtts and zeltlog take it."""
    return (datetime.datetime(1980, 1, 6) + datetime.timedelta(seconds=second)).strftime("%Y-%m-%d_%H:%M:%S")


def day_path(home, mjd, kind):
    return os.path.join(home, "days", f"{mjd}.{kind}")


def read_record(home, mjd):
    """What is known of a day that was made, {} of others."""
    return read_json(day_path(home, mjd, "json"), {})


class Failed(Exception):
    """The day cannot be made; why."""


def run(words, folder=None):
    """Runs a program; Failed when it is killed."""
    result = subprocess.run(words, cwd=folder, capture_output=True, check=False)
    if result.returncode < 0:
        raise Failed(f"{os.path.basename(words[0])} was killed by signal {-result.returncode}")
    return result


def messages_of(result):
    return [line for line in result.stderr.decode(errors="replace").replace("\r", "\n").splitlines() if line.strip()]


def join(job, logs, target, words):
    """Joins logs; the summary, and what is to be said of the logs."""
    result = run([job["zeltlog"], "join", "--json", "-o", target, *words, *logs])
    messages = [line.removeprefix("zeltlog: ") for line in messages_of(result)]
    if not result.stdout:
        raise Failed("; ".join(messages) or f"zeltlog join: status {result.returncode}")
    summary = json.loads(result.stdout)
    if summary["conflicts"]:
        raise Failed(f"{summary['conflicts']} measurement blocks differ from another log's of the same time: are all "
                     "logs of one receiver?")
    return summary, messages, result.returncode == 0


def plain_logs(job, work):
    """The logs of the day, packed ones unpacked; {log: what is wrong with it}."""
    logs, faults = [], {}
    for number, path in enumerate(job["logs"]):
        plain = path
        if unpacker(path):
            plain = os.path.join(work, f"{number}.zelt")
            fault = unpack(path, plain)
            if fault:
                faults[path] = fault
        logs.append(plain)
    return logs, faults


def setup_of(job, paths, work, target):
    """Writes what is current at the end of some logs where a receiver's setup is among it; was it? None: they could not
    be read whole."""
    logs, is_whole = [], True
    for number, path in enumerate(paths):
        logs.append(os.path.join(work, f"earlier{number}") if unpacker(path) else path)
        if unpacker(path) and unpack(path, logs[-1]):
            is_whole = False
    try:
        summary, _, is_read = join(job, logs, target, ["--from", gps_text(job["end"]), "--every", "604800"])
    except Failed:  # no log, or none any more
        return None
    if summary["receiver_setups"]:
        return True
    return False if is_whole and is_read else None


def look_for_setups(job, paths, index, work, known):
    """Finds out which of some logs, newest first, is the first with a setup. {log: name of its setup, "" without one,
    None where that cannot be told now}, added to what is known."""
    new = [path for path in paths if path not in known]
    target = os.path.join(work, "setup.zelt")
    if not any(map(unpacker, new)) and len(new) > 1 and setup_of(job, new, work, target) is False:
        known.update(dict.fromkeys(new, ""))  # the usual case in one go
        return
    for path in new:
        has_setup = setup_of(job, [path], work, target)
        known[path] = "" if has_setup is False else None
        if has_setup:
            identity = json.dumps([path, index[path]["stamp"]])
            known[path] = hashlib.sha256(identity.encode()).hexdigest()[:32] + ".zelt"
            flush(target)
            os.replace(target, os.path.join(job["home"], "setups", known[path]))
            return


def newest_setup(job, logs, index, work, known):
    """The name of the newest setup before the day, "" where there is none; logs: [(end, log)], newest first."""
    paths = [path for end, path in logs if end < job["begin"] and path not in job["logs"]]
    for begin in range(0, len(paths), LOGS_AT_ONCE):
        some = paths[begin:begin + LOGS_AT_ONCE]
        look_for_setups(job, some, index, work, known)
        found = next((known[path] for path in some if known.get(path)), None)
        if found:
            return found
    return ""


def earlier_setups(jobs, index, work, bare=()):
    """The newest setup before the logs of each day, by its name in the folder of setups, "" where there is none. Only
    the logs of an index count. What is found out of logs is kept, so that none is read for it twice; bare: those that
    were read whole and have none."""
    folder = os.path.join(jobs[0]["home"], "setups")
    os.makedirs(folder, exist_ok=True)
    with locked(os.path.join(folder, "lock")):
        kept = read_json(os.path.join(folder, "known.json"), {})
        known = {path: name for path, (change, name) in kept.items() if index.get(path, {}).get("stamp") == change and
                 (not name or os.path.exists(os.path.join(folder, name)))}
        known.update((path, "") for path in bare)
        logs = sorted(((entry["span"][1], path) for path, entry in index.items()
                       if entry["span"] and known.get(path) != ""), reverse=True)
        found = [newest_setup(job, logs, index, work, known) for job in jobs]
        told = {path: [index[path]["stamp"], name] for path, name in known.items() if name is not None}
        write_json(os.path.join(folder, "known.json"), {**kept, **told})
    return found


def borrow_setup(job, work, bare, words):
    """Puts the newest setup from before the logs of a day in front of what they gave. Its name, "" without one."""
    target = os.path.join(work, "day.zelt")
    index = read_json(os.path.join(job["run"], "logs.json"))
    for _ in range(2):
        setup = earlier_setups([job], index, work, bare)[0]
        if not setup:
            return ""
        kept = os.path.join(job["home"], "setups", setup)
        if not os.path.exists(target + ".bare"):
            os.rename(target, target + ".bare")
        summary, _, _ = join(job, [kept, target + ".bare"], target, words)
        if summary["receiver_setups"]:
            return setup
        with contextlib.suppress(FileNotFoundError):
            os.unlink(kept)  # damaged, as by a power failure: its log gives it once more
    raise Failed(f"{kept}: the receiver's setup cannot be read")


def join_day(job, work):
    """Joins the logs of the day with what was current before. The name of the setup from before its logs, None where
    they have one; what is to be said of the logs, and what is wrong with them."""
    target = os.path.join(work, "day.zelt")
    words = ["--from", gps_text(job["begin"] - REFERENCE_LEAD), "--to", gps_text(job["end"]), "--every", str(SAMPLING)]
    logs, packing_faults = plain_logs(job, work)
    summary, messages, is_whole = join(job, logs, target, words)
    bare = [path for path, log in zip(job["logs"], summary["from"])
            if log["read_whole"] and not log["receiver_setups"] and path not in packing_faults]
    setup = None if summary["receiver_setups"] else borrow_setup(job, work, bare, words)
    for number, path in enumerate(job["logs"]):
        messages = [message.replace(os.path.join(work, f"{number}.zelt"), path) for message in messages]
    faults = [f"{path}: {fault}" for path, fault in packing_faults.items()]
    return (setup, messages, faults) if is_whole else (setup, [], faults + messages)


def check_leap_second(job, log):
    """Failed where the options have another leap second than the day's log."""
    if job["leap_second"] is None:
        return
    result = run([job["zeltlog"], "info", "--json", log])
    if not result.stdout:
        raise Failed("; ".join(messages_of(result)) or f"zeltlog info: status {result.returncode}")
    told = json.loads(result.stdout.decode(errors="replace"))["leap_second"]
    told = [source for source in (told["stamped"], told["unstamped"]) if source]
    if told and not min(s["lowest"] for s in told) <= job["leap_second"] <= max(s["highest"] for s in told):
        raise Failed(f"-ls {job['leap_second']}: the logs say {told[0]['highest']}")


def convert(job, folder):
    words = [*job["options"], "-b", gps_text(job["begin"]), "-e", gps_text(job["end"]), "-f", "../day.zelt"]
    os.mkdir(folder)
    result = run([job["program"], *words], folder)
    if result.returncode != 0:
        raise Failed("; ".join(messages_of(result)) or f"zelt2cggtts: status {result.returncode}")
    tracks = run([job["zeltlog"], "tracks", "--json", "--summary", *words], folder)
    if tracks.returncode != 0:
        raise Failed("; ".join(messages_of(tracks)) or f"zeltlog tracks: status {tracks.returncode}")
    return json.loads(tracks.stdout)


def count_lines(path):
    """The data lines of a file; 0 where there is none."""
    try:
        with open(path, "rb") as file:
            lines = file.read().split(b"\n")
    except FileNotFoundError:
        return 0
    data = next((i for i, line in enumerate(lines) if line.startswith(TITLES)), len(lines)) + 2
    return sum(len(line.removesuffix(b"\r")) == LINE_LENGTH for line in lines[data:])


def check(folder, mjd, summary):
    """Compares the files with what must be there. {name: lines}."""
    expected = {name: summary[name]["line"] for name in NAMES.values()}
    counts = {}
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name), "rb") as file:
            header, titles, body = file.read().partition(b"\n" + TITLES)
        lines = body.split(b"\n")[2:]
        is_sound = (header.startswith(b"CGGTTS") and titles and lines and lines[-1] == b"" and
                    all(len(line) == LINE_LENGTH and line[7:12] == b"%5d" % mjd for line in lines[:-1]))
        if not is_sound or len(lines) - 1 != expected[NAMES[name[0]]]:
            raise Failed(f"{name} was not written whole: is the disk full?")
        counts[name] = len(lines) - 1
    missing = [name for letter, name in NAMES.items() if expected[name] and letter not in {n[0] for n in counts}]
    if missing:
        raise Failed(f"the file of {missing[0]} was not written: is the disk full?")
    return counts


def make_strict(folder, names):
    tool = os.path.join(os.path.dirname(os.path.realpath(__file__)), "strict-cggtts")
    strict = folder + ".strict"
    result = run([sys.executable, tool, "-o", strict, *(os.path.join(folder, name) for name in names)])
    if result.returncode != 0:
        raise Failed("; ".join(messages_of(result)))
    return strict


def flush(path):
    """Makes sure that a file, or what a folder lists, is on the disk."""
    number = os.open(path, os.O_RDONLY)
    try:
        os.fsync(number)
    finally:
        os.close(number)


def losses(job, counts, record):
    """What the files in place have more of."""
    found = []
    for name in sorted({*counts, *record.get("files", {})}):
        before, now = count_lines(os.path.join(job["out"], name)), counts.get(name, 0)
        if now < before:
            found.append(f"{name}: {now} lines in place of {before}")
    return found


def put_in_place(job, folder, counts, record):
    """Moves the files of a day to where they belong. Before the first, its record says that the day is to be made
    again: when a run is killed amid this, files of two runs would count as those that it tells of."""
    for name in counts:
        flush(os.path.join(folder, name))
    record_path = day_path(job["home"], job["mjd"], "json")
    files = {**record.get("files", {}), **counts}
    write_json(record_path, {**record, "files": files, "made_of": None, "refused": None})
    flush(os.path.dirname(record_path))
    for name in counts:
        os.replace(os.path.join(folder, name), os.path.join(job["out"], name))
    for name in set(record.get("files", {})) - set(counts):  # of options that made more files
        if os.path.exists(os.path.join(job["out"], name)):
            os.unlink(os.path.join(job["out"], name))
    flush(job["out"])


def sizes(folder, names):
    """The sizes of files that are there."""
    found = {}
    for name in names:
        try:
            found[name] = os.path.getsize(os.path.join(folder, name))
        except OSError:
            pass
    return found


def is_done(job, record):
    """True when the record is of the same day made of the same, and the files are there as it says."""
    return record.get("made_of") == job["made_of"] and sizes(job["out"], record["files"]) == record["sizes"]


def is_being_made(job):
    """True while another run makes the day, of whatever."""
    with locked(day_path(job["home"], job["mjd"], "lock"), wait=False) as is_free:
        return not is_free


def refusal(record):
    return f"not replaced: {', '.join(record['lost'])}; --force replaces them" if "refused" in record else None


def is_refused(job, record):
    """True when the same has been refused for the files that are there."""
    return (not job["force"] and record.get("refused") == job["made_of"] and
            sizes(job["out"], record["in_place"]) == record["in_place"])


def borrows_setup(job, record):
    """Was the day made of the same with a setup from before its logs? Then a newer one may have come."""
    return any(made_of and made_of[0] == job["made_of"][0] and made_of[1] is not None
               for made_of in (record.get("made_of"), record.get("refused")))


def build(job, work, record):
    """Makes the day; its new record."""
    setup, notes, faults = join_day(job, work)
    made_of = [job["made_of"][0], setup]
    check_leap_second(job, os.path.join(work, "day.zelt"))
    folder = os.path.join(work, "files")
    tracks = convert(job, folder)
    counts = check(folder, job["mjd"], tracks["summary"])
    if job["strict"] and counts:
        folder = make_strict(folder, counts)
    new = {"mjd": job["mjd"], "made_of": made_of, "notes": notes, "faults": faults, "hours": job["hours"],
           "is_finished": job["is_finished"], "options": job["options"], "program": job["identity"],
           "logs": job["logs"], "files": counts, "summary": tracks["summary"], "sentences": tracks["sentences"],
           "lines": {name: tracks["summary"][name]["line"] for name in NAMES.values()}}
    lost = [] if job["force"] else losses(job, counts, record)
    if lost:
        in_place = sizes(job["out"], {*counts, *record.get("files", {})})
        return {"files": {}, "sizes": {}, **record, "mjd": job["mjd"], "in_place": in_place,
                "lost": lost + faults, "refused": None if faults else made_of}
    put_in_place(job, folder, counts, record)
    new["sizes"] = sizes(job["out"], counts)
    if faults:
        new["made_of"] = None  # to be made again with the next run
    return new


def make_day_locked(job):
    """What went wrong, or None."""
    record = read_record(job["home"], job["mjd"])
    if is_done(job, record):
        return None  # by another run, meanwhile
    work = os.path.join(job["home"], "work", str(job["mjd"]))
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    try:
        record = build(job, work, record)
        write_json(day_path(job["home"], job["mjd"], "json"), record)
        return refusal(record)
    finally:
        shutil.rmtree(work, ignore_errors=True)


def make_day(job):
    """Makes a day and keeps its record. What went wrong, or None."""
    until = time.monotonic() + LOCK_WAIT
    try:
        while True:
            with locked(day_path(job["home"], job["mjd"], "lock"), wait=False) as is_mine:
                if is_mine:
                    return make_day_locked(job)
            if time.monotonic() > until:
                return "another run has been making this day for too long"
            time.sleep(0.2)
    except Failed as failure:
        return str(failure)
    except OSError as error:
        return f"{error.filename or 'writing'}: {error.strerror}"


def make_days(path):
    """Makes the days of a file of jobs; a result for each goes beside the file, where the logs of the run stand too."""
    run = os.path.dirname(path)
    for job in read_json(path, []):
        write_json(os.path.join(run, f"{job['mjd']}.result"), {"failure": make_day({**job, "run": run})})
