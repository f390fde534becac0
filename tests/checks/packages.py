"""The USES list of a package follows the dependencies that its package object declares, but for the
edges that againstStartOrder.txt names with their reasons."""

import re

import tree

EXCEPTIONS = "tests/checks/againstStartOrder.txt"
DEPENDENCY = re.compile(r"addDependency\(\s*InInit<\s*QvInit::(\w+)\s*>")


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
    """The package object's file, and the packages that it declares."""
    for path in sorted((tree_.root / package.folder).rglob("src/*Init.cpp")):
        text = path.read_text(encoding="utf-8")
        if "registerPackage" in text:
            return path.relative_to(tree_.root).as_posix(), set(DEPENDENCY.findall(text))
    return None, set()


def check(tree_):
    exceptions = read_exceptions(tree_)
    for package in tree_.packages.values():
        path, declared = declared_dependencies(tree_, package)
        if path is None:
            yield f"{package.folder}/CMakeLists.txt:1: package {package.name} has no package object"
            continue
        for used in package.uses:
            if used in declared:
                continue
            if exceptions.pop((package.name, used), None) is None:
                yield (
                    f"{package.folder}/CMakeLists.txt:1: {package.name} uses {used}, which its "
                    f"package object doesn't declare: add the dependency in {path}, or name the "
                    f"edge and its reason in {EXCEPTIONS}"
                )
        for unused in sorted(declared - set(package.uses)):
            yield f"{path}:1: {package.name} depends on {unused}, which its USES list doesn't name"
    for (package, used), number in exceptions.items():
        yield f"{EXCEPTIONS}:{number}: {package} has no need of its exception for {used}: remove it"


if __name__ == "__main__":
    tree.run(check, __doc__)
