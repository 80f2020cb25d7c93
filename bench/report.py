#!/usr/bin/env python3
"""Makes the speed table from the JSON results of the bench programs: report.py REPORT.md COMPILER RESULT.json..."""
import collections
import json
import platform
import statistics
import sys

# How a row is judged, from the medians of ours and of the fastest peer.
FASTER, SHARE, EXCESS = "times as fast", "of its time", "ns more"
JUDGES = {
    FASTER: (lambda ours, peer: peer / ours, lambda value, wanted: value >= wanted, "at least"),
    SHARE: (lambda ours, peer: ours / peer, lambda value, wanted: value <= wanted, "at most"),
    EXCESS: (lambda ours, peer: ours - peer, lambda value, wanted: value <= wanted, "at most"),
}

# Subject, measurement of ours, measurement beside it and its peers, what is wanted (None: shown for comparison).
ROWS = [
    ("16 values, struct in, bytes out", "pack", "", "pack", ["protobuf", "FlatBuffers", "msgpack-cxx"], FASTER, 3),
    ("16 values, bytes in, struct out", "unpack", "", "unpack", ["FlatBuffers"], FASTER, 1.8),
    ("out with type tags beside without", "pack_tagged", "", "pack", ["ours"], SHARE, 2.5),
    ("in with type tags beside without", "unpack_tagged", "", "unpack", ["ours"], SHARE, 2.5),
    ("MD5 of 64 bytes", "md5", "64", "md5", ["OpenSSL"], FASTER, 1),
    ("MD5 of 1 KB", "md5", "1024", "md5", ["OpenSSL"], FASTER, 1),
    ("MD5 of 1 MB", "md5", "1048576", "md5", ["OpenSSL"], FASTER, 1),
    ("a shut gate", "gate", "", "gate", ["empty loop"], EXCESS, 1),
    ("log line, flushed, 1 thread", "log_flushed", "threads:1", "log_flushed", ["spdlog"], SHARE, 0.85),
    ("log line, flushed, 4 threads", "log_flushed", "threads:4", "log_flushed", ["spdlog"], SHARE, 0.7),
    ("log line, not flushed, 1 thread", "log_buffered", "threads:1", "log_buffered", ["spdlog"], SHARE, 0.5),
    ("log line, not flushed, 4 threads", "log_buffered", "threads:4", "log_buffered", ["spdlog"], SHARE, 0.5),
    ("FIFO, 64 bytes in and out", "fifo", "64", "fifo", ["libevent"], FASTER, 3),
    ("FIFO, 64 KB in and out", "fifo", "65536", "fifo", ["libevent"], FASTER, 1),
    ("CallFunction, 1,000 descriptors", "rpc", "", "rpc", ["by hand"], SHARE, 0.5),
    ("TCP, bodies of 32 bytes", "stream", "32", "stream", ["bare epoll"], FASTER, 0.7),
    ("TCP, bodies of 256 bytes", "stream", "256", "stream", ["bare epoll"], FASTER, 0.9),
    ("TCP, bodies of 4 KB", "stream", "4096", "stream", ["bare epoll"], FASTER, 0.9),
    ("TCP, bodies of 64 KB", "stream", "65536", "stream", ["bare epoll"], FASTER, 0.9),
    ("TCP, bodies of 32 bytes", "stream", "32", "stream", ["libuv"], FASTER, None),
    ("TCP, bodies of 256 bytes", "stream", "256", "stream", ["libuv"], FASTER, None),
    ("TCP, bodies of 4 KB", "stream", "4096", "stream", ["libuv"], FASTER, None),
    ("TCP, bodies of 64 KB", "stream", "65536", "stream", ["libuv"], FASTER, None),
    ("round trip of 32 bytes, polling", "trip", "", "trip", ["bare polling"], SHARE, 1.15),
    ("UDP, bodies of 32 bytes, 1,024 a packet", "datagram", "", "datagram", ["bare sockets"], FASTER, 0.85),
    ("UDP, bodies of 32 bytes, 1,024 a packet", "datagram", "", "datagram", ["ENet"], FASTER, 1.5),
    ("10,000 connections, 1 % speak: a frame", "idle", "", "idle", ["bare epoll"], SHARE, 1.5),
    ("10,000 connections, 1 % speak: a frame", "idle", "", "idle", ["libuv"], SHARE, None),
]
SIZES = [("64", "64 bytes", 1), ("4096", "4 KB", None), ("1048576", "1 MB", 5)]
CODECS = [("64", ["OpenSSL"]), ("32", ["APR"]), ("16", ["APR", "nettle"])]
for base, peers in CODECS:
    for size, words, wanted in SIZES:
        ROWS.append((f"Base{base} of {words}", f"base{base}_out", size, f"base{base}_out", peers, FASTER, wanted))
        ROWS.append((f"{words} from Base{base}", f"base{base}_in", size, f"base{base}_in", peers, FASTER, wanted))
