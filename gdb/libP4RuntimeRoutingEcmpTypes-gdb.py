"""gdb pretty printers: rows by column, array views, Ethernet addresses and row buffers.

gdb reads this file by itself when it loads the library that the file is named after; `source` reads it by hand. The
printers only read memory and call nothing in the program, so they work on a core file. Memory that cannot be what it
should be is shown as "<...>": nothing in it makes a printer fail.

A row's columns come from its type's column table, found in the debug information by name (PortRow: portColumns, in the
same namespace), and the row types from the symbols of their type ids. So a new row type, of any library, and a new type
of integer columns need nothing here. A row whose table cannot be read shows its bytes.
"""
import functools
import re

import gdb
import gdb.printing
import gdb.types

ZORVA_HEADER = 4
ZORVA_UNKNOWN_TYPE = 65535


class ZorvaFault(gdb.error):
    """What is wrong with the memory of a row. It is shown as text in place of a value, as errors of gdb itself are."""


def zorva_memory(address, length):
    """Bytes of the process or the core file. Raises ZorvaFault."""
    try:
        return bytes(gdb.selected_inferior().read_memory(address, length)) if length else b""
    except (gdb.error, OverflowError) as error:
        raise ZorvaFault(f"{length} bytes at {address:#x} cannot be read") from error


def zorva_integer(memory, signed=False):
    return int.from_bytes(memory, "little", signed=signed)


def zorva_number(memory, signed=False):
    """A number of the program, so that print/x and an IDE treat it as one."""
    architecture = gdb.selected_inferior().architecture()
    return gdb.Value(memory, architecture.integer_type(8 * len(memory), signed))


