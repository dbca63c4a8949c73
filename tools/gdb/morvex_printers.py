"""Shows the library's texts and buffers in gdb as what they hold.

    (gdb) source morvex_printers.py
    (gdb) print name
    $1 = "outbox" (length 6, capacity 40, count 1)

Length and capacity are in units, the capacity with room for the terminator; the count is the number of handles that
share the buffer. What can't be read, or makes no sense, is told as such: nothing here calls into the program or
trusts what it finds there.
"""

import struct

import gdb
import gdb.printing

# A text is cut here where gdb's own limit ("print elements") is off.
LONGEST = 2000

NAMESPACE = "MorvexA106::"


def plain_type(type_):
    return type_.strip_typedefs().unqualified()


def engine_type(type_):
    """The type among this one and its bases that is one of ours, with its name; or nothing."""
    pending = [plain_type(type_)]
    while pending:
        current = pending.pop()
        if current.code != gdb.TYPE_CODE_STRUCT:
            continue
        name = current.name or ""
        if name.startswith(NAMESPACE) and name[len(NAMESPACE):].split("<")[0] in PRINTERS:
            return current, name[len(NAMESPACE):].split("<")[0]
        pending += [plain_type(field.type) for field in current.fields() if field.is_base_class]
    return None


def read(address, size):
    return bytes(gdb.selected_inferior().read_memory(address, size))


def limit():
    shown = gdb.parameter("print elements")
    return min(shown, LONGEST) if shown else LONGEST


def decoded(units, width):
    """Bytes of the program as a quoted text; what is no character is shown as its number."""
    charset = "utf-16-le" if width == 2 else gdb.target_charset()
    if charset in (None, "auto", "ANSI_X3.4-1968"):
        charset = "utf-8"
    try:
        text = units.decode(charset, "backslashreplace")
    except LookupError:
        text = units.decode("utf-8", "backslashreplace")
    return '"' + "".join(escaped(character) for character in text) + '"'


def escaped(character):
    names = {'"': '\\"', "\n": "\\n", "\r": "\\r", "\t": "\\t", "\0": "\\000"}
    if character in names:
        return names[character]
    return character if character.isprintable() else "\\x%02x" % ord(character)


def quoted(address, length, width):
    shown = min(length, limit())
    text = decoded(read(address, shown * width), width)
    return text + ("..." if shown < length else "")


def unreadable(address):
    return "<unreadable at 0x%x>" % address


class StringPrinter:
    """The header, three numbers of 32 bits, and the text behind it."""

    HEADER = struct.Struct("=iII")
    EMPTY = 0xFFFFFFFF

    def __init__(self, value, engine):
        self.address = int(value["m_buffer"])
        self.width = engine.template_argument(0).sizeof

    def to_string(self):
        if self.address == 0:
            return "<no buffer>"
        try:
            count, length, capacity = self.HEADER.unpack(read(self.address, self.HEADER.size))
            if capacity == self.EMPTY:
                return '"" (shared empty)'
            if count < 1 or length >= capacity:
                return "<damaged: length %d, capacity %d, count %d>" % (length, capacity, count)
            text = quoted(self.address + self.HEADER.size, length, self.width)
            return "%s (length %d, capacity %d, count %d)" % (text, length, capacity, count)
        except gdb.MemoryError:
            return unreadable(self.address)


class CharacterPrinter:
    """The units up to the first zero; the zero character stands for none."""

    def __init__(self, value, engine):
        units = value["m_units"]
        self.width = engine.template_argument(0).sizeof
        self.units = [int(units[i]) for i in range(units.type.range()[1] + 1)]

    def to_string(self):
        end = self.units.index(0) if 0 in self.units else len(self.units)
        if end == 0:
            return "<no character>"
        mask = (1 << 8 * self.width) - 1
        held = b"".join((unit & mask).to_bytes(self.width, "little") for unit in self.units[:end])
        numbers = " ".join("%0*x" % (2 * self.width, unit & mask) for unit in self.units[:end])
        return "'%s' (%s)" % (decoded(held, self.width)[1:-1], numbers)


class IteratorPrinter:
    """The text at the cursor, up to its terminator."""

    def __init__(self, value, engine):
        self.address = int(value["m_cursor"])
        self.width = engine.template_argument(0).sizeof

    def to_string(self):
        if self.address == 0:
            return "at nothing"
        try:
            length = self.length_within(limit() + 1)
            if length == 0:
                return "at the end"
            return "at " + quoted(self.address, length, self.width)
        except gdb.MemoryError:
            return unreadable(self.address)

    def length_within(self, most):
        for length in range(most):
            if not any(read(self.address + length * self.width, self.width)):
                return length
        return most


class BufferPrinter:
    """The size, the record's numbers, and the first bytes."""

    SHOWN = 16

    def __init__(self, value, _):
        self.record = value["buffer"]

    def to_string(self):
        address = int(self.record)
        if address == 0:
            return "<holds nothing>"
        try:
            record = self.record.dereference()
            count = struct.unpack("=i", read(int(record["refCount"].address), 4))[0]
            used, capacity = int(record["bytesUsed"]), int(record["bytesAllocated"])
            if count == -1:
                return "0 bytes (shared empty)"
            if count < 1 or used > capacity:
                return "<damaged: %d bytes, capacity %d, count %d>" % (used, capacity, count)
            mapped = ", mapped" if bool(record["mapped"]) else ""
            told = "%d bytes (capacity %d, count %d%s)" % (used, capacity, count, mapped)
            shown = read(int(record["data"]), min(used, self.SHOWN)).hex(" ") if used else ""
            return told + (": " + shown if shown else "") + (" ..." if used > self.SHOWN else "")
        except gdb.MemoryError:
            return unreadable(address)


PRINTERS = {
    "SString_t": StringPrinter,
    "SChar_t": CharacterPrinter,
    "SStringIterator_t": IteratorPrinter,
    "SSimpleBuffer": BufferPrinter,
}


class Lookup:
    """Knows classes derived from ours as well, such as SAnsiString."""

    name = "morvex"
    enabled = True
    subprinters = None

    def __call__(self, value):
        found = engine_type(value.type)
        if found is None:
            return None
        engine, name = found
        return PRINTERS[name](value.cast(engine), engine)


def register(objfile):
    gdb.printing.register_pretty_printer(objfile, Lookup(), replace=True)


register(gdb.current_objfile())
