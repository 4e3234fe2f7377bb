"""compare_files.py EXPECTED ACTUAL [--crlf]: compares the CGGTTS files of two folders.

They may differ by one unit of the last printed digit of a number (and hence in the checksum, which must be right), and
with --crlf the lines of the second folder end in CR LF. Prints how many numbers differ.
Exit status: 0 the same up to that, 1 not.
"""

import pathlib
import re
import sys
from decimal import Decimal

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tools"))

from cggttsfile import HEADER_KEYWORDS, LINE_LENGTH, checksum

NUMBER = re.compile(r"(?<![\w.])-?\d+(?:\.\d+)?(?![\w.])")
HEADER_CHECKSUM_LINE = len(HEADER_KEYWORDS) + 1
FIRST_DATA_LINE = HEADER_CHECKSUM_LINE + 4


def differing_numbers(expected, actual):
    """How many numbers of two lines are one unit apart; None when anything else differs."""
    # Differing widths take or leave blanks, so columns are compared without them.
    texts = [NUMBER.sub("#", line).split() for line in (expected, actual)]
    if texts[0] != texts[1]:
        return None
    count = 0
    for a, b in zip(NUMBER.findall(expected), NUMBER.findall(actual)):
        if a == b:
            continue
        unit = Decimal(a).as_tuple().exponent
        if Decimal(b).as_tuple().exponent != unit or abs(Decimal(a) - Decimal(b)) != Decimal((0, (1,), unit)):
            return None
        count += 1
    return count


def read_lines(path, end):
    text = path.read_bytes()
    lines = text.split(end)
    if lines.pop() != b"" or b"\r" in b"".join(lines) or b"\n" in b"".join(lines):
        raise ValueError(f"{path}: a line end is not {end!r}")
    return [line.decode("latin-1") for line in lines]


def compare(expected, actual):
    if len(expected) != len(actual):
        raise ValueError("the number of lines differs")
    total = 0
    for number, (a, b) in enumerate(zip(expected, actual), start=1):
        if number == HEADER_CHECKSUM_LINE:
            a, b = "", b.removeprefix(f"CKSUM = {checksum(''.join(actual[:number - 1]) + 'CKSUM ='):02x}")
        elif number >= FIRST_DATA_LINE and len(a) == len(b) == LINE_LENGTH:
            a, b = a[:-2], b[:-2] if b.endswith(f"{checksum(b[:-2]):02X}") else b
        count = differing_numbers(a, b)
        if count is None:
            raise ValueError(f"line {number} differs:\n{expected[number - 1]}\n{actual[number - 1]}")
        total += count
    return total


def main(expected, actual, *flags):
    folders = [{path.name: path for path in sorted(pathlib.Path(folder).iterdir())} for folder in (expected, actual)]
    if not folders[0] or folders[0].keys() != folders[1].keys():
        print(f"the files differ: {list(folders[0])} and {list(folders[1])}")
        return 1
    total = 0
    for name, path in folders[0].items():
        try:
            total += compare(read_lines(path, b"\n"),
                             read_lines(folders[1][name], b"\r\n" if "--crlf" in flags else b"\n"))
        except ValueError as error:
            print(f"{name}: {error}")
            return 1
    print(f"{len(folders[0])} files, {total} numbers that differ by one unit of the last digit")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
