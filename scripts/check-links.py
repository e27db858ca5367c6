#!/usr/bin/env python3
"""Whether each target links exactly what it includes: a step of every build.

What a target's public headers include stands under PUBLIC, what only its sources include under LINKS; a header of a library
that is linked only by way of another one is an error, and so is a library that nothing is included from.
usage: check-links.py TARGETS [--print]    TARGETS is targets.txt of a build folder; --print shows what each target needs
"""
import glob
import os
import re
import sys

from targets import read_targets

INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)', re.M)
# Libraries that are neither ours nor of the toolkit, by the beginning of what is included. Where there are two names, one of
# them is enough.
FOREIGN = {
    "openssl/ssl.h": ("OpenSSL::SSL",), "openssl/": ("OpenSSL::Crypto", "OpenSSL::SSL"), "zlib.h": ("ZLIB::ZLIB",), "qrencode.h": ("PkgConfig::QRENCODE",),
    "plist/": ("PkgConfig::PLIST",), "ZXing/": ("ZXing::ZXing",), "nlohmann/": ("nlohmann_json::nlohmann_json",), "xcb/": ("xcb",),
}
# Linked by everything, by every test, or for what it registers at run time.
UNSEEN = {"Qt6::Core", "Qt6::Test", "MavResources"}


def toolkit_modules():
    modules = {}
    for folder in glob.glob("/usr/include/*/qt6/Qt*") + glob.glob("/usr/include/qt6/Qt*"):
        for header in os.listdir(folder):
            modules.setdefault(header, "Qt6::" + os.path.basename(folder)[2:])
    return modules


def included(path):
    with open(path, encoding="utf-8") as file:
        return [ours or theirs for ours, theirs in INCLUDE.findall(file.read())]


class Needs:
    """What the files of one target include of others."""

    def __init__(self, target, offers, modules):
        own, public = target.headers(), target.offered().values()
        self.public, self.private = set(), set()
        for file in target.files:
            path = target.path(file)
            if not path.endswith((".cpp", ".h", ".c")) or not os.path.exists(path):
                continue
            for header in included(path):
                library = self.library(header, own, offers, modules)
                if library:
                    (self.public if path in public else self.private).add(library)
        self.private -= self.public

    @staticmethod
    def library(header, own, offers, modules):
        for start, names in FOREIGN.items():
            if header.startswith(start):
                return names
        name = os.path.basename(header)
        if name in own:
            return None
        found = offers.get(name) or modules.get(name)
        return (found,) if found else None


def missing(needed, linked):
    return [names[0] for names in sorted(needed) if not set(names) & set(linked) and not set(names) <= UNSEEN]


def findings(target, needs):
    linked = target.public + target.links
    wrong = [f"includes headers of {name} without naming it under PUBLIC" for name in missing(needs.public, target.public)]
    wrong += [f"includes headers of {name} without linking it" for name in missing(needs.private, linked)]
    if target.kind != "library":
        return wrong
    used = {name for names in needs.public | needs.private for name in names}
    wrong += [f"links {name}, but includes nothing of it" for name in linked if name not in used and name not in UNSEEN]
    shown = {name for names in needs.public for name in names} | UNSEEN
    wrong += [f"names {name} under PUBLIC, but no public header includes it" for name in target.public if name not in shown]
    return wrong


def main(arguments):
    targets = read_targets(arguments[0])
    offers, modules = {}, toolkit_modules()
    for target in targets:
        for header in target.offered():
            offers[header] = target.name
    failed = False
    for target in targets:
        # Tests stand on whole worlds of objects; the compiler says what they lack.
        if target.kind == "test":
            continue
        needs = Needs(target, offers, modules)
        if "--print" in arguments:
            names = [" ".join(sorted(names[0] for names in side)) for side in (needs.public, needs.private)]
            print(f"{target.name}\tPUBLIC {names[0]}\tLINKS {names[1]}")
            continue
        for finding in findings(target, needs):
            failed = True
            print(f"{os.path.join(target.folder, 'CMakeLists.txt')}: {target.name} {finding}", file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
