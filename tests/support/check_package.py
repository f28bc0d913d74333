#!/usr/bin/env python3
"""Checks a package with programs other than the library that wrote it; ends with an error when one objects.

usage: check_package.py FILE TITLE ENTRY...    a file with that title, and these entries before all others
"""
import subprocess
import sys
import zipfile
from pathlib import Path

from docx.opc.constants import RELATIONSHIP_TYPE
from docx.opc.package import OpcPackage

SCHEMA = Path(__file__).with_name("core-properties.rng")


def check(file, title, *names):
    subprocess.run(["unzip", "-tqq", file], check=True)
    package = OpcPackage.open(file)
    found = package.core_properties
    assert found.title == title and found.modified, f"the title is {found.title!r}, the time {found.modified}"
    core = package.part_related_by(RELATIONSHIP_TYPE.CORE_PROPERTIES)
    with zipfile.ZipFile(file) as entries:
        command = ["xmllint", "--nonet", "--noout", "--relaxng", SCHEMA, "-"]
        subprocess.run(command, input=entries.read(core.partname[1:]), check=True)
        assert entries.namelist()[:len(names)] == [*names], entries.namelist()
        flags = [entry.flag_bits for entry in entries.infolist()]
        assert not any(bits & ~0x806 for bits in flags), f"there are data descriptors, or more: {flags}"


if __name__ == "__main__":
    check(*sys.argv[1:])
