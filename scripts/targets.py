"""The list of targets that cmake/MavTargets.cmake writes into a build folder."""
import os


class Target:
    def __init__(self, name, kind, folder):
        self.name, self.kind, self.folder = name, kind, folder
        self.files, self.public, self.links, self.internals = [], [], [], []

    def add(self, key, value):
        {"SOURCES": self.files, "PUBLIC": self.public, "LINKS": self.links, "INTERNALS": self.internals}[key].append(value)

    def path(self, file):
        return os.path.normpath(os.path.join(self.folder, file))

    def headers(self):
        return {os.path.basename(file): self.path(file) for file in self.files if file.endswith(".h")}

    def offered(self):
        if not self.kind == "library":
            return {}
        shown = os.path.join(self.folder, "include")
        return {name: path for name, path in self.headers().items()
                if not os.path.isdir(shown) or os.path.dirname(path) == shown}


def read_targets(file):
    targets = []
    for line in open(file, encoding="utf-8"):
        key, _, value = line.rstrip("\n").partition(" ")
        if key == "target":
            targets.append(Target(*value.split(" ", 2)))
        else:
            targets[-1].add(key, value)
    return targets
