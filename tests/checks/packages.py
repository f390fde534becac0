"""The graph of packages is written twice: the USES list of a package names what its package object
depends on, in the same order, but for the edges that againstStartOrder.txt names with their reasons."""

import re

import tree

EXCEPTIONS = "tests/checks/againstStartOrder.txt"
DEPENDENCIES = re.compile(r"dependsOn<([^>]*)>")


def read_exceptions(tree_):
    """(package, used package) -> line number."""
    edges = {}
    for number, line in enumerate((tree_.root / EXCEPTIONS).read_text().splitlines(), 1):
        if line.strip() and not line.startswith("#"):
            edge, _, reason = line.partition(":")
            package, _, used = edge.partition(" uses ")
            if not used or not reason.strip():
                raise ValueError(f"{EXCEPTIONS}:{number}: write 'package uses package: reason'")
            edges[package.strip(), used.strip()] = number
    return edges


def declared_dependencies(tree_, package):
    """The package object's file, and the packages that it declares, in order."""
    for path in sorted((tree_.root / package.folder).rglob("src/*Init.cpp")):
        text = path.read_text(encoding="utf-8")
        if "registerPackage" in text:
            names = ",".join(DEPENDENCIES.findall(text)).replace("QvInit::", "")
            declared = [name.strip() for name in names.split(",") if name.strip()]
            return path.relative_to(tree_.root).as_posix(), declared
    return None, []


def check_package(package, path, declared, exceptions):
    """Takes the exceptions that the package needs out of `exceptions`."""
    for used in package.uses:
        if used not in declared and exceptions.pop((package.name, used), None) is None:
            yield (
                f"{package.folder}/CMakeLists.txt:1: {package.name} uses {used}, which its "
                f"package object doesn't declare: add the dependency in {path}, or name the "
                f"edge and its reason in {EXCEPTIONS}"
            )
    for unused in sorted(set(declared) - set(package.uses)):
        yield f"{path}:1: {package.name} depends on {unused}, which its USES list doesn't name"
    both = [used for used in package.uses if used in declared]
    if both != [name for name in declared if name in both]:
        yield f"{path}:1: {package.name} declares its dependencies in another order than USES"


def check(tree_):
    exceptions = read_exceptions(tree_)
    for package in tree_.packages.values():
        path, declared = declared_dependencies(tree_, package)
        if path is None:
            yield f"{package.folder}/CMakeLists.txt:1: package {package.name} has no package object"
            continue
        yield from check_package(package, path, declared, exceptions)
    for (package, used), number in exceptions.items():
        yield f"{EXCEPTIONS}:{number}: {package} has no need of its exception for {used}: remove it"


if __name__ == "__main__":
    tree.run(check, __doc__)
