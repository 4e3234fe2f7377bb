"""Series of clock readings: means per track, fitted line, outliers, modified Allan and time deviation."""

import collections

import numpy as np

from cggttsfile import PERIOD, SECONDS_PER_DAY, TRACK_LENGTH, TRACKS_PER_PERIOD, is_contiguous, is_scheduled, \
    schedule_number

# offset at the epoch (MJD, the mean of the times) and rate per day with their standard deviations; rms about the line.
Line = collections.namedtuple("Line", "epoch offset rate offset_sigma rate_sigma rms")
# of every track: start in s since MJD 0, mean, number of values, standard deviation of one (nan for one alone)
Means = collections.namedtuple("Means", "start mean count scatter")
Deviation = collections.namedtuple("Deviation", "tau modified time terms")

NORMAL = 1.4826  # standard deviation of a normal distribution by its median absolute deviation
NEIGHBOURS = 2  # tracks on either side
# s: two tracks lie within an hour even over the pause of the schedule, 28 minutes, and one missing track. Over more,
# the drift of a clock would pass for an outlier.
FARTHEST_NEIGHBOUR = 3600
FEWEST_VALUES = 5
SMALLEST_LIMIT = 1.0  # ns: files are rounded to 0.1 ns


def middle_of_track(start):
    """The MJD that values of a track belong to."""
    return (start + TRACK_LENGTH / 2) / SECONDS_PER_DAY


def fit_line(mjd, value):
    """The line of least squares; what too few values do not tell is nan."""
    n = len(value)
    epoch = float(np.mean(mjd))
    offset = float(np.mean(value))
    spread = float(np.sum((mjd - epoch) ** 2))
    if n < 2 or spread == 0:
        return Line(epoch, offset, *[float("nan")] * 4)
    rate = float(np.sum((mjd - epoch) * (value - offset))) / spread
    residual = value - offset - rate * (mjd - epoch)
    rms = float(np.sqrt(np.sum(residual**2) / (n - 2))) if n > 2 else float("nan")
    return Line(epoch, offset, rate, rms / n**0.5, rms / spread**0.5, rms)


def robust_scatter(value):
    return NORMAL * float(np.median(np.abs(value - np.median(value))))


def track_means(start, value, weight=None):
    """Means over the values of a track, weighted or not; the scatter is that of a value of weight 1 / mean weight."""
    weight = np.ones(len(value)) if weight is None else weight
    starts, track, count = np.unique(start, return_inverse=True, return_counts=True)
    total = np.bincount(track, weight)
    mean = np.round(np.bincount(track, weight * value) / total, 9)  # below it is the order of the sum
    square = np.bincount(track, weight * (value - mean[track]) ** 2) / total
    with np.errstate(invalid="ignore", divide="ignore"):
        scatter = np.where(count > 1, np.sqrt(square * count / (count - 1)), np.nan)
    return Means(starts, mean, count, scatter)


def distances(start, value):
    """How far each value lies from the median of all in its own track, the two before and the two behind, of those
    within an hour; nan where these values are fewer than 5.

    start must be in order.
    """
    starts, edges, track = np.unique(start, return_index=True, return_inverse=True)
    edges = np.append(edges, len(start))  # where the values of a track begin, and those of the track before end
    number = np.arange(len(starts))
    first = np.maximum(number - NEIGHBOURS, np.searchsorted(starts, starts - FARTHEST_NEIGHBOUR))
    last = np.minimum(number + NEIGHBOURS + 1, np.searchsorted(starts, starts + FARTHEST_NEIGHBOUR, side="right"))
    medians = np.array([np.median(value[i:j]) if j - i >= FEWEST_VALUES else np.nan
                        for i, j in zip(edges[first], edges[last])])
    return value - medians[track]


def find_outliers(start, value, factor):
    """Which values are outliers, and the distances. An outlier is farther from the median of its neighbourhood than
    factor times the scatter of all distances (1.4826 times their median absolute value) and than 1 ns."""
    away = distances(start, value)
    known = np.abs(away[np.isfinite(away)])
    limit = max(SMALLEST_LIMIT, factor * NORMAL * float(np.median(known))) if len(known) else np.inf
    return np.abs(away) > limit, away


def number_tracks(starts):
    """Numbers of the tracks on a regular grid, and the spacing of the grid in s; None where they are on none.

    The schedule counts as regular with its mean spacing, 23 h 56 min / 89: no track is farther than 12 minutes from
    where that puts it.
    """
    if np.all(is_scheduled(starts)):
        return schedule_number(starts), PERIOD / TRACKS_PER_PERIOD
    if is_contiguous(starts) and np.all((starts - starts[0]) % TRACK_LENGTH == 0):
        return starts // TRACK_LENGTH, float(TRACK_LENGTH)
    return None


def deviations(number, phase, spacing, factors=None):
    """Modified Allan deviation and time deviation of a phase, in units of phase per second and of phase.

    number: where on the grid each value is; factors: averaging factors, 1, 2, 4 ... unless given.
    W. J. Riley, Handbook of Frequency Stability Analysis, NIST Special Publication 1065 (2008), 5.2.4 and 5.2.6, in
    the form with means of the phase: Mod sigma^2(tau) is half the mean squared second difference of adjacent means
    over tau, divided by tau^2; TDEV = tau / sqrt(3) Mod sigma. Nothing is put into gaps: a mean is over the values that
    are there, and counts when they are at least half of all.
    """
    x = np.full(int(number.max() - number.min()) + 1, np.nan)
    x[number - number.min()] = phase - np.mean(phase)
    there = np.isfinite(x)
    sums = np.concatenate([[0], np.cumsum(np.where(there, x, 0))])
    counts = np.concatenate([[0], np.cumsum(there)])
    result = []
    for m in factors or [2**i for i in range(len(x).bit_length()) if 3 * 2**i <= len(x)]:
        count = counts[m:] - counts[:-m]
        mean = np.where(2 * count >= m, (sums[m:] - sums[:-m]) / np.maximum(count, 1), np.nan)
        second = mean[2 * m:] - 2 * mean[m:-m] + mean[:-2 * m]
        second = second[np.isfinite(second)]
        if len(second):
            tau = m * spacing
            modified = float(np.sqrt(np.mean(second**2) / 2)) / tau
            result.append(Deviation(tau, modified, tau / 3**0.5 * modified, len(second)))
    return result