IDLE_LIMIT_KB = 6


def read_results(files):
    """What the programs wrote; one that had nothing to measure wrote nothing."""
    texts = []
    for name in files:
        with open(name, encoding="utf-8") as file:
            texts.append(file.read())
    return [json.loads(text) for text in texts if text.strip()]


def summarise(results):
    """Medians in nanoseconds by (measurement, who, variant), errors by the same, resident bytes of an idle connection, runs."""
    times, errors, resident = collections.defaultdict(list), {}, []
    for run in (run for result in results for run in result["benchmarks"] if run["run_type"] == "iteration"):
        parts = run["name"].split("/")
        variant = [part for part in parts[2:] if part.isdigit() or part.startswith("threads:")]
        key = (parts[0], parts[1], "".join(variant))
        if run.get("error_occurred"):
            errors[key] = run["error_message"]
            continue
        # Where other threads or processes take part the clock on the wall counts, else the processor's.
        wall = "real_time" in parts or "manual_time" in parts
        times[key].append(run["real_time" if wall else "cpu_time"])
        if key[:2] == ("idle", "ours"):
            resident.append(run["resident"])
    runs = max(map(len, times.values()), default=0)
    return {key: statistics.median(values) for key, values in times.items()}, errors, resident, runs


def show_time(nanoseconds):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size * 10:
            return f"{nanoseconds / size:.1f} {unit}"
    return f"{nanoseconds:.1f} ns"


def verdict(good):
    return "pass" if good else "**miss**"


def compare(row, medians):
    subject, ours, variant, beside, peers, kind, wanted = row
    mine = medians[ours, "ours", variant]
    theirs, peer = min((medians[beside, name, variant], name) for name in peers if (beside, name, variant) in medians)
    ratio, judge, word = JUDGES[kind]
    value = ratio(mine, theirs)
    goal = ("", "") if wanted is None else (f"{word} {wanted}", verdict(judge(value, wanted)))
    return (subject, show_time(mine), f"{peer} {show_time(theirs)}", f"{value:.2f} {kind}", *goal)


def make_table(medians, errors, resident):
    table = []
    for row in ROWS:
        key = (row[1], "ours", row[2])
        if key in errors:
            table.append((row[0], errors[key], "", "", "", verdict(False)))
        elif key in medians and any((row[3], peer, row[2]) in medians for peer in row[4]):
            table.append(compare(row, medians))
    if resident:
        size = max(resident) / 1024
        table.append(("memory of an idle connection", f"{size:.1f} KB", "", "", f"at most {IDLE_LIMIT_KB} KB",
                      verdict(size <= IDLE_LIMIT_KB)))
    return [("row", "ours", "beside", "ratio", "wanted", "result")] + table


def main():
    report, compiler, files = sys.argv[1], sys.argv[2], sys.argv[3:]
    results = read_results(files)
    if not results:
        sys.exit("report: no measurement has such a name")
    context = results[0]["context"]
    *summary, runs = summarise(results)
    table = make_table(*summary)
    widths = [max(len(line[column]) for line in table) for column in range(len(table[0]))]
    lines = ["| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |" for line in table]
    lines.insert(1, "|" + "|".join("-" * (width + 2) for width in widths) + "|")
    machine = f"{processor_name()}, {context['num_cpus']} processors, {platform.system()} {platform.release()}"
    missed = sum(line[-1] == verdict(False) for line in table)
    text = "\n".join([f"# Speed, {context['date'][:10]}", "", f"{machine}; {compiler}. Medians of {runs} runs.", "", *lines, "",
                      f"{len(table) - 1} rows, {missed} missed."])
    with open(report, "w", encoding="utf-8") as file:
        file.write(text + "\n")
    print(text)


def processor_name():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = [line.split(":", 1)[1].strip() for line in file if line.startswith("model name")]
    return names[0] if names else platform.machine()


main()
