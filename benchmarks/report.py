"""Runs the benchmark programs and whole commands, and compares the library with its peers.

report.py BUILD_FOLDER [--json] [--quick] [--only SUBSYSTEM]: every benchmark runs several times, pinned to one core. The
output contains the medians or the shortest times, and their ratios. The rows below define the comparisons.
"""

import argparse
import json
import os
import platform
import pty
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile
import time
import zlib

# Documents from Debian packages, measured if they are installed.
REAL_DOCS = [path for path in ("/usr/share/gir-1.0/Gio-2.0.gir",
                               "/usr/share/mime/packages/freedesktop.org.xml",
                               "/usr/share/doc/HTML/en/katepart/development.docbook")
             if os.path.exists(path)]
LISTS = {
    "{doc}": ["configuration_38K", "records_51200K"] + REAL_DOCS,
    "{small}": ["records_1K", "records_32K", "records_1024K"],
    "{dpi}": ["203 dpi", "300 dpi", "600 dpi"],
    "{kind}": ["text", "label", "photo"],
    "{walked}": ["configuration_38K", "records_1K", "records_32K", "records_1024K",
                 "records_51200K"] + REAL_DOCS[:1],
    "{edit}": ["set_attribute", "set_data", "append", "insert_first", "remove"],
    "{count}": ["20000", "40000"],
}

# With these settings the heap returns no memory to the system, so all of it has been touched before.
WARM_HEAP = {"GLIBC_TUNABLES": "glibc.malloc.trim_threshold=4294967296:"
                               "glibc.malloc.mmap_threshold=4294967296"}
# Program, environment, a pattern of its benchmarks, the number of repetitions and what represents them. The XML
# benchmarks use much memory, so that other work on the machine disturbs a median.
MEDIAN_OF_7 = (7, statistics.median)
RUNS = {"xml": ({}, ".", 25, min), "xml, warm": (WARM_HEAP, "^(SetDoc|pugixml_wide)/", 25, min),
        "xml_tasks": ({}, ".", 15, min), "config": ({}, ".", *MEDIAN_OF_7),
        "config, warm": (WARM_HEAP, "^Load(Protected|Peers)$", *MEDIAN_OF_7),
        "crypto": ({}, ".", *MEDIAN_OF_7), "devmode": ({}, ".", *MEDIAN_OF_7),
        "logging": ({}, ".", *MEDIAN_OF_7), "pages": ({}, ".", *MEDIAN_OF_7),
        "pages, sse41": ({"ORV_CPU": "sse41"}, "^OneBit/", *MEDIAN_OF_7),
        "pages, plain": ({"ORV_CPU": "plain"}, "^OneBit/", 3, statistics.median),
        "pages, warm": (WARM_HEAP, "^(OneBit|Split)/", *MEDIAN_OF_7)}


class Bytes(float):
    """A figure in bytes instead of seconds, from the counter "bytes" of a benchmark."""


class Count(float):
    """A number, from the counter "faults", or a number of bytes per pixel or of pages."""


# The peers in the names of benchmarks. They are not ours: a build may lack them, and some refuse some documents.
FOREIGN = ("pugixml", "rapidxml", "expat", "libxml2", "LoadPeers", "ParseAndWalkPeer", "Leptonica")

UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1, "faults": 1, "bytes": 1, "pages": 1}

