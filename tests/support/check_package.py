#!/usr/bin/env python3
"""Checks a package with programs other than the library that wrote it; ends with an error when one objects.

usage: check_package.py FILE TITLE BEFORE ENTRY...
    a file with that title, the other parts of the file BEFORE, if any is named, and these entries before all others
"""
import subprocess
import sys
import zipfile
from pathlib import Path

from docx.opc.constants import RELATIONSHIP_TYPE
from docx.opc.package import OpcPackage

SCHEMA = Path(__file__).with_name("core-properties.rng")


def others(package):
    """The contents of the parts that hold neither code nor properties, by name."""
    return {part.partname: part.blob for part in package.iter_parts()
            if "code.document" not in part.content_type and "properties" not in part.content_type}


def check(file, title, before, *names):
    subprocess.run(["unzip", "-tqq", file], check=True)
    subprocess.run(["zipinfo", file], check=True, stdout=subprocess.DEVNULL)
    package = OpcPackage.open(file)
    found = package.core_properties
    assert found.title == title and found.modified, f"the title is {found.title!r}, the time {found.modified}"
    if before:
        assert others(package) == others(OpcPackage.open(before)), f"the parts are {others(package)}"
    core = package.part_related_by(RELATIONSHIP_TYPE.CORE_PROPERTIES)
    with zipfile.ZipFile(file) as entries:
        command = ["xmllint", "--nonet", "--noout", "--relaxng", SCHEMA, "-"]
        subprocess.run(command, input=entries.read(core.partname[1:]), check=True)
        assert entries.namelist()[:len(names)] == [*names], entries.namelist()
        flags = [entry.flag_bits for entry in entries.infolist()]
        assert not any(bits & ~0x806 for bits in flags), f"there are data descriptors, or more: {flags}"


if __name__ == "__main__":
    check(*sys.argv[1:])
