#!/usr/bin/env python3
"""Runs the cases of cases.inc in Python, and compares the results of the C interface with the output of the
program: tests/c_api/run.py LIBRARY PROGRAM, in the project's folder. Uses examples/orv.py."""

import json
import os
import re
import struct
import subprocess
import sys
import tempfile
import uuid

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
os.environ["ORV_LIBRARY"], PROGRAM = (os.path.abspath(path) for path in sys.argv[1:])
SCRATCH = tempfile.TemporaryDirectory()
os.environ["ORV_REGISTRY_DIR"] = os.path.join(SCRATCH.name, "settings")
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(TOP, "examples"))
import orv  # noqa: E402

with open(os.path.join(TOP, "include/orv/c_api.h"), encoding="utf-8") as header:
    CODES = {name: int(number) for name, number in
             re.findall(r"^  (ORV_OK|ORV_ERROR_\w+) = (\d+)", header.read(), re.MULTILINE)}


class Operations:
    """The operations of the cases, and what they share."""

    GUID = uuid.UUID(bytes_le=bytes(range(1, 17)))
    FILE = os.path.join(SCRATCH.name, "file")

    def __init__(self):
        self.config, self.record = None, bytearray(orv.RECORD_SIZE)
        self.page = bytearray.fromhex("0000ff000000")

    def load(self, path):
        self.config = orv.Config(path)

    def load_printer(self, name):
        orv.Config(printer=name)

    def open_printer(self, name):
        orv.Printer(name)

    def name(self, index):
        return self.config.name(int(index))

    def text(self, name):
        return self.config.text(name)

    def integer(self, name):
        return str(self.config.integer(name))

    def integers(self, name):
        return " ".join(map(str, self.config.integers(name)))

    def defaults(self, _):
        self.record = bytearray(self.config.default())

    def set(self, text):
        offset, digits = text.split()
        value = bytes.fromhex(digits)
        self.record[int(offset):int(offset) + len(value)] = value

    def validate(self, _):
        record, corrections = self.config.validate(self.record)
        self.record = bytearray(record)
        return corrections

    def convert(self, _):
        self.record = bytearray(orv.convert(self.record))

    def explain(self, field):
        return next(entry["decidedBy"] for entry in self.config.explain(self.record) if entry["field"] == field)

    def merge(self, name):
        with orv.Printer(name) as printer, orv.Log("test") as log:
            printer.merge(self.record, bytes(orv.PUBLIC_RECORD_SIZE), log)

    def add_stock(self, name):
        orv.stock_add(orv.stock_item(self.GUID, name, PaperWidth=50000))

    def find_stock(self, name):
        index = orv.stock_value_names().index("PaperWidth")
        for item in orv.stock_list():
            if item.name == name:
                return str(item.values[index])
        raise orv.Error(CODES["ORV_ERROR_NOT_FOUND"])

    def list_stock(self, printer):
        orv.stock_list(printer)

    def remove_stock(self, _):
        orv.stock_remove(self.GUID)

    def split(self, colour):
        planes = orv.split(self.page, 2, 1, int(colour, 16), 0.01, orv.MATRIX4)
        return " ".join(plane.hex() for plane in planes)

    def one_bit(self, _):
        bits, bounds = orv.one_bit(self.page, 2, 1)
        return " ".join([bits.hex(), *map(str, bounds)])

    def dither(self, method):
        pixels = bytearray(self.page)
        orv.dither(pixels, 2, 1, int(method), colour=0xFF0000)
        return pixels.hex()

    def hash(self, text):
        return orv.digest(text.encode()).hex()

    def hash_file(self, path):
        return orv.digest_of_file(path or self.FILE).hex()

    def cipher(self, text):
        return orv.decrypt(orv.encrypt(text.encode())).decode()

    def decrypt(self, text):
        return orv.decrypt(text.encode()).decode()

    def write_file(self, text):
        with open(self.FILE, "w", encoding="utf-8") as file:
            file.write(text)

    def encrypt_file(self, path):
        orv.encrypt_file(path or self.FILE, path or self.FILE)

    def decrypt_file(self, path):
        orv.decrypt_file(path or self.FILE, path or self.FILE)

    def write_log(self, level):
        with orv.Log("test") as log:
            log.write(int(level), "an entry")

    def error_text(self, code):
        return orv.error_text(int(code))


