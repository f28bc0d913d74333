#!/usr/bin/env python3
"""Saves on the file systems that this machine can mount, in a mount namespace of its own: what a save keeps, and races
of several processes with kills and a program that replaces the file. What cannot be mounted is skipped, aloud.

usage: places_test.py RACES ANSWERS COMMAND   (the programs; ANSWERS may be empty)
"""

import os
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

RACES, ANSWERS, COMMAND = sys.argv[1:4]
SECONDS = os.environ.get("PXFLOWBOOK_RACE_SECONDS", "2")
# The folder that another one shows, the mount, and whether names can be exchanged there.
LOOP = [("ext4", "mkfs.ext4 -q"), ("xfs", "mkfs.xfs -q"), ("btrfs", "mkfs.btrfs -q")]
TOLD = {"exchange, no flock without write access": ["flock=EBADF"],
        "no exchange, no links": ["rename=EINVAL", "link=EPERM"],
        "no renames with flags, in other words": ["rename=EOPNOTSUPP", "link=ENOSYS"],
        "no attributes": ["rename=ENOTTY", "listxattr=EIO", "getxattr=EIO", "setxattr=EIO"]}


def run(*command, **more):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **more)


def places(root):
    """Name, folder and whether names can be exchanged, of each place that can be mounted."""
    def fresh(name):
        (root / name).mkdir()
        return root / name

    def mounted(name, at, exchanges, *command):
        done = run(*command) if shutil.which(command[0]) else None
        if done is None or done.returncode != 0:
            print(f"skipped: {name}: {done.stdout.strip() if done else 'there is no ' + command[0]}")
        else:
            yield name, at, exchanges

    def told(name, *answers):
        shown, at = fresh(name + " shown"), fresh(name)
        server = subprocess.Popen([ANSWERS, shown, at, *answers], stderr=subprocess.PIPE, text=True)
        until = time.monotonic() + 60
        while not os.path.ismount(at) and server.poll() is None and time.monotonic() < until:
            time.sleep(0.02)
        if not os.path.ismount(at):
            print(f"skipped: {name}: {server.stderr.read().strip() if server.poll() is not None else 'no mount'}")
        else:
            yield name, at, "rename" not in "".join(answers)
        run("umount", "-l", str(at))
        server.wait()

    yield "tmpfs", fresh("tmpfs"), True
    for name, make in LOOP:
        image, at = root / f"{name}.image", fresh(name)
        run("truncate", "-s", "320M", str(image))
        if not shutil.which(make.split()[0]) or run(*make.split(), str(image)).returncode != 0:
            print(f"skipped: {name}: {make} fails")
            continue
        yield from mounted(name, at, True, "mount", "-o", "loop", str(image), str(at))
    at, lower, upper, work = fresh("overlay"), *(fresh(f"overlay {part}") for part in ("lower", "upper", "work"))
    yield from mounted("overlay", at, True, "mount", "-t", "overlay", "overlay", "-o",
                       f"lowerdir={lower},upperdir={upper},workdir={work}".replace(" ", "\\ "), str(at))
    shown, at = fresh("bound shown"), fresh("bound")
    yield from mounted("bind mount", at, True, "mount", "--bind", str(shown), str(at))
    shown, at = fresh("bindfs shown"), fresh("bindfs")
    yield from mounted("bindfs", at, False, "bindfs", str(shown), str(at))
    if ANSWERS:
        for name, answers in TOLD.items():
            yield from told(name, *answers)


def kept(folder):
    """What a save by the command leaves of owner, mode, attributes and flags; the faults found."""
    file = folder / "kept.tqx"
    faults = []
    def flowbook(*arguments):
        done = run(COMMAND, *arguments)
        if done.returncode != 0:
            faults.append(f"flowbook {arguments[0]}: {done.stdout.strip()}")
        return done.stdout
    flowbook("new", str(file), "--title", "old")
    os.chmod(file, 0o640)
    wanted = {}
    for name in ("user.colour", "security.selinux"):
        try:
            os.setxattr(file, name, b"some_u:value_t:s0")
            wanted[name] = os.getxattr(file, name)
        except OSError:
            pass
    run("chattr", "+d", str(file))
    flags = run("lsattr", str(file)).stdout.split(" ")[0]
    flowbook("set", str(file), "--title", "new")
    if "new" not in flowbook("info", str(file)):
        faults.append("the title is the old one")
    if os.stat(file).st_mode & 0o7777 != 0o640:
        faults.append(f"the mode is {os.stat(file).st_mode:o}")
    faults += [f"{name} is lost" for name, value in wanted.items() if name not in os.listxattr(file)
               or os.getxattr(file, name) != value]
    if run("lsattr", str(file)).stdout.split(" ")[0] != flags:
        faults.append(f"of the flags {flags} some are lost")
    faults += [f"{path.name} is left" for path in folder.iterdir() if path.name not in ("kept.tqx", "lost+found")]
    file.unlink()
    return faults


def single_file_mounts(root):
    """A file that is a mount point of its own cannot be replaced, and the message says what to do."""
    file, shown = root / "single.tqx", root / "shown.tqx"
    run(COMMAND, "new", str(shown))
    file.touch()
    if run("mount", "--bind", str(shown), str(file)).returncode != 0:
        return []
    done = run(COMMAND, "set", str(file), "--title", "new")
    run("umount", str(file))
    return [] if done.returncode == 3 and "mount its folder instead" in done.stdout else [done.stdout]


def main():
    if os.environ.get("PXFLOWBOOK_IN_NAMESPACE") is None:
        inside = dict(os.environ, PXFLOWBOOK_IN_NAMESPACE="1")
        if run("unshare", "--mount", "true").returncode == 0:
            os.execvpe("unshare", ["unshare", "--mount", sys.executable, *sys.argv], inside)
        print("skipped: nothing can be mounted here")
        return 0
    wrong = 0
    with tempfile.TemporaryDirectory() as folder:
        root = Path(folder)
        run("mount", "-t", "tmpfs", "tmpfs", folder)
        for number, (name, at, exchanges) in enumerate(places(root)):
            faults = kept(at)
            race = run(RACES, str(at), str((2, 4, 8, 16)[number % 4]), SECONDS, str(int(exchanges)))
            faults += [race.stdout] if race.returncode != 0 else []
            print(f"{name}: {race.stdout.splitlines()[-1] if race.stdout else 'no race'}", *faults, sep="\n  ")
            wrong += len(faults) != 0
            run("umount", "-l", str(at))
        faults = single_file_mounts(root)
        print("a single file:", *faults or ["refused"])
        wrong += len(faults) != 0
        run("umount", "-l", folder)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