def zorva_array(memory, width, signed=False):
    """An array of numbers of `width` bytes. gdb shows one without elements as an address: text instead."""
    element = gdb.selected_inferior().architecture().integer_type(8 * width, signed)
    return gdb.Value(memory, element.array(len(memory) // width - 1)) if memory else "{}"


def zorva_address(memory):
    """An EthAddr; its text where the debug information does not describe the class."""
    try:
        return gdb.Value(memory, gdb.lookup_type("Zorva::EthAddr"))
    except (gdb.error, ValueError):
        return memory.hex(":")


def zorva_lineage(type_):
    """The types from a row's class down to BaseRow, none if it is not a row."""
    lineage = []
    while type_.code == gdb.TYPE_CODE_STRUCT:
        lineage.append(type_)
        if type_.name == "Zorva::BaseRow":
            return lineage
        bases = [field.type for field in type_.fields() if field.is_base_class]
        if not bases:
            break
        type_ = gdb.types.get_basic_type(bases[0])
    return []


# --- row types and their column tables ---

def zorva_row_classes():
    """The names of the row classes in the program and its libraries, also in those without debug information."""
    return zorva_row_classes_in(tuple(gdb.objfiles()))


@functools.lru_cache(maxsize=4)
def zorva_row_classes_in(_files):
    """Found by their type ids: "std::atomic<unsigned short> CLASS::rowType_;", or an address and CLASS::rowType_."""
    found = gdb.execute("info variables -q ::rowType_$", to_string=True)
    return dict.fromkeys(re.findall(r"^(?:.*?> |0x\w+ +)(.+)::rowType_;?$", found, re.MULTILINE))


def zorva_table(row_class):
    """The column table in the program's memory, as tuples of (name, type, offset, class of the nested row). None if the
    debug information does not name it or it is no table."""
    space, separator, name = row_class.rpartition("::")
    table = space + separator + name[:1].lower() + name[1:].removesuffix("Row") + "Columns"
    try:
        symbol = gdb.lookup_global_symbol(table) or gdb.lookup_static_symbol(table)
        columns = symbol.value()["columns"]["_M_elems"] if symbol else None
        size = columns.type.strip_typedefs().range()[1] + 1 if symbol else 0
        return [zorva_column(columns[i]) for i in range(size)] or None
    except (RuntimeError, ValueError):  # optimised out, not relocated yet, spoilt
        return None


def zorva_column(column):
    text, nested = column["name"], column["nested"]["type_"]
    name = zorva_memory(int(text["_M_str"]), min(int(text["_M_len"]), 256)).decode("ascii")
    kind, offset = str(column["type"]).rpartition("::")[2], int(column["offset"])
    if not name.isidentifier():
        raise ValueError(name)
    row_class = re.search(r"<(.+)::protRowType\(", nested["rowType"].format_string(symbols=True)) if nested else None
    return name, kind, offset, row_class and row_class[1]


def zorva_type_id(row_class):
    """The row type id that the library has fetched for a row class, None if it has not."""
    try:
        number = int(gdb.parse_and_eval(f"*(unsigned short *)&'{row_class}::rowType_'"))
        return number if number != ZORVA_UNKNOWN_TYPE else None
    except gdb.error:
        return None


# --- printers ---

class ZorvaEthAddrPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        try:
            return bytes(int(self.value["bytes_"][i]) for i in range(6)).hex(":")
        except gdb.error as error:
            return f"<{error}>"


class ZorvaBufferPrinter:
    """The bytes as elements: print/x shows them as they are in listings. Also the handle, with its owners."""

    def __init__(self, value):
        self.memory = b""
        try:
            handle = gdb.types.get_basic_type(value.type).name == "Zorva::RowBufHandle"
            block = zorva_block(value) if handle else None
            if handle and not block:
                self.text = "no buffer"
                return
            address, length = zorva_buffer(block["buffer"] if block else value)
            self.text = ", ".join([f"{length} bytes at {address:#x}", *zorva_owners(block)])
            self.memory = zorva_memory(address, length)
        except gdb.error as fault:
            self.text = f"<{fault}>"

    def to_string(self):
        return self.text

    def children(self):
        return ((f"[{i}]", zorva_number(self.memory[i:i + 1])) for i in range(len(self.memory)))

    def display_hint(self):
        return "array"


def zorva_buffer(value):
    """Of a ZoRowBuf, where its bytes are and how many."""
    return int(value["data_"]), int(value["length_"])


def zorva_block(handle):
    """The block of a RowBufHandle, None for an empty one. Raises gdb.error."""
    pointer = handle["block_"]
    if not int(pointer):
        return None
    zorva_memory(int(pointer), pointer.type.target().sizeof)
    return pointer.dereference()


def zorva_owners(block):
    """What to say of a buffer's owners: nothing for one. A count that no program reaches is a freed block."""
    if not block:
        return []
    count = block["owners"]
    owners = zorva_integer(zorva_memory(int(count.address), count.type.sizeof), True)
    return [] if owners == 1 else [f"shared by {owners}"] if 1 < owners < 1 << 32 else [f"<{owners} owners: freed?>"]


class ZorvaArrayPrinter:
    """An ArrayReference. Elements are read one by one, as far as gdb wants to show them."""

    def __init__(self, value):
        self.size = 0
        self.element = gdb.types.get_basic_type(value.type).template_argument(0)
        try:
            self.header, length = int(value["header_"]), int(value["dataLength_"])
            if self.header:
                count = zorva_integer(zorva_memory(self.header, 2)) & 0xfff
                self.size = min(count, (length - 2) // self.element.sizeof)
            self.text = f"{self.size} elements"
        except gdb.error as fault:
            self.text = f"<{fault}>"

    def to_string(self):
        return self.text

    def children(self):
        for i in range(self.size):
            try:
                memory = zorva_memory(self.header + 2 + i * self.element.sizeof, self.element.sizeof)
            except gdb.error as fault:
                yield f"[{i}]", f"<{fault}>"
                return
            yield f"[{i}]", gdb.Value(memory, self.element)

    def display_hint(self):
        return "array"


class ZorvaRowPrinter:
    """A BaseRow or a class derived from it: the columns of its dynamic class. A generic row shows those of the type
    that its header names, or else its bytes."""

    def __init__(self, value):
        is_reference = value.type.strip_typedefs().code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF)
        self.value = value.referenced_value() if is_reference else value
        lineage = zorva_lineage(gdb.types.get_basic_type(value.type))
        self.base = lineage[-1]
        self.classes = self.dynamic_classes() or [type_.name for type_ in lineage]
        self.name = self.classes[0]
        self.bytes = b""  # of the buffer, from the row's header on
        self.notes = []
        self.table = None
        try:
            self.read()
        except gdb.error as fault:
            self.notes.append(f"<{fault}>")

    def dynamic_classes(self):
        """What the object's vtable says: the class, and those it derives from if the debug information knows it."""
        if self.value.address is None:
            return []
        pointer = gdb.lookup_type("void").pointer()
        name, lineage = "", []
        try:
            table = self.value.address.cast(pointer.pointer()).dereference().format_string(symbols=True)
            name = "".join(re.findall(r"<vtable for (.+)\+16>", table))
            lineage = zorva_lineage(gdb.lookup_type(name)) if name else []
        except gdb.error:  # no debug information of that class
            pass
        return [type_.name for type_ in lineage] or [name] * (name in zorva_row_classes())

    def read(self):
        if not self.base.fields():
            raise ZorvaFault("the debug information does not describe Zorva::BaseRow")
        handle, self.position = self.value["rowBuf_"], int(self.value["rowOffset_"])
        view, self.read_only = bool(self.value["subRow_"]), bool(self.value["readOnly_"])
        block = zorva_block(handle)
        flags = ([f"view at {self.position}"] if view else []) + (["read-only"] if self.read_only else [])
        if not block:
            self.notes = ["null", *flags]
            return
        self.block = int(handle["block_"])
        self.notes = zorva_owners(block) + flags
        address, length = zorva_buffer(block["buffer"])
        self.bytes = zorva_memory(address, length)[self.position:]
        if len(self.bytes) < ZORVA_HEADER:
            self.bytes = b""
            raise ZorvaFault(f"position {self.position} leaves the buffer of {length} bytes")
        self.length = zorva_integer(self.bytes[:2])
        self.notes[:0] = [f"{self.length} bytes" if ZORVA_HEADER <= self.length <= len(self.bytes) else
                          f"<row length {self.length} in {len(self.bytes)} bytes>", self.type_note()]
        self.table = next(filter(None, map(zorva_table, self.classes)), None)

    def type_note(self):
        """The type id. Sets the class of a generic row that holds a row of a known type."""
        number = zorva_integer(self.bytes[2:4])
        if self.name in ("Zorva::BaseRow", "Zorva::SubRow"):
            for row_class in zorva_row_classes():
                if zorva_type_id(row_class) == number:
                    self.classes = [row_class]
                    return f"type {number}: {row_class}"
        expected = next(filter(None, map(zorva_type_id, self.classes)), number)
        return f"type {number}" if number == expected else f"<type {number}, not {expected}>"

    def to_string(self):
        return ", ".join([self.name, *self.notes])

    def children(self):
        if self.table:
            for name, kind, offset, nested in self.table:
                try:
                    yield name, self.column(kind, offset, nested)
                except gdb.error as fault:
                    yield name, f"<{fault}>"
        elif self.bytes:
            yield "bytes", zorva_array(self.bytes[:self.length] or self.bytes, 1)

    def part(self, offset, length):
        memory = self.bytes[offset:offset + length]
        if len(memory) < length:
            raise ZorvaFault(f"{length} bytes at {offset} leave the {len(self.bytes)} bytes of the buffer")
        return memory

    def slot(self, offset):
        """Offset and length of the column's variable data."""
        memory = self.part(offset, 4)
        return zorva_integer(memory[:2]), zorva_integer(memory[2:]) & 0x7fff

    def column(self, kind, offset, nested):
        if kind == "boolean":
            memory = self.part(offset, 1)
            return gdb.Value(memory != b"\0") if memory <= b"\1" else f"true <byte {memory[0]}>"
        if kind == "ethAddr":
            return zorva_address(self.part(offset, 6))
        if kind == "row":
            return self.nested_row(*self.slot(offset), nested)
        integers = re.fullmatch("(arrayOf)?([ui])(8|16|32|64)", kind, re.IGNORECASE)
        if not integers:
            raise ZorvaFault(f"a column of type {kind}")
        width, signed = int(integers[3]) // 8, integers[2] in "iI"
        if integers[1]:
            return self.array(*self.slot(offset), width, signed)
        return zorva_number(self.part(offset, width), signed)

    def array(self, offset, length, width, signed):
        """As the library reads it: the smaller of the count in the header and what the slot's length holds."""
        if length < 2:
            return "{}" if length == 0 else "{} <1 byte of data>"
        memory = self.part(offset, length)
        count, held = zorva_integer(memory[:2]) & 0xfff, (length - 2) // width
        elements = zorva_array(memory[2:2 + width * min(count, held)], width, signed)
        if count <= held:
            return elements
        shown = elements if isinstance(elements, str) else elements.format_string()
        return f"{shown} <the count is {count}>"

    def nested_row(self, offset, length, nested):
        """A view of the nested row, laid out as the program would hold it; the row printer shows it."""
        if not length:
            return "null"
        self.part(offset, ZORVA_HEADER)
        try:
            row_type = gdb.lookup_type(nested)
        except (gdb.error, TypeError):
            row_type = self.base
        view = bytearray(row_type.sizeof)
        values = {"rowBuf_": self.block, "rowOffset_": self.position + offset, "subRow_": True,
                  "readOnly_": self.read_only}
        for field in self.base.fields():
            if field.name in values:
                at, size = field.bitpos // 8, field.type.sizeof
                view[at:at + size] = int(values[field.name]).to_bytes(size, "little")
        return gdb.Value(bytes(view), row_type)


def zorva_printer(value):
    """The printer for a value, None if it is not of this library."""
    plain = gdb.types.get_basic_type(value.type)
    if plain.code != gdb.TYPE_CODE_STRUCT:
        return None
    name = plain.name or ""
    if name == "Zorva::EthAddr":
        return ZorvaEthAddrPrinter(value)
    if name in ("Zorva::ZoRowBuf", "Zorva::RowBufHandle"):
        return ZorvaBufferPrinter(value)
    if re.fullmatch(r"Zorva::ArrayReference<[^<>]+>", name):
        return ZorvaArrayPrinter(value)
    return ZorvaRowPrinter(value) if zorva_lineage(plain) else None


gdb.printing.register_pretty_printer(gdb.current_objfile(), zorva_printer, replace=True)
