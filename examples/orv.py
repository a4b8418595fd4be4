"""orv_shared from Python: its C interface (include/orv/c_api.h) by the standard library's ctypes alone.

    import orv
    config = orv.Config("examples/orv_conf_lx300.xml")
    print(config.integer("label.widthMax"))  # thousandths of a millimetre

The environment variable ORV_LIBRARY names the library's file, if the system does not find it. Functions raise
orv.Error. Lengths, names and codes are those of the C interface.
"""

import ctypes
import json
import os
import sys

RECORD_SIZE = 2688
PUBLIC_RECORD_SIZE = 220
BGR24, BIT1 = 1, 2
ERROR_ARGUMENT, ERROR_BUFFER = 1, 2
NONE, FLOYD_STEINBERG, SIERRA_LITE, MATRIX4, MATRIX8, MATRIX16 = range(6)

_DEFAULT_NAME = "orv_shared.dll" if sys.platform == "win32" else "liborv_shared.so.0"
_library = ctypes.CDLL(os.environ.get("ORV_LIBRARY", _DEFAULT_NAME))
for _name in ("orv_version", "orv_error_text", "orv_stock_value_name"):
    getattr(_library, _name).restype = ctypes.c_char_p


class Error(Exception):
    """A failure with its code; the text is the reason, if the library gave one."""

    def __init__(self, code, reason=""):
        super().__init__(reason or _library.orv_error_text(code).decode())
        self.code = code


def _call(name, *arguments):
    code = getattr(_library, name)(*arguments)
    if code != 0:
        raise Error(code)