# A goal is the maximum for the library: a ratio to the peer's time, or a time. A name in braces stands
# for every value of its list above.
ROWS = [
    # run, what, ours, peer, peer's name, goal
    ("xml", "SetDoc {doc}", "SetDoc/{doc}", "pugixml_wide/{doc}", "pugixml, wchar_t", 0.6),
    ("xml", "SetDoc {small}", "SetDoc/{small}", "pugixml_wide/{small}", "pugixml, wchar_t", 0.6),
    ("xml", "SetDoc {doc}", "SetDoc/{doc}", "pugixml/{doc}", "pugixml, char", None),
    ("xml", "SetDoc {doc}", "SetDoc/{doc}", "rapidxml/{doc}", "RapidXML", None),
    ("xml", "SetDoc {doc}", "SetDoc/{doc}", "expat/{doc}", "expat", None),
    ("xml", "SetDoc {doc}", "SetDoc/{doc}", "libxml2/{doc}", "libxml2", None),
    ("xml, warm", "SetDoc {doc}, warm heap", "SetDoc/{doc}", "pugixml_wide/{doc}",
     "pugixml, wchar_t", None),
    ("xml", "SetDoc and walk {walked}", "walk/{walked}", "walk_pugixml_wide/{walked}",
     "pugixml, wchar_t", 0.9),
    ("xml", "SetDoc and read all properties", "properties/configuration_38K",
     "properties_pugixml_wide/configuration_38K", "pugixml, wchar_t", 0.6),
    ("xml_tasks", "10,000 edits: {edit}", "{edit}/10000", "{edit}_pugixml_wide/10000",
     "pugixml, wchar_t", 2),
    ("xml", "heap above the text, {doc}", "heap/{doc}", "heap_pugixml_wide/{doc}",
     "pugixml, wchar_t", 0.8),
    ("xml_tasks", "first element with a name, 200 MB in parts", "parts_named/200/iterations:1",
     "parts_named_expat/200/iterations:1", "expat", 1),
    ("xml_tasks", "all elements, 200 MB in parts", "parts_all/200/iterations:1",
     "parts_all_expat/200/iterations:1", "expat", 1),
    ("xml_tasks", "{count} edits: {edit}", "{edit}/{count}", "{edit}/10000", "10,000 edits", None),
    ("xml_tasks", "{count} elements without an end tag, in parts",
     "parts_unended/{count}/iterations:1", "parts_unended/10000/iterations:1", "10,000", None),
    ("xml_tasks", "GetPath at depth 100,000", "PathAtDepth/100000", "PathAtDepth/10000",
     "depth 10,000", None),
    ("xml_tasks", "GetPath at depth 1,000,000", "PathAtDepth/1000000", "PathAtDepth/10000",
     "depth 10,000", None),
    ("xml_tasks", "memory peak, 100 MB in parts", "peak_records/100/iterations:1",
     "peak_records/50/iterations:1", "50 MB", 1.25),
    ("xml_tasks", "memory peak, 200 MB in parts", "peak_records/200/iterations:1",
     "peak_records/50/iterations:1", "50 MB", 1.25),
    ("xml_tasks", "memory peak, comment of 20 MB in parts", "peak_comment/20/iterations:1",
     "peak_comment/10/iterations:1", "10 MB", 1.25),
    ("xml_tasks", "memory peak, comment of 40 MB in parts", "peak_comment/40/iterations:1",
     "peak_comment/10/iterations:1", "10 MB", 1.25),
    ("xml", "append an element to a million", "AppendElement/1000000/iterations:100000",
     "AppendElement/1000/iterations:100000", "to a thousand", 1.5),
    ("config", "parse a configuration into its record", "ParseIntoConfig", "ParseAndWalkPeer",
     "pugixml, wchar_t, parse and walk", 1),
    ("config", "cold Load of a protected file", "LoadProtected", None, None, "300 us"),
    ("config", "cold Load of a protected file", "LoadProtected", "LoadPeers",
     "EVP decrypt and digest, pugixml walk, no file", 1.3),
    ("config, warm", "cold Load of a protected file, warm heap", "LoadProtected", "LoadPeers",
     "EVP decrypt and digest, pugixml walk, no file", 1.3),
    ("config", "cached Load", "LoadCached/threads:1", None, None, "100 ns"),
    ("crypto", "AES-256-CBC encrypt, 1 MB", "EncryptOurs/1048576", "EncryptBare/1048576",
     "OpenSSL EVP", 1 / 0.9),
    ("crypto", "AES-256-CBC decrypt, 1 MB", "DecryptOurs/1048576", "DecryptBare/1048576",
     "OpenSSL EVP", 1 / 0.9),
    ("crypto", "SHA-256, 1 MB", "DigestOurs/1048576", "DigestBare/1048576", "OpenSSL EVP", 1 / 0.9),
    ("devmode", "validation alone", "BM_NothingToCorrect", None, None, "1 us"),
    ("devmode", "merge through the entry point, no stock items", "BM_EntryPointMerge/items:0", None,
     None, "10 us"),
    ("devmode", "merge through the entry point, 50 stock items", "BM_EntryPointMerge/items:50", None,
     None, "30 us"),
    ("devmode", "merge through the entry point, 500 stock items", "BM_EntryPointMerge/items:500",
     None, None, "250 us"),
    ("devmode", "merge through the entry point, 5 stock items", "BM_EntryPointMerge/items:5",
     "BM_SelectItems/items:5", "prepared SQLite select of the items", 1 / 3),
    ("devmode", "merge through the entry point, 50 stock items", "BM_EntryPointMerge/items:50",
     "BM_SelectItems/items:50", "prepared SQLite select of the items", 1 / 8),
    ("devmode", "merge through the entry point, 500 stock items", "BM_EntryPointMerge/items:500",
     "BM_SelectItems/items:500", "prepared SQLite select of the items", 1 / 8),
    ("devmode", "merge through the entry point, 10,000 stock items",
     "BM_EntryPointMerge/items:10000", "BM_EntryPointMerge/items:500", "500 stock items", 20),
    ("devmode", "merge after another process's write, 500 stock items", "BM_MergeAfterForeignWrite",
     None, None, "1 ms"),
    ("devmode", "cached Load by printer handle", "BM_CachedConfiguration", None, None, "1.5 us"),
    ("devmode", "import of 1,000 stock items, in memory", "BM_ImportItems", None, None, "0.3 s"),
    ("devmode", "longest merge during another process's import of 300 stock items, mean of 20 imports",
     "BM_LongestMergeDuringAnImport/iterations:20/manual_time", None, None, "2 s"),
    ("devmode", "merge, everything corrected, log output discarded",
     "BM_EverythingCorrectedAndLoggedToNowhere", None, None, "20 us"),
    ("logging", "suppressed log call", "Logging/SuppressedCall", None, None, "2 ns"),
    ("logging", "written line", "Logging/WrittenLine", "BareOpenAppendClose",
     "bare open, append, close", 1.2),
    ("logging", "written line", "Logging/WrittenLine", "BareExclusiveAppend",
     "the same, with an exclusive lock", 1.2),
    ("pages", "to one bit, {kind}, {dpi}, AVX2, a pixel", "OneBit/{kind}/{dpi}", None, None, "1 ns"),
    ("pages", "to one bit, {kind}, {dpi}, AVX2", "OneBit/{kind}/{dpi}", "pages, plain: OneBit/{kind}/{dpi}",
     "plain loops", 1 / 8),
    ("pages", "to one bit, {kind}, {dpi}, AVX2", "OneBit/{kind}/{dpi}", "LeptonicaOneBit/{kind}/{dpi}",
     "Leptonica", 1 / 8),
    ("pages, sse41", "to one bit, {kind}, {dpi}, SSE4.1", "OneBit/{kind}/{dpi}",
     "pages: LeptonicaOneBit/{kind}/{dpi}", "Leptonica", 1 / 5),
    ("pages, warm", "to one bit, {kind}, {dpi}, AVX2, a pixel, warm heap", "OneBit/{kind}/{dpi}",
     "pages: OneBit/{kind}/{dpi}", "default heap", "1 ns"),
    ("pages", "split, label, {dpi}, a pixel", "Split/label/{dpi}", "SplitStepByStep/label/300 dpi/iterations:1",
     "plain steps", 1 / 25),
    ("pages", "split, photo, {dpi}, a pixel", "Split/photo/{dpi}", "SplitStepByStep/photo/300 dpi/iterations:1",
     "plain steps", 1 / 120),
    ("pages, warm", "split, label, {dpi}, a pixel, warm heap", "Split/label/{dpi}",
     "pages: Split/label/{dpi}", "default heap", "2 ns"),
    ("pages, warm", "split, photo, {dpi}, a pixel, warm heap", "Split/photo/{dpi}",
     "pages: Split/photo/{dpi}", "default heap", "3.5 ns"),
    ("pages", "split, label, {dpi}, a pixel", "Split/label/{dpi}", None, None, "2 ns"),
    ("pages", "split, photo, {dpi}, a pixel", "Split/photo/{dpi}", None, None, "3.5 ns"),
    ("pages", "page faults of ten pages, to one bit, {dpi}", "faults_OneBit/photo/{dpi}/iterations:1",
     None, None, "0 faults"),
    ("pages", "page faults of ten pages, split, {dpi}", "faults_Split/photo/{dpi}/iterations:1",
     None, None, "0 faults"),
]


