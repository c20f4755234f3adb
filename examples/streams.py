#!/usr/bin/env python3
"""streams: a host in Python that needs only the standard library.

Prints a line for each stream of the files given: name, number of samples, samples per second, start
time in seconds, first and last sample found. With --plot it also draws the streams into a picture, which
needs Matplotlib. Samples are NumPy arrays if NumPy is installed.

  plugins=$(pkg-config --variable=plugindir ox-wp-plugin)
  eval "python3 streams.py $plugins/ox_wp_plugin_geo.so recording.mseed"

These commands take an installed plug-in; with eval, a path can have spaces. In a source tree, where nothing
is installed: python3 streams.py ../build/ox_wp_plugin_geo.so recording.mseed

The comments of ox_wp_plugin.h say what each function does.
"""

import argparse
import ctypes
import math
import os
import sys
from ctypes import CFUNCTYPE, POINTER, c_char_p, c_double, c_int, c_int32, c_int64, c_void_p

try:
    import numpy
except ImportError:
    numpy = None

# From ox_wp_plugin.h.
VERSION = 1
TYPE_DOUBLE = 10
PROPERTY_ERROR_MESSAGE = 148
INDEX_VARIABLE_COUNT = 1
INDEX_VARIABLE_NAME, INDEX_VARIABLE_DATA_TYPE, INDEX_SAMPLE_COUNT = 0, 2, 3
INDEX_X_START, INDEX_X_STEP = 6, 7


class Property(ctypes.Structure):
    """_ox_wp_prop_type"""

    _fields_ = [
        ("identifier", c_int32),
        ("reserved_4", c_int32),
        ("label", c_char_p),
        ("type", c_int32),
        ("reserved_20", c_int32),
        ("string_value", c_char_p),
        ("double_value", c_double),
        ("reserved_40", c_int64),
        ("integer_value", c_int64),
    ]


class Functions(ctypes.Structure):
    """_ox_wp_plugin_functions_type"""

    _fields_ = [
        ("version", c_int32),
        ("reserved_4", c_int32),
        ("plugin", c_void_p),
        ("get_plugin_property", CFUNCTYPE(c_int, c_void_p, c_int, POINTER(Property))),
        ("release", CFUNCTYPE(None, c_void_p)),
        ("get_error_message", CFUNCTYPE(c_char_p, c_void_p)),
        ("parse_file", CFUNCTYPE(c_void_p, c_void_p, c_char_p)),
        ("reserved_48", c_void_p),
        ("release_file", CFUNCTYPE(c_int, c_void_p, c_void_p)),
        ("release_all_files", CFUNCTYPE(c_int, c_void_p)),
        ("get_file_property", CFUNCTYPE(c_int, c_void_p, c_void_p, c_int, POINTER(Property))),
        ("get_section_handle", CFUNCTYPE(c_void_p, c_void_p, c_void_p, c_int)),
        ("get_section_property",
         CFUNCTYPE(c_int, c_void_p, c_void_p, c_void_p, c_int, POINTER(Property))),
        ("reserved_96", c_void_p),
        ("get_variable_property",
         CFUNCTYPE(c_int, c_void_p, c_void_p, c_void_p, c_int, c_int, POINTER(Property))),
        ("copy_variable_data",
         CFUNCTYPE(c_int, c_void_p, c_void_p, c_void_p, c_int, c_int, c_void_p, c_int)),
        ("reserved_120", c_void_p * 17),
    ]


assert ctypes.sizeof(Property) == 56 and ctypes.sizeof(Functions) == 256


class Stream:
    """One variable of a file, with its samples."""

    def __init__(self, table, file, section, variable):
        def read(index):
            record = Property()
            table.get_variable_property(
                table.plugin, file, section, variable, index, ctypes.byref(record))
            return record

        name = read(INDEX_VARIABLE_NAME).string_value or b""
        # Names are bytes of the file: keep control characters away from the terminal.
        self.name = "".join(c if c.isprintable() else "?" for c in name.decode("latin-1"))
        self.count = read(INDEX_SAMPLE_COUNT).integer_value
        self.start = read(INDEX_X_START).double_value
        self.step = read(INDEX_X_STEP).double_value
        self.samples = []
        self.problem = None
        if self.count > 0 and read(INDEX_VARIABLE_DATA_TYPE).integer_value == TYPE_DOUBLE:
            self.samples, status = copy_samples(table, file, section, variable, self.count)
            if status != 0:
                self.problem = f"{self.name}: not all samples can be read." + reason(table)


