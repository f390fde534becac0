"""A file includes only what its place allows: public headers of the packages that its package uses,
private headers of its own package, and system headers in the folder of a port alone. A source
includes the header of its own name first, which proves that the header compiles alone."""

import re
from pathlib import PurePosixPath

import tree

STANDARD_HEADERS = set(
    """algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts
    condition_variable coroutine deque exception execution filesystem format forward_list fstream
    functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits list
    locale map memory memory_resource mutex new numbers numeric optional ostream queue random ranges
    ratio regex scoped_allocator semaphore set shared_mutex source_location span sstream stack
    stdexcept stop_token streambuf string string_view syncstream system_error thread tuple type_traits
    typeindex typeinfo unordered_map unordered_set utility valarray variant vector version
    cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef
    cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype""".split()
)
LIBRARY_FOLDERS = ("base", "pluginAPI", "resmgt", "mediaTiles")
PORT_FOLDERS = ("/src/posix/", "/src/windows/")


def is_private(path):
    return "/src/" in path or "/test/" in path


def check_own_place(tree_, path, package):
    """A public header is named by its package, so that it is compiled alone and installed."""
    if path.endswith(".h") and not is_private(path) and path not in package.headers:
        yield (
            f"{path}:1: no HEADERS list of package {package.name} names this public header: "
            f"add it in {package.folder}/CMakeLists.txt, or move it to src/"
        )


def check_project_include(tree_, path, package, included):
    if not (tree_.root / included).exists():
        # A header chosen by the platform belongs to the port that isn't written.
        return None if included.endswith("Windows.h") else f"<{included}> doesn't exist"
    owner = tree_.package_of(included)
    if is_private(included):
        # A white-box test is made of the objects of all that its package reaches.
        if "/test/" in path and owner and owner.name in tree_.closure(package):
            return None
        if owner is not package:
            return f"<{included}> is private to package {owner.name if owner else '?'}"
        if not is_private(path):
            return f"a public header includes the private <{included}>: move one of the two"
        return None
    # What stands beside the packages, such as the export macros, is the whole library's.
    if owner is None or owner is package:
        return None
    if included.startswith("resmgt/") and included.count("/") == 1:
        return None
    allowed = tree_.closure(package) if "/test/" in path else package.uses
    if owner.name not in allowed:
        return (
            f"<{included}> belongs to package {owner.name}, which package {package.name} doesn't "
            f"use: do without, or add {owner.name} to USES in {package.folder}/CMakeLists.txt and "
            f"to the dependencies of its package object"
        )
    return None


def check_include(tree_, path, package, quote, included):
    if quote == '"':
        return f'"{included}": write it as <path from the source root>'
    if included.split("/")[0] in LIBRARY_FOLDERS:
        return check_project_include(tree_, path, package, included)
    if "/test/" in path or included in STANDARD_HEADERS:
        return None
    if (tree_.root / included).exists():
        return f"<{included}> is no part of the libraries: move what is needed of it"
    if not any(port in path for port in PORT_FOLDERS):
        return f"<{included}> is a system header: only files in src/posix/ or src/windows/ include such"
    return None


def own_header(tree_, path):
    """The header that bears the source's name, with or without the port's suffix: the nearest from
    the source's folder up to the folder of its public header."""
    source = PurePosixPath(path)
    stems = dict.fromkeys((source.stem, re.sub("(Posix|Windows)$", "", source.stem)))
    folders = [source.parent]
    while folders[-1].name in ("src", "posix", "windows"):
        folders.append(folders[-1].parent)
    for stem in stems:
        for folder in folders:
            header = (folder / f"{stem}.h").as_posix()
            if (tree_.root / header).exists():
                return header
    return None


def check_own_header(tree_, path, includes, proven):
    """What a source includes first has been compiled alone; `proven` takes it down."""
    first = includes[0][2] if includes else None
    own = own_header(tree_, path)
    if own is None or first == own:
        proven.add(first)
    else:
        yield f"{path}:1: include <{own}> first, which proves that it compiles alone"


def check(tree_):
    proven = set()
    for path in tree_.sources():
        includes = list(tree_.includes(path))
        if path.endswith(".cpp") and "/test/" not in path:
            yield from check_own_header(tree_, path, includes, proven)
        package = tree_.package_of(path)
        if package is None:
            continue
        yield from check_own_place(tree_, path, package)
        for number, quote, included in includes:
            finding = check_include(tree_, path, package, quote, included)
            if finding:
                yield f"{path}:{number}: {finding}"
    for package in tree_.packages.values():
        for header in sorted(package.headers - package.lonely - proven):
            yield f"{header}:1: no source includes it first, which would prove that it compiles alone"


if __name__ == "__main__":
    tree.run(check, __doc__)