def expanded(rows):
    """Expands each row for every value of the lists it names."""
    for row in rows:
        variants = [row]
        for name, values in LISTS.items():
            variants = [
                tuple(field.replace(name, value) if isinstance(field, str) else field for field in r)
                for r in variants
                for value in (values if any(name in f for f in r if isinstance(f, str)) else [""])
            ]
        yield from variants


def pinned(command):
    return ["taskset", "-c", str(max(os.sched_getaffinity(0)))] + command


def figure(benchmark):
    if "bytes" in benchmark:
        return Bytes(benchmark["bytes"])
    if "faults" in benchmark:
        return Count(benchmark["faults"])
    if "pixel" in benchmark:
        return benchmark["pixel"]
    # A benchmark that sets its own times has them as real time.
    time_name = "real_time" if benchmark["run_name"].endswith("/manual_time") else "cpu_time"
    return UNITS[benchmark["time_unit"]] * benchmark[time_name]


def run_benchmarks(program, run, quick, documents):
    """Returns the time of every selected benchmark of a program, in seconds."""
    environment, chosen, repetitions, represent = run
    command = pinned([program, *documents, "--benchmark_filter=" + chosen, "--benchmark_format=json",
                      "--benchmark_enable_random_interleaving=true"])
    # Together, the repetitions of a benchmark take at least 0.7 s.
    command += (["--benchmark_repetitions=2", "--benchmark_min_time=0.01"] if quick else
                [f"--benchmark_repetitions={repetitions}", f"--benchmark_min_time={0.7 / repetitions}"])
    found = json.loads(subprocess.run(command, check=True, capture_output=True, text=True,
                                      env={**os.environ, **environment}).stdout)
    figures = {}
    for b in found["benchmarks"]:
        if b["run_type"] == "iteration" and not b.get("error_occurred"):
            figures.setdefault(b["run_name"], []).append(figure(b))
    return {name: type(values[0])(represent(values)) for name, values in figures.items()}


