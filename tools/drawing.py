"""What the pictures of the tools share: colours, pages, values over time, output."""

import argparse
import collections
import io
import os

import matplotlib
import numpy as np
from matplotlib import dates, ticker
from matplotlib.backends.backend_agg import FigureCanvasAgg
from matplotlib.figure import Figure

from cggttsfile import CONSTELLATIONS, SECONDS_PER_DAY, SPACING, date_of
from command import write_whole
from timeseries import middle_of_track

FORMATS = (".png", ".pdf", ".svg")

# The palette of M. Okabe and K. Ito for all kinds of colour vision, without its yellow, which is faint on white. Where
# there are more series than colours, the symbols tell them apart.
COLOURS = ("#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9", "#000000")
SYMBOLS = "o^sDvP"
FIT_COLOUR = "#d55e00"
OF_CONSTELLATION = dict(zip(CONSTELLATIONS.values(), COLOURS))

MOST_POINTS = 3000  # in a panel; beyond it days are drawn, not lines
BANDS = ((2.5, 97.5), (16, 84))  # percent of the lines of a day
TAUS = {900: "15 min", 3600: "1 h", 14400: "4 h", 86400: "1 d", 345600: "4 d", 1382400: "16 d"}
LARGE_OFFSET = 1000  # ns; beyond it a whole number of ns is taken off the axis
LONGEST_GAP = 2 * SPACING  # s between two means that a line connects
UNIX_EPOCH = 40587  # MJD of 1970-01-01, where matplotlib's days begin
ROW_HEIGHT, WIDTH, DPI = 4.3, 16, 125  # inches, dots per inch

# What is drawn of a constellation, or of one signal: start of the tracks (s since MJD 0) and value (ns) of every point,
# the names of their satellites or None, means per track and the line through them.
Part = collections.namedtuple("Part", "label colour start value names means line")


def picture_name(text):
    """For argparse: a name that says its format."""
    if os.path.splitext(text)[1].lower() not in FORMATS:
        raise argparse.ArgumentTypeError(f"{text}: the name must end in " + ", ".join(FORMATS))
    return text


def new_page(rows, title, below=0):
    """A figure of that many rows, and so many inches below, its title in place."""
    matplotlib.rcParams.update({
        "font.size": 11, "axes.grid": True, "grid.color": "#d8d8d8", "axes.axisbelow": True, "svg.hashsalt": "cggtts",
        "legend.fontsize": 9, "legend.handletextpad": 0.2, "axes.formatter.useoffset": False})
    figure = Figure(figsize=(WIDTH, 0.9 + ROW_HEIGHT * rows + below), dpi=DPI)
    FigureCanvasAgg(figure)
    figure.text(0.5, 1 - 0.35 / figure.get_figheight(), title, ha="center", va="center", fontsize=16)
    return figure


def row_axes(figure, row, right=0.87):
    """The place of a row: main panel, strip below it, two panels on the right."""
    height = figure.get_figheight()
    top = 1 - (0.9 + ROW_HEIGHT * row + 0.45) / height
    bottom = 1 - (0.9 + ROW_HEIGHT * (row + 1) - 0.65) / height
    grid = figure.add_gridspec(2, 2, left=0.06, right=right, top=top, bottom=bottom, width_ratios=(2.6, 1),
                               height_ratios=(3.2, 1), hspace=0.08, wspace=0.13)
    main = figure.add_subplot(grid[0, 0])
    strip = figure.add_subplot(grid[1, 0], sharex=main)
    return main, strip, grid[:, 1]


def save(figure, path):
    nothing = {".pdf": {"CreationDate": None}, ".svg": {"Date": None}}  # the same data, the same file
    ending = os.path.splitext(path)[1].lower()
    picture = io.BytesIO()  # some ways to draw into a file take a full disk for a fault of their own
    figure.savefig(picture, format=ending[1:], metadata=nothing.get(ending))
    write_whole(path, picture.getvalue())


