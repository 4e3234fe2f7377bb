"""The file of options that convert-archive gives to zelt2cggtts: one option a line, its value behind a blank.

The program itself is lenient: it takes the digits that a value begins with. In a file that makes thousands of others
that is refused, with the line and the remedy.
"""

import re

from cggttsfile import is_date

NUMBER = re.compile(r"[-+]?(\d+\.?\d*|\.\d+)([eE][-+]?\d+)?")
INTEGER = re.compile(r"[-+]?\d+")
CONSTELLATIONS = "GREC"
POSITION = ("-px", "-py", "-pz")

NUMBERS = (*POSITION, "-elm", "-al1", "-al2", "-ag1", "-ag2", "-ae5a", "-ab1", "-ab2", "-dl1", "-dl2", "-dg1", "-dg2",
           "-de1", "-de5a", "-db1", "-db2", "-dref", "-dcab")
TEXTS = {"-lab": 40, "-labid": 2, "-rxid": 2, "-calid": 30, "-revdate": 30, "-comment": 80, "-tref": 30, "-suffix": 30,
         "-x": 9}  # characters that the program keeps
IN_NAMES = ("-labid", "-rxid", "-suffix")
FREE_TEXTS = ("-lab", "-calid", "-comment", "-tref")
REFUSED = {
    "-C": "contiguous tracks begin with the log and have no days: convert such logs with zelt2cggtts itself",
    "-b": "every day has its own bounds", "-e": "every day has its own bounds",
    "-f": "the logs stand on the command line", "-h": "it has no place here", "-V": "it has no place here",
    "-v": "it has no place here"}
KNOWN = {*NUMBERS, *TEXTS, *REFUSED, "-ls", "-matlab"}


def number_fault(value, pattern):
    if pattern.fullmatch(value):
        return None
    if pattern.fullmatch(value.replace(",", ".", 1)):
        return f"'{value}' is no number: write {value.replace(',', '.')}"
    digits = pattern.match(value)
    if digits:
        return f"'{value}' is no number: write {digits.group()} alone, without a unit"
    return f"'{value}' is no number"


def text_fault(option, value):
    if len(value) > 1 and value[0] == value[-1] and value[0] in "\"'":
        return f"the quotes would become part of the value: write {value[1:-1]}"
    if value.startswith("-"):
        return f"'{value}' would be taken for an option: begin with something else"
    if option in IN_NAMES and "/" in value:
        return "a name of a file holds no slash"
    if option == "-x" and set(value) - set(CONSTELLATIONS):
        return f"'{value}' names no constellations: write letters of {CONSTELLATIONS}"
    return None


def value_fault(option, value):
    """What is wrong with a line, None if nothing."""
    if option == "-matlab":
        return "it takes no value" if value else None
    if not value:
        return "a value is missing behind it"
    second = next((word for word in value.split()[1:] if word in KNOWN), None)
    if second and option not in FREE_TEXTS:
        return f"two options on one line: give {second} a line of its own"
    if option == "-ls":
        return number_fault(value, INTEGER)
    return number_fault(value, NUMBER) if option in NUMBERS else text_fault(option, value)


def value_warning(option, value):
    if option not in TEXTS:
        return None
    if len(value.encode()) > TEXTS[option]:
        return f"only the first {TEXTS[option]} characters are used"
    if not value.isascii():
        return "only ASCII is safe in a header: readers differ in what they make of other characters"
    second = next((word for word in value.split()[1:] if word in KNOWN), None)
    if second:
        return f"{second} is taken for a part of the text: an option needs a line of its own"
    if option == "-revdate" and not is_date(value):
        return "readers expect a date: yyyy-mm-dd"
    return None


def unknown_fault(option):
    glued = max((known for known in KNOWN if option.startswith(known)), key=len, default=None)
    if not option.startswith("-"):
        return f"'{option}' is no option"
    return f"'{option}' is no option" + (f": put a blank behind {glued}" if glued else "")


def read_options(path):
    """The options as {option: value}, warnings and faults as texts "FILE:LINE: ..."; nothing may be done with the
    options when there are faults."""
    options, lines, warnings, faults = {}, {}, [], []
    with open(path, encoding="utf-8-sig", errors="surrogateescape", newline="") as file:
        text = file.read()
    if "\0" in text:
        return {}, [], [f"{path}: holds a NUL byte: save it as plain text in ASCII or UTF-8"]
    for number, line in enumerate(text.replace("\r\n", "\n").split("\n"), 1):
        option, _, value = line.strip().partition(" ")
        option, _, rest = option.partition("\t")
        value = f"{rest} {value}".strip()
        if not option or option.startswith("#"):
            continue
        if option not in KNOWN:
            fault = unknown_fault(option)
        elif option in REFUSED:
            fault = f"{option} is refused: {REFUSED[option]}"
        elif option in options:
            fault = f"{option} stands in line {lines[option]} already"
        else:
            fault = value_fault(option, value)
            fault = fault and f"{option}: {fault}"
            options[option], lines[option] = value, number
        if fault:
            faults.append(f"{path}:{number}: {fault}")
        elif warning := value_warning(option, value):
            warnings.append(f"{path}:{number}: {option}: {warning}")
    given = [option for option in POSITION if option in options]
    if given and len(given) < len(POSITION):
        missing = " and ".join(option for option in POSITION if option not in options)
        faults.append(f"{path}:{lines[given[0]]}: {given[0]} needs {missing} beside it: the others would come from the "
                      "log, or be 0")
    return options, warnings, faults


def option_words(options):
    """As the program's command line has them."""
    return [word for option, value in options.items() for word in ((option, value) if value else (option,))]