def run_command(command, repetitions):
    """Returns the median time of a whole command in seconds, or None if it is not installed or fails."""
    if shutil.which(command[0]) is None:
        print(f"skipped because it is not installed: {command[0]}", file=sys.stderr)
        return None
    times = []
    for _ in range(repetitions):
        start = time.perf_counter()
        if subprocess.run(pinned(command), stdout=subprocess.DEVNULL).returncode != 0:
            print(f"skipped because it failed: {' '.join(command)}", file=sys.stderr)
            return None
        times.append(time.perf_counter() - start)
    return statistics.median(times)


def run_own(command, repetitions):
    """Returns the median time of a command of this build, which has to work."""
    median = run_command(command, repetitions)
    if median is None:
        sys.exit(f"report.py: {command[0]} does not work")
    return median


def peak_bytes(command):
    """Returns the largest memory of a command in bytes. A small program starts it: a process begins with the
    memory of the one that started it."""
    if shutil.which("/usr/bin/time") is None:
        print("skipped because it is not installed: time", file=sys.stderr)
        return None
    report = subprocess.run(["/usr/bin/time", "-f", "%M", *command], check=True, capture_output=True, text=True).stderr
    return 1024 * int(report.split()[-1])


def time_to_progress(command):
    """Returns after how many seconds a command shows its progress on a terminal, and its whole time."""
    terminal, other = pty.openpty()
    start = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=other)
    os.close(other)
    first = None
    try:
        while text := os.read(terminal, 4096):
            if first is None and b"..." in text:
                first = time.perf_counter() - start
    except OSError:
        pass  # the end of the output
    if process.wait() != 0:
        sys.exit(f"report.py: {command} does not work")
    return first, time.perf_counter() - start