def near_range(values):
    """A range that holds all values but those far from the rest (six standard deviations, were they normal)."""
    middle = np.median(values)
    reach = max(6 * 1.4826 * np.median(np.abs(values - middle)), 1)
    near = values[np.abs(values - middle) <= reach]
    margin = max(0.08 * np.ptp(near), 0.5)
    return near.min() - margin, near.max() + margin


def days(start):
    """Days as matplotlib counts them, of the middles of tracks."""
    return middle_of_track(start) - UNIX_EPOCH


def interrupted(start, *values):
    """Times and values with a nan wherever tracks are missing, where a line must not connect."""
    gaps = np.flatnonzero(np.diff(start) > LONGEST_GAP) + 1
    return [np.insert(np.asarray(v, float), gaps, np.nan) for v in (days(start), *values)]


def symbol(index):
    return {"color": COLOURS[index % len(COLOURS)], "marker": SYMBOLS[index // len(COLOURS) % len(SYMBOLS)]}


def draw_days(main, strip, part, shift):
    """Of every day: mean of the tracks' means, bands of the values, least and largest number of satellites."""
    day = np.floor(middle_of_track(part.start))
    mean_day = np.floor(middle_of_track(part.means.start))
    which = np.unique(mean_day)
    middles = which + 0.5 - UNIX_EPOCH
    groups = [part.value[day == d] - shift for d in which]
    for (low, high), strength in zip(BANDS, (0.15, 0.3)):
        edges = np.array([np.percentile(group, (low, high)) for group in groups])
        main.fill_between(middles, edges[:, 0], edges[:, 1], color=part.colour, alpha=strength, linewidth=0,
                          label=f"{high - low:.0f} % of the lines")
    means = [part.means.mean[mean_day == d].mean() - shift for d in which]
    main.plot(middles, means, "o-", color=part.colour, markersize=4, linewidth=1.5, label="mean of the day")
    counts = [part.means.count[mean_day == d] for d in which]
    strip.fill_between(middles, [c.min() for c in counts], [c.max() for c in counts], step="mid", color=part.colour,
                       alpha=0.3, linewidth=0)
    strip.step(middles, [c.mean() for c in counts], where="mid", color=part.colour, linewidth=1.2)
    return main.get_legend_handles_labels()[0][-3:]


def draw_tracks(main, strip, part, shift, alone):
    """Every value, means per track and their numbers of satellites."""
    handles = []
    for index, name in enumerate([part.label] if part.names is None else np.unique(part.names)):
        of_it = slice(None) if part.names is None else part.names == name
        look = {"color": part.colour, "marker": "o", "alpha": 0.5} if part.names is None else symbol(index)
        handles += main.plot(days(part.start[of_it]), part.value[of_it] - shift, markersize=4 if alone else 3,
                             linewidth=0, markeredgewidth=0, label=name, **look)
    time, mean, count = interrupted(part.means.start, part.means.mean, part.means.count)
    width = 2 if len(mean) < 300 else 0.8
    main.plot(time, mean - shift, color="white", linewidth=2 * width)
    main.plot(time, mean - shift, color="black" if alone else part.colour, linewidth=width)
    strip.step(time, count, where="mid", color="#404040" if alone else part.colour, linewidth=1.2)
    return handles


def draw_values(main, strip, parts, quantity):
    """Values over time with means and line, and how many satellites they are of; answers series for a legend."""
    values = np.concatenate([part.value for part in parts])
    middle = float(np.median(values))
    shift = round(middle) if abs(middle) > LARGE_OFFSET else 0
    alone = len(parts) == 1
    handles = []
    for part in parts:
        if len(values) > MOST_POINTS:
            handles += draw_days(main, strip, part, shift)
        else:
            handles += draw_tracks(main, strip, part, shift, alone)
        if part.line.rate == part.line.rate:
            ends = np.array([part.means.start.min(), part.means.start.max()])
            fitted = part.line.offset + part.line.rate * (middle_of_track(ends) - part.line.epoch)
            handles += main.plot(days(ends), fitted - shift, "--", linewidth=1.5, label="line",
                                 color=FIT_COLOUR if alone else part.colour)
    if len(values) <= MOST_POINTS:
        main.set_ylim(*(edge - shift for edge in near_range(values)))
    main.set_ylabel(quantity + (f" {'−' if shift > 0 else '+'} {abs(shift)}" if shift else "") + " (ns)")
    strip.set_ylim(0, 1.1 * max(part.means.count.max() for part in parts))
    strip.yaxis.get_major_locator().set_params(integer=True, nbins=4)
    strip.set_ylabel("satellites")
    time_axis(main, strip)
    return handles


def side_legend(figure, main, handles):
    """A legend right of the panels of a row."""
    main.legend(handles=handles, loc="upper left", bbox_to_anchor=(0.875, main.get_position().y1),
                bbox_transform=figure.transFigure, ncol=2 if len(handles) > 16 else 1, borderaxespad=0, frameon=False,
                columnspacing=0.6)


def time_axis(main, strip):
    """Dates below, MJD above."""
    locator = dates.AutoDateLocator(minticks=5, maxticks=13)
    strip.xaxis.set_major_locator(locator)
    strip.xaxis.set_major_formatter(dates.ConciseDateFormatter(locator, show_offset=False))
    main.tick_params(axis="x", labelbottom=False)
    above = main.secondary_xaxis("top", functions=(lambda x: x + UNIX_EPOCH, lambda x: x - UNIX_EPOCH))
    above.tick_params(labelsize=9)
    for axes, name, at in ((main, "MJD", (0, 1)), (strip, "UTC", (0, 0))):
        axes.annotate(name, at, (-4, 5 if at[1] else -16), xycoords="axes fraction", textcoords="offset points",
                      fontsize=9, ha="right")


def logarithmic(axes, form, labelled):
    """Both axes logarithmic, tau in units of the day on the lower; form: of the numbers on the other."""
    if not axes.lines:
        axes.set_xticks([])
        axes.set_yticks([])
        axes.annotate("no value above 0", (0.5, 0.5), xycoords="axes fraction", ha="center", color="#606060")
        return
    axes.set_xscale("log")
    axes.set_yscale("log")
    low, high = axes.get_ylim()
    high *= (high / low) ** 0.15  # room for the title inside
    axes.set_ylim(low, high)
    steps = (1,) if high / low > 300 else (1, 3) if high / low > 15 else (1, 2, 5)
    axes.yaxis.set_major_locator(ticker.LogLocator(subs=steps, numticks=20))
    axes.yaxis.set_major_formatter(ticker.FormatStrFormatter(form))
    axes.yaxis.set_minor_formatter(ticker.NullFormatter())
    axes.xaxis.set_major_locator(ticker.FixedLocator(list(TAUS)))
    axes.xaxis.set_minor_locator(ticker.NullLocator())
    axes.xaxis.set_major_formatter(ticker.FuncFormatter(lambda tau, _: TAUS.get(tau, "") if labelled else ""))
    if labelled:
        axes.set_xlabel("tau")


def outside(values):
    """How many points a panel leaves out, as a part of its title."""
    if len(values) > MOST_POINTS:
        return ""
    low, high = near_range(values)
    count = int(np.count_nonzero((values < low) | (values > high)))
    return f", {count} outside" if count else ""


def line_text(line):
    if line.rate_sigma != line.rate_sigma:
        return f"{line.offset:.2f} ns"
    return (f"{line.offset:.2f} ± {line.offset_sigma:.2f} ns at MJD {line.epoch:.2f}, "
            f"{line.rate:+.2f} ± {line.rate_sigma:.2f} ns/day, {line.rms:.2f} ns about the line").replace("-", "−")


def days_text(start):
    first, last = int(start.min() // SECONDS_PER_DAY), int(start.max() // SECONDS_PER_DAY)
    return " to ".join(f"MJD {mjd} ({date_of(mjd)})" for mjd in sorted({first, last}))