def _text(text):
    """The two arguments of a text: its UTF-16 units, and their number."""
    units = text.encode("utf-16-le", "surrogatepass")
    return units, ctypes.c_uint32(len(units) // 2)


def _bytes(content):
    """The two arguments of bytes; ctypes would cut a larger number of them."""
    if len(content) > 0xFFFFFFFF:
        raise Error(ERROR_ARGUMENT, "4 GiB or more")
    return content, ctypes.c_uint32(len(content))


def _sized(name, *arguments, element=ctypes.c_uint16):
    """Calls a function that fills a buffer, first for the size, and returns the buffer as bytes."""
    length = ctypes.c_uint32()
    function = getattr(_library, name)
    code = function(*arguments, None, 0, ctypes.byref(length))
    buffer = (element * length.value)()
    if code == ERROR_BUFFER:
        code = function(*arguments, buffer, length, ctypes.byref(length))
    if code != 0:
        raise Error(code)
    return bytes(buffer)[:length.value * ctypes.sizeof(element)]


def _sized_text(name, *arguments):
    return _sized(name, *arguments).decode("utf-16-le", "surrogatepass")


def version():
    return _library.orv_version().decode()


def error_text(code):
    return _library.orv_error_text(code).decode()


class _Handle:
    """Something to close: used as a context manager, or closed with the object."""

    def __init__(self):
        self.handle = ctypes.c_void_p()

    def close(self):
        getattr(_library, self._close)(self.handle)
        self.handle = ctypes.c_void_p()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def __del__(self):
        self.close()


class Log(_Handle):
    """A module that writes to the log. `folder` has the configuration files of printers."""

    _close = "orv_log_close"

    def __init__(self, module, folder=""):
        super().__init__()
        _call("orv_log_open", *_text(module), *_text(folder), ctypes.byref(self.handle))

    def write(self, level, message, source=""):
        _call("orv_log_write", self.handle, level, *_text(message), *_text(source))


class Printer(_Handle):
    """A printer of the spooler."""

    _close = "orv_printer_close"

    def __init__(self, name):
        super().__init__()
        self.name = name
        _call("orv_printer_open", *_text(name), ctypes.byref(self.handle))

    def merge(self, record, public_in, log):
        """Merges a record with an application's public record; returns both results."""
        out = ctypes.create_string_buffer(RECORD_SIZE)
        public_out = ctypes.create_string_buffer(bytes(public_in), PUBLIC_RECORD_SIZE)
        _call("orv_record_merge", self.handle, *_text(self.name), log.handle, bytes(record), out,
              len(record), bytes(public_in), public_out, len(public_in))
        return out.raw, public_out.raw

    def explain_merge(self, record, public_in, log):
        """What decides each field of a merge."""
        return json.loads(_sized_text("orv_record_explain_merge", self.handle, *_text(self.name),
                                      log.handle, bytes(record), len(record), bytes(public_in),
                                      len(public_in)))


class Config(_Handle):
    """A printer's configuration: of a file, or of a printer by its name."""

    _close = "orv_config_close"

    def __init__(self, path=None, printer=None, log=None):
        super().__init__()
        load = _library.orv_config_load if printer is None else _library.orv_config_load_printer
        reason = (ctypes.c_uint16 * 1000)()
        length = ctypes.c_uint32()
        code = load(*_text(path if printer is None else printer), log and log.handle,
                    ctypes.byref(self.handle), reason, len(reason), ctypes.byref(length))
        if code != 0:
            raise Error(code, bytes(reason)[:2 * length.value].decode("utf-16-le", "replace"))

    def names(self):
        count = ctypes.c_uint32()
        _call("orv_config_count", self.handle, ctypes.byref(count))
        return [self.name(i) for i in range(count.value)]

    def name(self, index):
        return _sized_text("orv_config_name", self.handle, index)

    def text(self, name):
        return _sized_text("orv_config_text", self.handle, *_text(name))

    def integer(self, name):
        value = ctypes.c_int32()
        _call("orv_config_integer", self.handle, *_text(name), ctypes.byref(value))
        return value.value

    def integers(self, name):
        values = _sized("orv_config_integers", self.handle, *_text(name), element=ctypes.c_int32)
        return list(memoryview(values).cast("i"))

    def default(self):
        """The printer's default record."""
        record = ctypes.create_string_buffer(RECORD_SIZE)
        _call("orv_record_default", self.handle, record, len(record))
        return record.raw

    def validate(self, record, log=None):
        """A corrected copy of a record, and the corrections as text."""
        out = ctypes.create_string_buffer(RECORD_SIZE)
        corrections = (ctypes.c_uint16 * 8000)()
        length = ctypes.c_uint32()
        _call("orv_record_validate", self.handle, log and log.handle, bytes(record), out,
              len(record), corrections, len(corrections), ctypes.byref(length))
        return out.raw, bytes(corrections)[:2 * length.value].decode("utf-16-le")

    def explain(self, record):
        """What decides each field of a validation."""
        return json.loads(_sized_text("orv_record_explain", self.handle, bytes(record), len(record)))


def convert(record, log=None):
    """A copy of a record of the current version."""
    out = ctypes.create_string_buffer(RECORD_SIZE)
    _call("orv_record_convert", log and log.handle, bytes(record), out, len(record))
    return out.raw


class StockItem(ctypes.Structure):
    """A stock item; `values` has the numbers in the order of `stock_value_names`."""

    _fields_ = [("size", ctypes.c_uint32), ("guid", ctypes.c_uint8 * 16), ("name_length", ctypes.c_uint32),
                ("units", ctypes.c_uint16 * 130), ("values", ctypes.c_uint32 * 27)]

    @property
    def name(self):
        return bytes(self.units)[:2 * self.name_length].decode("utf-16-le", "replace")


def stock_value_names():
    names = []
    while (name := _library.orv_stock_value_name(len(names))) is not None:
        names.append(name.decode())
    return names


def stock_item(guid, name, **values):
    """Makes an item: stock_item(uuid.uuid4(), "Shelf 50", PaperWidth=50000)."""
    units, count = _text(name)
    item = StockItem(size=ctypes.sizeof(StockItem), name_length=count)
    item.guid[:] = guid.bytes_le
    ctypes.memmove(item.units, units, min(len(units), ctypes.sizeof(item.units)))
    for key, value in values.items():
        item.values[stock_value_names().index(key)] = value
    return item


def stock_list(printer="", log=None):
    """The items of a printer, or those common to all printers."""
    count = ctypes.c_uint32()
    arguments = (*_text(printer), log and log.handle)
    code = _library.orv_stock_list(*arguments, None, 0, ctypes.byref(count))
    items = (StockItem * max(count.value, 1))()
    items[0].size = ctypes.sizeof(StockItem)
    if code == ERROR_BUFFER:
        code = _library.orv_stock_list(*arguments, items, len(items), ctypes.byref(count))
    if code != 0:
        raise Error(code)
    return list(items[:count.value])


def stock_add(item, printer="", log=None):
    _call("orv_stock_add", *_text(printer), log and log.handle, ctypes.byref(item))


def stock_remove(guid, printer=""):
    _call("orv_stock_remove", *_text(printer), guid.bytes_le)


class Image(ctypes.Structure):
    """An image on a bytearray, whose rows follow each other without a gap."""

    _fields_ = [("size", ctypes.c_uint32), ("format", ctypes.c_int32), ("width", ctypes.c_int32),
                ("height", ctypes.c_int32), ("stride", ctypes.c_int32), ("unused", ctypes.c_uint32),
                ("pixels", ctypes.c_void_p)]

    def __init__(self, pixels, width, height, format=BGR24):
        stride = 3 * width if format == BGR24 else (width + 7) // 8
        self._memory = (ctypes.c_uint8 * (stride * height)).from_buffer(pixels)
        super().__init__(ctypes.sizeof(Image), format, width, height, stride, 0, ctypes.addressof(self._memory))


def dither(pixels, width, height, method=MATRIX8, threshold=128, colour=0):
    """Dithers a bytearray in place."""
    _call("orv_page_dither", ctypes.byref(Image(pixels, width, height)), method, threshold, colour)


def split(pixels, width, height, colour, tolerance=0.1, method=MATRIX8, threshold=128):
    """The planes of a page for two print heads: background and highlight."""
    planes = bytearray(len(pixels)), bytearray(len(pixels))
    images = [Image(memory, width, height) for memory in (pixels, *planes)]
    _call("orv_page_split", ctypes.byref(images[0]), ctypes.c_uint32(colour), ctypes.c_double(tolerance),
          method, threshold, ctypes.byref(images[1]), ctypes.byref(images[2]))
    return planes


def one_bit(pixels, width, height):
    """The one-bit form of a page, and the bounds of its ink: first row, last row, first column, last column."""
    bits = bytearray((width + 7) // 8 * height)
    image, reduced = Image(pixels, width, height), Image(bits, width, height, BIT1)
    bounds = (ctypes.c_int32 * 4)()
    _call("orv_page_to_one_bit", ctypes.byref(image), ctypes.byref(reduced))
    _call("orv_page_bounds", ctypes.byref(reduced), bounds)
    return bits, list(bounds)


def encrypt(plain):
    """The protected form of bytes. Each call makes another one, of the same length."""
    return _sized("orv_encrypt", *_bytes(plain), element=ctypes.c_char)


def decrypt(protected):
    return _sized("orv_decrypt", *_bytes(protected), element=ctypes.c_char)


def encrypt_file(source, target):
    _call("orv_encrypt_file", *_text(source), *_text(target))


def decrypt_file(source, target):
    _call("orv_decrypt_file", *_text(source), *_text(target))


def digest(content):
    """The SHA-256 digest of bytes."""
    result = ctypes.create_string_buffer(32)
    _call("orv_hash", *_bytes(content), result)
    return result.raw


def digest_of_file(path):
    result = ctypes.create_string_buffer(32)
    _call("orv_hash_file", *_text(path), result)
    return result.raw