def write_large_page(path, side):
    """Writes a page of `side` x `side` pixels, a photo-like pattern with white around it, row by row."""
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))

    tile = bytes((x * y >> 6) & 0xFF for y in range(64) for x in range(768))
    packer = zlib.compressobj(1)
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">2I5B", side, side, 8, 2, 0, 0, 0)))
        for y in range(side):
            row = b"\xff" * (3 * side)
            if side // 8 < y < side - side // 8:
                line = tile[768 * (y % 64):768 * (y % 64) + 768]
                row = (b"\xff" * (3 * side // 8) + line * (side * 3 // 768))[:3 * side]
            data = packer.compress(b"\0" + row)
            if data:
                file.write(chunk(b"IDAT", data))
        file.write(chunk(b"IDAT", packer.flush()) + chunk(b"IEND", b""))


def page_commands(build, quick):
    """Measures whole programs on a page of 2400 x 3600, including process start and files."""
    repetitions = 1 if quick else 7
    pixels = 2400 * 3600
    sample = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "examples", "label_page.png")
    orv = os.path.join(build, "tools/orv/orv")
    if shutil.which("convert") is None:
        print("skipped because it is not installed: convert (ImageMagick), which also makes the page", file=sys.stderr)
        return
    with tempfile.TemporaryDirectory() as folder:
        page, black, red = (os.path.join(folder, name) for name in ("page.png", "black.png", "red.png"))
        subprocess.run(["convert", sample, "-resize", "2400x3600!", "PNG24:" + page], check=True)
        split_command = [orv, "page", "split", page, "--colour", "E02020", "--background", black,
                         "--highlight", red, "--force"]
        dither_command = [orv, "page", "dither", page, "--method", "floyd-steinberg", "-o", black, "--force"]

        def files_of(*written):
            """The time of reading the page and writing what a command has written."""
            for path in written:
                subprocess.run(["convert", path, "-fill", "black", "+opaque", "white", path + ".pbm"], check=True)
            return run_own([os.path.join(build, "benchmarks/png_files"), page, *(path + ".pbm" for path in written)],
                           repetitions)

        # The same task in ImageMagick: the areas near a colour, both planes dithered. All programs write
        # one-bit images at the fastest level.
        plane = ["-define", "png:compression-level=1", "-colorspace", "gray", "-dither", "FloydSteinberg", "-monochrome"]
        near = ["-fuzz", "30%", "-fill", "white"]
        split = run_own(split_command, repetitions)
        yield ("orv page split, whole process", split, "reading and writing the files", files_of(black, red), 1.15)
        yield ("orv page split, whole process", split, "ImageMagick", run_command(
            ["convert", page, "(", "-clone", "0", *near, "+opaque", "#E02020", *plane, "-write", red,
             "+delete", ")", *near, "-opaque", "#E02020", *plane, black], repetitions), 1 / 20)
        dither = run_own(dither_command, repetitions)
        yield ("orv page dither, whole process", dither, "reading and writing the files", files_of(black), 1.15)
        yield ("orv page dither, whole process", dither, "ImageMagick",
               run_command(["convert", page, *plane, black], repetitions), 1 / 20)
        yield ("orv page dither, whole process", dither, "Pillow", run_command(
            ["/usr/bin/python3", "-c", "import sys; from PIL import Image; "
             "Image.open(sys.argv[1]).convert('L').convert('1').save(sys.argv[2], compress_level=1)", page, black],
            repetitions), None)
        yield ("orv page dither, whole process", dither, "Netpbm", run_command(
            ["bash", "-c", 'set -o pipefail; pngtopnm "$1" | ppmtopgm | pamditherbw -floyd | pamtopnm | '
             'pnmtopng -compression=1 >"$2"', "bash", page, black], repetitions), None)
        own = peak_bytes([orv, "--version"])
        for name, command, goal in (("dither", dither_command, "4 bytes"), ("split", split_command, "5 bytes")):
            peak = peak_bytes(command)
            yield (f"orv page {name}, memory peak above orv --version, bytes a pixel",
                   peak and Count((peak - own) / pixels), None, None, goal)
        if quick:
            return
        side = 20000
        write_large_page(page, side)
        for name, command in (("dither", dither_command), ("split", split_command)):
            what = f"orv page {name}, {side:,} x {side:,} pixels"
            first, whole = time_to_progress(pinned(command))
            yield (f"{what}, progress", first, None, None, "1.3 s")
            yield (f"{what}, a pixel", whole / side ** 2, "2400 x 3600",
                   (dither if name == "dither" else split) / pixels, 1.1)
            peak = peak_bytes(command)
            yield (f"{what}, memory peak, pages", peak and Count(peak / (3 * side ** 2)), None, None, "2 pages")


def start_commands(build, quick):
    """Measures the start of the program and of an empty one, in turn."""
    programs = [os.path.join(build, program) for program in ("tools/orv/orv", "benchmarks/empty")]
    rounds = [[run_own([program, "--version"], 1) for program in programs] for _ in range(5 if quick else 200)]
    orv, empty = (statistics.median(times) for times in zip(*rounds))
    yield ("orv --version, whole process", orv, "empty C++ program", empty, None)
    yield ("orv --version, above the empty program", max(0.0, orv - empty), None, None, "2 ms")


COMMANDS = {"pages": page_commands, "start": start_commands}


def shown(seconds):
    if seconds is None:
        return "-"
    if isinstance(seconds, Bytes):
        return f"{seconds / 1024:,.0f} KB"
    if isinstance(seconds, Count):
        return f"{seconds:.3g}"
    for factor, unit in ((1, "s"), (1e3, "ms"), (1e6, "us")):
        if seconds * factor >= 1:
            return f"{seconds * factor:.3g} {unit}"
    return f"{seconds * 1e9:.3g} ns"


def in_seconds(text):
    number, unit = text.split()
    return float(number) * UNITS[unit]


def result(what, ours, name, peer, goal):
    """Returns one line of the report; `goal` is a ratio, a time, or None."""
    ratio = ours / peer if ours is not None and peer else None
    met = None
    if isinstance(goal, str):
        met = ours is not None and ours <= in_seconds(goal)
    elif goal is not None and ratio is not None:
        met = ratio <= goal
    unit = {Bytes: "bytes", Count: "count"}.get(type(ours), "s")
    return {"work": what, "unit": unit, "ours": ours, "peer": name, "peer_time": peer, "ratio": ratio,
            "goal": goal if isinstance(goal, str) or goal is None else round(goal, 4), "met": met}


def machine():
    model = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo", encoding="ascii")
                  if line.startswith("model name")), platform.processor())
    compiler = subprocess.run(["c++", "--version"], capture_output=True, text=True).stdout.split("\n")[0]
    return {"processor": model, "compiler": compiler, "flags": "-O2 -ffp-contract=off; pugixml, wchar_t: -O3",
            "allocator": "the C library's, default settings", "load": os.getloadavg()[0]}


