"""Shows strings, pointers, paths and buffers of the libraries in gdb as what they stand for.

Debian's gdb reads this by itself where the packages are installed; elsewhere type
    source <prefix>/share/qvresmgt/gdb/qvresmgt.py
"""

import gdb
import gdb.printing


def text_of(string):
    """The text of a std::string; what isn't UTF-8 is replaced."""
    length = int(string["_M_string_length"])
    return string["_M_dataplus"]["_M_p"].string("utf-8", "replace", length)


def elements_of(vector):
    implementation = vector["_M_impl"]
    element, end = implementation["_M_start"], implementation["_M_finish"]
    while element != end:
        yield element.dereference()
        element += 1


def number_of(counter):
    """A count, be it a plain int, an atomic or a LkCounter."""
    while counter.type.strip_typedefs().code == gdb.TYPE_CODE_STRUCT:
        # Static members have no place.
        fields = counter.type.strip_typedefs().fields()
        counter = counter[next(field for field in fields if hasattr(field, "bitpos"))]
    return int(counter)


def counted(number, noun):
    return f"{number} {noun}" if number == 1 else f"{number} {noun}s"


def pointee_name(pointer):
    return pointer.type.strip_typedefs().target().unqualified()


class StringPrinter:
    def __init__(self, value):
        base = value.type.strip_typedefs().fields()[0].type
        self._text = text_of(value.cast(base))

    def to_string(self):
        return self._text

    def display_hint(self):
        return "string"


class PathPrinter:
    """A path in its printed form."""

    def __init__(self, value):
        self._components = [text_of(component) for component in elements_of(value["_components"])]

    def to_string(self):
        if not self._components:
            return ""
        first, *rest = self._components
        if first.endswith("/"):
            return first + "/".join(rest)
        is_drive = len(first) == 2 and first[0].isascii() and first[0].isalpha() and first[1] == ":"
        return ("./" if is_drive else "") + "/".join(self._components)

    def display_hint(self):
        return "string"


class PointerPrinter:
    """A pointer of the libraries; what it points to is its child."""

    def __init__(self, value, field, name):
        self._pointer = value[field]
        self._name = f"{name}<{pointee_name(self._pointer)}>"

    def notes(self):
        """What more is known of a pointer that isn't null."""
        return ""

    def is_gone(self):
        return int(self._pointer) == 0

    def to_string(self):
        if int(self._pointer) == 0:
            return f"{self._name} null"
        return f"{self._name} {hex(int(self._pointer))}{self.notes()}"

    def children(self):
        if not self.is_gone():
            yield "*", self._pointer.dereference()


class OwnerPrinter(PointerPrinter):
    def __init__(self, value):
        template = value.type.strip_typedefs().name.partition("<")[0].removeprefix("Qv::")
        super().__init__(value, "_array" if template.startswith("A") else "_pointee", template)


class CountedPrinter(PointerPrinter):
    def __init__(self, value):
        super().__init__(value, "_pointee", "RCPtr")

    def notes(self):
        try:
            return f", {counted(number_of(self._pointer['_refCount']), 'reference')}"
        except gdb.error:
            # Nothing but the name of the pointee's class is known here.
            return ""


class StrongPrinter(PointerPrinter):
    name = "RCStrongPtr"

    def __init__(self, value):
        super().__init__(value, "_pointee", self.name)
        self._counter = value["_counter"]["_pointee"]

    def strong_count(self):
        return number_of(self._counter["_strongCount"]) if int(self._counter) != 0 else 0

    def notes(self):
        # Each pointer of either kind holds the record with the counts.
        weak = number_of(self._counter["_refCount"]) - self.strong_count()
        return f", {self.strong_count()} strong, {weak} weak"


class WeakPrinter(StrongPrinter):
    name = "RCWeakPtr"

    def is_gone(self):
        return self.strong_count() == 0

    def to_string(self):
        if int(self._pointer) != 0 and self.is_gone():
            return f"{self._name} expired"
        return super().to_string()


class BufferPrinter:
    """A buffer's name, size and locks, and where its content is."""

    def __init__(self, value):
        self._engine = value["_engine"]["_pointee"]

    def to_string(self):
        if int(self._engine) == 0:
            return "null"
        buffer = self._engine.dereference()
        if not buffer.type.strip_typedefs().fields():
            # The program knows but the class's name: docs/debugging.md says what helps.
            return f"buffer at {hex(int(self._engine))}, without debug information"
        name = text_of(buffer["_name"].cast(gdb.lookup_type("std::string")))
        memory = int(buffer["_region"]["_memory"])
        where = f"in memory at {hex(memory)}" if memory else "not in memory"
        locks = counted(int(buffer["_lockCount"]), "lock")
        return f'"{name}", {int(buffer["_size"])} bytes, {where}, {locks}'


def make_printers():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("qvresmgt")
    for name, pattern, printer in (
        ("string", r"^Qv::LiString$", StringPrinter),
        ("path", r"^Qv::OsFilePath$", PathPrinter),
        ("owner", r"^Qv::(OPtr|APtr|UPtr|OPtrRet|APtrRet)<.*>$", OwnerPrinter),
        ("counted", r"^Qv::RCPtr<.*>$", CountedPrinter),
        ("strong", r"^Qv::RCStrongBasePtr<.*>$", StrongPrinter),
        ("weak", r"^Qv::RCWeakBasePtr<.*>$", WeakPrinter),
        ("buffer", r"^Qv::MbBuffer(RdGuardImp|WrGuardImp)?$", BufferPrinter),
    ):
        printers.add_printer(name, pattern, printer)
    return printers


# Reading it again, as while it is changed, replaces what was registered.
gdb.printing.register_pretty_printer(gdb.current_objfile(), make_printers(), replace=True)
