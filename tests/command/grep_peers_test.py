#!/usr/bin/env python3
"""Holds grep against ripgrep and GNU grep on extracted text. usage: grep_peers_test.py FLOWBOOK_COMMAND [arguments]"""

import os
import random
import re
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import COMMAND, CommandTest

ROUNDS = int(os.environ.get("GREP_ROUNDS", "300"))
SEED = int(os.environ.get("GREP_SEED", "20"))
LETTERS = "aabbcx_1é-. "


def random_line(chance):
    return "".join(chance.choice(LETTERS) for _ in range(chance.randrange(14)))


def random_atom(chance, depth):
    kind = chance.randrange(9)
    if kind < 5 or depth == 0:
        return chance.choice(["a", "b", "c", "x", "_", "1", "é", "-", r"\.", " ", "ab"])
    if kind == 5:
        return chance.choice(["[ab]", "[^a]", "[a-c1]", "[^ b]", "."])
    return f"({random_pattern(chance, depth - 1)})"


def random_pattern(chance, depth=2):
    branches = []
    for _ in range(chance.choice([1, 1, 1, 2])):
        pieces = [random_atom(chance, depth) + chance.choice(["", "", "", "", "?", "*", "+", "{1,2}"])
                  for _ in range(chance.randrange(1, 4))]
        branches.append("".join(pieces))
    return "|".join(branches)


def random_options(chance, peer):
    options = [each for each in ("-i", "-v", "-w", "-F") if chance.random() < 0.2]
    shown = chance.choice(["", "", "", "-c", "-l", "-o", "-A", "-B", "-C"])
    # ripgrep counts matches with -c and -o, and GNU grep takes the longest match where the others take the first.
    if shown == "-o" and (peer == "grep" or "-v" in options):
        shown = ""
    if shown in ("-A", "-B", "-C"):
        options += [shown, str(chance.randrange(1, 4))]
    elif shown:
        options.append(shown)
    # What follows the last match that counts is context in one, and not in the other, where it matches.
    if chance.random() < 0.2 and shown not in ("-A", "-C"):
        options += ["-m", str(chance.randrange(1, 4))]
    return options


class GrepPeers(CommandTest):
    def run_in(self, folder, *arguments):
        done = subprocess.run(arguments, cwd=self.folder / folder, capture_output=True, timeout=300, check=False,
                              env={**os.environ, "LC_ALL": "C.UTF-8"})
        return done.returncode, done.stdout.decode(errors="replace")

    def test_random_patterns(self):
        chance = random.Random(SEED)
        names = [f"{number}.tqx" for number in range(5)]
        for folder in ("books", "texts"):
            (self.folder / folder).mkdir()
        for name in names:
            text = "".join(random_line(chance) + "\n" for _ in range(chance.randrange(40)))
            self.flowbook("new", f"books/{name}", "--code", "-", input=text.encode())
            (self.folder / "texts" / name).write_text(self.flowbook("cat", f"books/{name}"), encoding="utf-8")
        peers = {"rg": ["rg", "--no-config", "--no-heading", "--color=never", "-nH", "-j1"], "grep": ["grep", "-nHE"]}
        found = 0
        for turn in range(ROUNDS):
            peer = chance.choice(["rg", "grep"])
            options = random_options(chance, peer)
            patterns = [argument for _ in range(chance.choice([1, 1, 2]))
                        for argument in ("-e", random_pattern(chance))]
            # What a whole word without any character is, GNU grep sees otherwise.
            if peer == "grep" and "-w" in options and re.search("|".join(patterns[1::2]), "") is not None:
                options.remove("-w")
            theirs = list(peers[peer])
            if peer == "grep" and "-F" in options:
                theirs[1] = "-nH"
            if "-c" in options or "-l" in options:
                theirs = [each.replace("-nH", "-H") for each in theirs]
            expected = self.run_in("texts", *theirs, *options, *patterns, *names)
            if peer == "grep" and "-c" in options:
                expected = expected[0], re.sub(r"(?m)^[^:]*:0\n", "", expected[1])
            if "-o" in options:
                # ripgrep prints matches that are empty, which GNU grep does not.
                expected = expected[0], re.sub(r"(?m)^[^:]*:\d+:\n", "", expected[1])
            with self.subTest((turn, peer, options, patterns)):
                self.assertEqual(self.run_in("books", COMMAND, "grep", *options, *patterns, *names), expected)
            found += expected[0] == 0
        self.assertGreater(found, ROUNDS // 2)


if __name__ == "__main__":
    unittest.main()