def print_table(report):
    for key, value in report["machine"].items():
        print(f"{key}: {value}")
    print()
    print("| work | ours | peer | its time | ours / peer | goal | met |")
    print("|---|---|---|---|---|---|---|")
    for r in report["results"]:
        goal = "" if r["goal"] is None else r["goal"] if isinstance(r["goal"], str) else f"{r['goal']:.3g}"
        print("|", " | ".join([r["work"], shown(r["ours"]), r["peer"] or "", shown(r["peer_time"]),
                               "" if r["ratio"] is None else f"{r['ratio']:.3g}", goal,
                               {None: "", True: "yes", False: "NO"}[r["met"]]]), "|")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("build")
    parser.add_argument("--json", action="store_true")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--only", metavar="SUBSYSTEM", help="only the programs that begin so, as in xml")
    parser.add_argument("--check", action="store_true", help="only check the arguments")
    options = parser.parse_args()
    chosen_runs = {run: how for run, how in RUNS.items() if run.startswith(options.only or "")}
    chosen_commands = {name: run for name, run in COMMANDS.items() if name.startswith(options.only or "")}
    if not chosen_runs and not chosen_commands:
        programs = sorted({run.split(",")[0] for run in RUNS} | set(COMMANDS))
        parser.error(f"unknown subsystem '{options.only}'; choose one of {', '.join(programs)}")
    if options.check:
        return

    times = {}
    for run, how in chosen_runs.items():
        print(f"running {run} ...", file=sys.stderr)
        program = run.split(",")[0]
        path = os.path.join(options.build, "benchmarks", program + "_bench")
        times[run] = run_benchmarks(path, how, options.quick, REAL_DOCS if program == "xml" else [])
    results = []
    failed = []
    for run, what, ours, peer, name, goal in expanded(ROWS):
        # "run: benchmark" is a peer from another run.
        peer_run, peer = peer.split(": ") if peer is not None and ": " in peer else (run, peer)
        if run not in times:
            continue
        if ours not in times[run]:
            failed.append(f"{run}: {ours}")
            continue
        if peer is not None and peer not in times.get(peer_run, {}):
            if peer_run in times and not any(foreign in peer for foreign in FOREIGN):
                failed.append(f"{peer_run}: {peer}")
            else:
                print(f"left out: {what} (no {name})", file=sys.stderr)
            continue
        results.append(result(what, times[run][ours], name, times[peer_run].get(peer), goal))
    for command, rows in chosen_commands.items():
        print(f"running whole commands: {command} ...", file=sys.stderr)
        for what, ours, name, peer, goal in rows(options.build, options.quick):
            results.append(result(what, ours, name, peer, goal))

    report = {"machine": machine(), "results": results, "all": times}
    with open(os.path.join(options.build, "report.json"), "w", encoding="ascii") as file:
        json.dump(report, file, indent=1)
    if options.json:
        print(json.dumps(report, indent=1))
    else:
        print_table(report)
    if failed:
        sys.exit("report.py: failed or missing: " + ", ".join(sorted(set(failed))))


main()