def copy_samples(table, file, section, variable, count):
    """Copies at most 2 GiB, the most that one copy delivers.

    Returns the samples and the status. Samples come one after the other: gaps in time are not
    filled. A copy can find fewer than the file declares. The end of the array then stays NaN, and
    the status is 1.
    """
    count = min(count, 0x7FFFFFFF // ctypes.sizeof(c_double))
    buffer = (c_double * count)()
    ctypes.memset(buffer, 0xFF, ctypes.sizeof(buffer))  # a double of such bytes is a NaN
    status = table.copy_variable_data(
        table.plugin, file, section, variable, TYPE_DOUBLE, buffer, ctypes.sizeof(buffer))
    return numpy.frombuffer(buffer) if numpy else buffer, status


def reason(table):
    """Returns why the call before failed: its error string, then the queued messages.

    Reading past the last message clears the queue.
    """
    reasons = [table.get_error_message(table.plugin)]
    record = Property(identifier=-1)
    index = 0
    while record.identifier != 0:
        table.get_plugin_property(table.plugin, index, ctypes.byref(record))
        if record.identifier == PROPERTY_ERROR_MESSAGE:
            reasons.append(record.string_value)
        index += 1
    return "".join(" " + r.decode(errors="replace") for r in reasons)


def streams_of(initialize, path):
    """Returns the streams of a file, and what kept them from being complete.

    Each file has a plug-in object of its own. A plug-in need not release a file in any other way.
    """
    table = Functions(version=VERSION)
    if initialize(ctypes.byref(table)) != 0:
        sys.exit(f"the plug-in refuses version {VERSION}")
    streams = []
    problems = []
    file = table.parse_file(table.plugin, os.fsencode(path))
    if not file:
        problems.append(f"{path}: missing, unreadable, or declined by the plug-in." + reason(table))
    number = 0
    while file and (section := table.get_section_handle(table.plugin, file, number)):
        record = Property()
        table.get_section_property(
            table.plugin, file, section, INDEX_VARIABLE_COUNT, ctypes.byref(record))
        for variable in range(record.integer_value):
            streams.append(Stream(table, file, section, variable))
        number += 1
    table.release(table.plugin)  # the samples are copies and stay
    return streams, problems + [s.problem for s in streams if s.problem]


def plot(streams, picture):
    try:
        import matplotlib
    except ImportError:
        sys.exit("--plot needs Matplotlib, which is not installed")
    matplotlib.use("Agg")
    from matplotlib import pyplot

    figure, all_axes = pyplot.subplots(len(streams), squeeze=False, figsize=(10, 2 * len(streams)))
    for stream, axes in zip(streams, all_axes[:, 0]):
        step = stream.step or 1  # without a known rate, the samples are numbered
        axes.plot([i * step for i in range(len(stream.samples))], stream.samples, linewidth=0.6)
        axes.set_title(stream.name)
        axes.set_xlabel("seconds after the start, without gaps" if stream.step else "sample")
    figure.tight_layout()
    figure.savefig(picture)


def main():
    parser = argparse.ArgumentParser(description="Lists, and draws, what a plug-in delivers.")
    parser.add_argument("plugin", help="a plug-in, by a path with a slash in it")
    parser.add_argument("files", nargs="+", metavar="file")
    parser.add_argument("--plot", metavar="PICTURE", help="draw the streams (needs Matplotlib)")
    options = parser.parse_args()

    try:
        library = ctypes.CDLL(options.plugin)
    except OSError as error:
        sys.exit(str(error))
    status = 0
    drawn = []
    for path in options.files:
        streams, problems = streams_of(library.ox_wp_plugin_initialize, path)
        for s in streams:
            found = len(s.samples)
            while found and math.isnan(s.samples[found - 1]):
                found -= 1
            ends = "%g %g" % (s.samples[0], s.samples[found - 1]) if found else "- -"
            print("%s %d %g %.6f %s" % (s.name, s.count, 1 / s.step if s.step else 0, s.start, ends))
        for problem in problems:
            print(problem, file=sys.stderr)
            status = 1
        drawn += streams
    if options.plot and drawn:
        plot(drawn, options.plot)
    return status


if __name__ == "__main__":
    sys.exit(main())