def run_cases():
    """Yields the name of each case, its result and the expected one."""
    with open(os.path.join(TOP, "tests/c_api/cases.inc"), encoding="utf-8") as file:
        text = file.read()
    cases = re.findall(r'^CASE\((\w+), "(.*?)", (\w+),\s+"(.*?)"\)$', text, re.MULTILINE)
    if len(cases) != len(re.findall(r"^CASE\(", text, re.MULTILINE)):
        sys.exit("c_api: cases.inc has a case that cannot be read")
    operations = Operations()
    for operation, argument, code, output in cases:
        try:
            found = "ORV_OK", getattr(operations, operation)(argument) or ""
        except orv.Error as error:
            name = next(name for name, number in CODES.items() if number == error.code)
            found = name, str(error) if operation in ("load", "load_printer") else ""
        if output.endswith("..."):
            found = found[0], found[1][:len(output) - 3] + "..."
        yield f'{operation}("{argument}")', found, (code, output)


def program(*arguments):
    run = subprocess.run([PROGRAM, *arguments], capture_output=True, encoding="utf-8", check=True)
    return run.stdout


def shown_values(path):
    """The names and values that the program shows, without the units in parentheses."""
    lines = [line.split(maxsplit=1) for line in program("config", "show", path).splitlines()]
    return {line[0]: re.sub(r"^(-?\d[\d, -]*) \(.*\)$", r"\1", line[1]) if len(line) > 1 else ""
            for line in lines}


def application(paper_size):
    """A public record: the fields that `orv devmode` sets for an application."""
    record = bytearray(orv.PUBLIC_RECORD_SIZE)
    struct.pack_into("<4H", record, 64, 0x401, 0, orv.PUBLIC_RECORD_SIZE, orv.RECORD_SIZE)
    struct.pack_into("<6h", record, 76, 1, paper_size, 0, 0, 0, 1)
    return bytes(record)


def compare_with_program():
    """Yields what is compared, the result of the interface and that of the program."""
    folder = os.path.join(TOP, "examples")
    examples = sorted(name for name in os.listdir(folder) if name.startswith("orv_conf_"))
    for example in examples:
        path = os.path.join(folder, example)
        config = orv.Config(path)
        yield f"{example}: values", {name: config.text(name) for name in config.names()}, shown_values(path)
    program("printers", "add", "Label 1", "ORV-LX 300")
    orv.stock_add(orv.stock_item(uuid.UUID(int=7), "Shelf", PaperWidth=50000, PaperLength=30000), "Label 1")
    record_file = os.path.join(SCRATCH.name, "record")
    with orv.Log("test", folder) as log, orv.Printer("Label 1") as printer:
        config = orv.Config(printer="Label 1", log=log)
        record = bytearray(config.default())
        struct.pack_into("<I", record, 1656, 7)  # an invalid Invert
        with open(record_file, "wb") as file:
            file.write(record)
        for paper_size in (256, 257):
            options = ["Label 1", "--record", record_file, "--config-dir", folder, "--width", "0", "--length", "0",
                       "--paper-size", str(paper_size)]
            public = application(paper_size)
            yield (f"explained merge, paper size {paper_size}", printer.explain_merge(record, public, log),
                   json.loads(program("devmode", "explain", "--json", *options)))
            program("devmode", "merge", *options, "--force", "-o", record_file + ".merged")
            with open(record_file + ".merged", "rb") as file:
                yield f"merge, paper size {paper_size}", printer.merge(record, public, log)[0], file.read()


def main():
    compared = wrong = 0
    for what, found, expected in [*run_cases(), *compare_with_program()]:
        compared += 1
        if found != expected:
            wrong += 1
            print(f"{what}:\n  {found}\nnot\n  {expected}", file=sys.stderr)
    print(f"c_api: {compared} comparisons, {wrong} differences")
    return 1 if wrong else 0


sys.exit(main())
