#!/usr/bin/env python3
"""Tests of flowbooks in real repositories: setup, filter, hook, merge tool, and what settles conflicts.

usage: git_test.py FLOWBOOK_COMMAND"""

import json
import os
import random
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
import make_fixtures as made

COMMAND = None
PROSE = made.rich(made.paragraph("Why", "Text"), *map(made.paragraph, ["a = 1;", "x", "y", "b = 2;"]))


class Git(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.home = Path(scratch.name)
        self.folder = self.home / "with space, 'quote' and\nline feed"
        self.path = f"{Path(COMMAND).parent}:{os.environ['PATH']}"
        self.folder.mkdir()
        self.git("init", "-q", "-b", "main")

    def run_in(self, *arguments, code=0, text=None, at=None):
        names = {f"GIT_{who}_{what}": "t@t" for who in ("AUTHOR", "COMMITTER") for what in ("NAME", "EMAIL")}
        done = subprocess.run(arguments, cwd=at or self.folder, capture_output=True, input=text, timeout=300,
                              check=False, env={**os.environ, **names, "HOME": str(self.home), "PATH": self.path,
                                                "GIT_CONFIG_NOSYSTEM": "1", "GIT_PAGER": "cat", "XDG_CONFIG_HOME": ""})
        self.assertEqual(done.returncode, code, (arguments, done.stdout, done.stderr))
        return done.stdout.decode(errors="surrogateescape")

    def flowbook(self, *arguments, **more):
        return self.run_in(COMMAND, *arguments, **more)

    def git(self, *arguments, **more):
        return self.run_in("git", *arguments, **more)

    def write(self, name, **package):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(made.zipped(made.package(**package)))

    def commit(self, message="x"):
        self.git("add", ".")
        self.git("commit", "-qm", message)

    def blob(self, name):
        return self.run_in("git", "cat-file", "blob", f":{name}").encode(errors="surrogateescape")

    def set_code(self, name, code):
        self.flowbook("set", name, "--code", "-", text=code.encode())

    def assert_clean(self, **more):
        self.git("update-index", "-q", "--really-refresh", **more)
        self.assertEqual(self.git("status", "--porcelain", **more), "")

    def test_setup_renews_and_undoes(self):
        self.git("config", "diff.flowbook.textconv", "mine")
        self.git("config", "diff.flowbook.xfuncname", "^x")
        self.git("config", "merge.tool", "meld")
        (self.folder / ".gitattributes").write_text("*.txt text", encoding="utf-8")
        before = self.git("config", "--local", "--list"), (self.folder / ".gitattributes").read_text(encoding="utf-8")
        self.flowbook("git", "setup", "--check", code=1)
        self.flowbook("git", "setup")
        self.assertEqual(self.flowbook("git", "setup", "--check") + self.flowbook("git", "setup"), "")
        self.git("config", "diff.flowbook.textconv", "flowbook git textconv")
        self.assertIn("of an older form", self.flowbook("git", "setup", "--check", code=1))
        self.assertIn("--form=", self.flowbook("git", "setup", "--filter"))
        written = (self.folder / ".gitattributes").read_text(encoding="utf-8")
        self.folder.joinpath(".gitattributes").write_text(written + "*.tqx -merge\n", encoding="utf-8")
        self.assertIn("the attribute merge of a.tqx is 'unset'", self.flowbook("git", "setup", "--check", code=1))
        self.folder.joinpath(".gitattributes").write_text(written, encoding="utf-8")
        self.write("a.TQX")
        self.write("-a.tqx")
        self.commit()
        self.set_code("a.TQX", "a\nc")
        self.write("-a.tqx", document=made.rich(made.paragraph("a\nc")))
        self.assertEqual(self.git("diff").count("\n@@ "), 2)
        self.assertRegex(self.git("diff"), r"\n-  b\n\+  c\n")
        self.git("show-ref", "--verify", "refs/notes/textconv/flowbook")
        self.flowbook("git", "setup", "--undo")
        self.git("show-ref", "--verify", "-q", "refs/notes/textconv/flowbook", code=1)
        after = self.git("config", "--local", "--list"), (self.folder / ".gitattributes").read_text(encoding="utf-8")
        self.assertEqual((sorted(after[0].split("\n")), after[1]), (sorted(before[0].split("\n")), before[1]))
        for left, wanted in ((b"", b""), (b"*.x y\n", b"*.x y\n"), (b"*.x y", b"*.x y\n*.z y\n")):
            (self.folder / ".gitattributes").write_bytes(left)
            self.flowbook("git", "setup")
            with open(self.folder / ".gitattributes", "ab") as file:
                file.write(b"" if wanted == left else b"*.z y\n")
            self.flowbook("git", "setup", "--undo")
            self.assertEqual((self.folder / ".gitattributes").read_bytes(), wanted)
        for action in ([], ["--check"], ["--undo"]):
            self.flowbook("git", "setup", *action, at=self.home, code=3)
        self.flowbook("git", "setup", "--global", "--filter")
        self.flowbook("git", "setup", "--global", "--undo")
        left = [path for path in self.home.rglob("*") if path.is_file() and self.folder not in path.parents]
        self.assertEqual(left, [])

    def test_setup_in_places(self):
        self.write("a.tqx")
        self.commit()
        self.path = os.environ["PATH"]
        told = self.flowbook("git", "setup")
        self.assertIn(COMMAND, told)
        self.git("add", ".")
        self.git("commit", "-qm", "attributes")
        for place in (("clone", "-q", "--bare", ".", "bare"), ("worktree", "add", "-q", "tree"),
                      ("clone", "-q", ".", "sub")):
            at = self.folder / place[-1]
            self.git(*place)
            self.flowbook("git", "setup", "--check", at=at, code=int(place[-1] != "tree"))
            self.flowbook("git", "setup", at=at)
            self.assertEqual(self.flowbook("git", "setup", "--check", at=at), "")
        self.assertIn("code: rich", self.git("log", "-p", "--reverse", at=self.folder / "bare"))
        told = self.run_in("sh", "-c", f"'{COMMAND}' diff --html --git HEAD -d x 2>&1", at=self.folder / "bare", code=3)
        self.assertRegex(told, "^flowbook: there is no git working tree here")

    def test_filter_keeps_status_clean(self):
        self.flowbook("git", "setup", "--filter")
        odd = {"no.tqx": b"no flowbook", "cut.tqx": made.zipped(made.package())[:-9], "void.tqx": b"",
               "docx.tqx": made.zipped({"a.txt": b"x" * 999}),
               "many.tqx": made.zipped({**made.package(), **{f"part{number}": b"" for number in range(16384)}})}
        for name, content in odd.items():
            (self.folder / name).write_bytes(content)
        self.write("sub dir/a\n'.tqx", document=PROSE)
        self.write("secret.tqapp", document=b"\0cipher" * 99, parameters=";encryption=AES")
        self.commit()
        self.assertEqual({name: self.blob(name) for name in odd}, odd)
        self.assert_clean()
        stored = self.blob("sub dir/a\n'.tqx")
        self.assertIn(PROSE, stored)
        (self.home / "s.tqx").write_bytes(stored)
        self.flowbook("canon", "--stored", "--check", "../s.tqx")
        self.git("checkout", "-qb", "side")
        for number in range(4):
            self.set_code("sub dir/a\n'.tqx", f"a = {number};\nx\ny\nb = 2;\n")
            self.commit()
        self.git("checkout", "-q", "main")
        self.assert_clean()
        self.set_code("sub dir/a\n'.tqx", "a = 1;\nx\ny\nb = 9;\n")
        self.git("stash", "-q")
        self.assert_clean()
        self.git("stash", "pop", "-q")
        self.commit()
        self.git("rebase", "-q", "side")
        self.assert_clean()
        self.assertEqual(self.flowbook("cat", "sub dir/a\n'.tqx"), "a = 3;\nx\ny\nb = 9;\n")
        self.git("bisect", "start", "HEAD", "HEAD~4")
        self.git("bisect", "run", "sh", "-c", "git status --porcelain | grep . && exit 125; exit 0")
        self.git("bisect", "reset")
        self.git("clone", "-q", ".", "../clone")
        clone = self.home / "clone"
        self.assertEqual((clone / "sub dir/a\n'.tqx").read_bytes(), self.blob("sub dir/a\n'.tqx"))
        self.flowbook("git", "setup", "--filter", at=clone)
        self.git("rm", "-rq", "--cached", ".", at=clone)
        self.git("reset", "-q", "--hard", at=clone)
        self.assert_clean(at=clone)
        self.assertEqual({name: (clone / name).read_bytes() for name in odd}, odd)

    def test_a_filter_that_fails_loses_nothing(self):
        self.flowbook("git", "setup", "--filter")
        self.write("a.tqx")
        self.commit()
        whole = self.blob("a.tqx")
        greeting = (r"0016git-filter-server\n000eversion=2\n0000"
                    r"0015capability=clean\n0016capability=smudge\n0015capability=delay\n0000")
        delayed = r"0013status=delayed\n00000013pathname=a.tqx\n00000013status=success\n0000"
        for answer in ("", r"0013status=success\n000000ffPK", delayed):  # of a filter that says no more then
            # It reads on, or it would be a matter of time whether git fails to write to it or to read from it.
            self.git("config", "filter.flowbook.process", f"printf '{greeting}{answer}'; exec >&-; cat >/dev/null")
            (self.folder / "a.tqx").unlink()
            self.git("checkout", "-q", "--", ".", code=128)
            self.assertFalse((self.folder / "a.tqx").exists())
            self.write("b.tqx", document=PROSE)
            before = (self.folder / "b.tqx").read_bytes()
            self.git("add", "b.tqx", code=128)
            self.assertEqual((self.folder / "b.tqx").read_bytes(), before)
            self.assertEqual(self.blob("a.tqx"), whole)
            self.flowbook("git", "setup", "--filter")
            self.git("checkout", "-q", "--", ".")
            self.assertEqual(self.flowbook("cat", "a.tqx"), "a\nb\n")
        self.git("config", "filter.flowbook.process", "/nowhere/flowbook git filter")
        self.git("add", "b.tqx", code=128)
        (self.folder / "a.tqx").unlink()
        self.git("checkout", "-q", "--", ".", code=128)
        self.flowbook("git", "setup", "--filter")
        self.git("checkout", "-q", "--", ".")
        self.assertEqual(self.flowbook("cat", "a.tqx"), "a\nb\n")

    def test_a_full_disk_loses_nothing(self):
        self.flowbook("git", "setup", "--filter")
        noise = "".join(random.Random(1).choices("0123456789abcdef", k=200000))
        self.write("a.tqx", document=made.rich(made.paragraph(noise)))
        whole = (self.folder / "a.tqx").read_bytes()
        limited = "trap '' XFSZ; ulimit -f 40; "  # of kibibytes; git is told of it like of a full disk
        self.run_in("bash", "-c", limited + "git add a.tqx", code=128)
        self.assertEqual((self.folder / "a.tqx").read_bytes(), whole)
        self.commit()
        (self.folder / "a.tqx").unlink()
        self.run_in("bash", "-c", limited + "git checkout -- a.tqx", code=255)
        self.git("checkout", "--", "a.tqx")
        self.assert_clean()
        self.assertEqual(self.flowbook("cat", "a.tqx"), noise + "\n")
        for way in ("clean", "smudge"):
            self.run_in("bash", "-c", f"flowbook git {way} <a.tqx >/dev/full", code=3)

    def test_old_history_is_brought_into_the_form(self):
        self.write("a.tqx", document=PROSE)
        self.commit()
        self.set_code("a.tqx", "a = 2;\nx\ny\nb = 2;\n")
        self.commit()
        docs = (Path(__file__).parents[2] / "docs/git.md").read_text(encoding="utf-8")
        recipe = docs.partition("```\ngit filter-repo")[2]
        self.git("clone", "-q", ".", "../fresh")
        self.run_in("bash", "-c", "git filter-repo" + recipe.partition("```")[0], at=self.home / "fresh")
        for revision in ("HEAD", "HEAD~1"):
            blob = self.git("cat-file", "blob", f"{revision}:a.tqx", at=self.home / "fresh")
            (self.home / "s.tqx").write_bytes(blob.encode(errors="surrogateescape"))
            self.flowbook("canon", "--stored", "--check", "../s.tqx")

    def test_outputs_stay_out(self):
        self.flowbook("git", "setup", "--strip-outputs")
        self.write("a.tqx", root=[made.TO_DOCUMENT, ("rId2", "output", "tarmic/output.xml")],
                   parts={"tarmic/output.xml": ("text/xml", b"<o>secret</o>")})
        self.commit()
        self.assert_clean()
        self.assertNotIn(b"secret", self.blob("a.tqx"))
        self.assertIn("secret", self.flowbook("git", "textconv", "a.tqx"))
        self.assertNotIn("secret", self.flowbook("git", "textconv", "--no-outputs", "a.tqx"))
        self.assertIn("a.tqx: /tarmic/output.xml\n", self.flowbook("strip", "--check", "a.tqx", code=1))
        self.flowbook("strip", "a.tqx")
        self.assertEqual(self.flowbook("strip", "--check", "a.tqx"), "")

    def test_hook_checks_what_is_staged(self):
        self.git("config", "core.hooksPath", "hooks of ours")
        self.flowbook("git", "setup", "--hook")
        self.write("a.tqx")
        self.commit()
        whole = (self.folder / "a.tqx").read_bytes()
        for name in ("b.TQX", "new\nline.tqapp", "-a b.tqx"):
            (self.folder / name).write_bytes(whole[:-9])
            self.git("add", "--", name)
            (self.folder / name).write_bytes(whole)
            self.git("commit", "-qm", "x", code=1)
            self.assertIn("[package.unreadable]", self.flowbook("git", "hook", code=1))
            self.git("add", "--", name)
            self.git("commit", "-qm", "x")
        sarif = json.loads(self.flowbook("check", "--format=sarif", "a.tqx", "--", "-a b.tqx"))
        self.assertEqual((sarif["version"], sarif["runs"][0]["results"]), ("2.1.0", []))
        self.write("sub/w x.tqx", root=[made.TO_DOCUMENT, ("r1", "t", "/gone")])
        (self.folder / "cut.tqx").write_bytes(whole[:-9])
        sarif = json.loads(self.flowbook("check", "--format=sarif", "cut.tqx", "sub", code=4))
        found = [(each["ruleId"], each["level"], each["locations"][0]["physicalLocation"]["artifactLocation"]["uri"])
                 for each in sarif["runs"][0]["results"]]
        self.assertEqual(found, [("package.unreadable", "error", "cut.tqx"),
                                 ("relationship.dangling", "warning", "sub/w%20x.tqx")])
        self.assertEqual({rule["id"] for rule in sarif["runs"][0]["tool"]["driver"]["rules"]},
                         {rule for rule, _, _ in found})
        (self.folder / "hooks of ours/pre-commit").write_text("mine", encoding="utf-8")
        self.flowbook("git", "setup", "--hook", code=1)

    def test_histories_that_cross(self):
        self.flowbook("git", "setup")
        self.write("a.tqx", document=PROSE)
        self.commit()
        for title in ("X", "Y"):
            self.git("checkout", "-qb", title, "main")
            self.flowbook("set", "a.tqx", "--title", title)
            self.git("commit", "-qam", title)
            self.git("tag", "of" + title)
        for title, other in (("Y", "ofX"), ("X", "ofY")):
            self.git("checkout", "-q", title)
            self.git("merge", "-q", other, code=1)
            self.flowbook("resolve", "a.tqx", "--ours")
            self.git("commit", "-qam", "mine")
        self.git("merge", "-q", "Y", code=1)
        self.assertIn('title: ours "X", theirs "Y"', self.flowbook("resolve", "a.tqx", code=1))

    def test_conflicts_are_settled(self):
        parts = {"conflicts/properties.json": ("application/json", json.dumps({
            "title": {"ours": "A", "theirs": "B"}, "description": {"ours": "D", "theirs": None}}).encode()),
            "conflicts/parts.json": ("application/json", b'{"/media/p-theirs1.png": {"theirsOf": "/media/p.png"}}'),
            "media/p.png": ("image/png", b"ours"), "media/p-theirs1.png": ("image/gif", b"theirs"),
            "x.bin": ("image/png", b"mine"), "x-theirs1.bin": ("image/png", b"mine too")}
        rels = made.relationships(("r1", "image", "/media/p.png"), ("r2", "image", "/media/p-theirs1.png"))
        marked = [made.paragraph("Why", "Text"), made.paragraph("&lt;" * 7 + " ours\na = 1;\n=======\na = 2;\n"
                                                                + "&gt;" * 7 + " theirs\nend")]
        core = made.core(made.title("A"), "<dc:description>D</dc:description>")
        self.write("a.tqx", document=made.rich(*marked), parts={**core["parts"], **parts}, document_rels=rels,
                   root=[*core["root"], ("c1", "conflict", "/conflicts/properties.json"),
                         ("c2", "conflict", "/conflicts/parts.json"), ("x1", "x", "x.bin"),
                         ("x2", "x", "x-theirs1.bin")])
        self.assertEqual(self.flowbook("resolve", "a.tqx", code=1).split("\n")[0:4:3],
                         ["code: both versions stand between markers",
                          "part /media/p.png: theirs is /media/p-theirs1.png"])
        self.flowbook("resolve", "a.tqx", "property", "none", code=1)
        self.flowbook("resolve", "a.tqx", "some", code=2)
        self.flowbook("resolve", "a.tqx", "--theirs", "property", "title", "part", "/media/p.png")
        self.assertEqual(self.flowbook("resolve", "a.tqx", code=1).count("\n"), 2)
        self.flowbook("resolve", "a.tqx", "--ours", "code")
        self.assertEqual(self.flowbook("cat", "a.tqx"), "a = 1;\nend\n")
        self.flowbook("resolve", "a.tqx", "--theirs")
        self.assertEqual(self.flowbook("resolve", "a.tqx"), "")
        info = json.loads(self.flowbook("info", "--json", "a.tqx"))
        self.assertEqual([info["properties"][key] for key in ("title", "description")], ["B", None])
        self.assertEqual({part["name"] for part in info["parts"] if part["name"][1] in "mxc"},
                         {"/core.xml", "/media/p.png", "/x-theirs1.bin", "/x.bin"})
        self.assertIn("image/gif", self.flowbook("parts", "a.tqx"))

    def test_the_users_own_tool_merges_texts(self):
        self.git("config", "merge.tool", "pick")
        self.git("config", "mergetool.pick.cmd", "cat \"$REMOTE\" >\"$MERGED\"")
        self.git("config", "mergetool.pick.trustExitCode", "true")
        self.flowbook("git", "setup", "--filter")
        self.write("a.tqx", document=PROSE)
        (self.folder / "b.txt").write_text("base\n", encoding="utf-8")
        self.commit()
        for branch, value in (("side", "7"), ("main", "8")):
            self.git("checkout", "-q", *(["-b"] if branch == "side" else []), branch)
            self.set_code("a.tqx", f"a = {value};\nx\ny\nb = 2;\n")
            (self.folder / "b.txt").write_text(value + "\n", encoding="utf-8")
            self.commit()
        self.git("merge", "-q", "side", code=1)
        (self.folder / "a.tqx").unlink()
        self.git("checkout", "-q", "--conflict=diff3", "a.tqx")  # git 2.39 crashes when its filter answers late here
        self.assertRegex(self.flowbook("resolve", "a.tqx", code=1), "^code: both versions stand between markers\n$")
        self.git("mergetool", "--no-prompt")
        self.assertEqual(self.flowbook("cat", "a.tqx"), "a = 7;\nx\ny\nb = 2;\n")
        self.assertEqual((self.folder / "b.txt").read_text(encoding="utf-8"), "7\n")
        opener = self.home / "xdg-open"
        opener.write_text('#!/bin/sh\ngrep -c "<h1 dir=.auto.>a.tqx</h1>" "$1"; rm -r "$(dirname "$1")"\n')
        opener.chmod(0o700)
        self.path = f"{self.home}:{self.path}"
        self.git("config", "difftool.pick.cmd", "echo \"$LOCAL\"")
        for options, wanted in ((["--no-prompt"], r"1\n.*b\.txt\n"), (["--dir-diff"], r"1\n.*/left/\n"),
                                (["--no-prompt", "-t", "flowbook"], r"1\n.*b\.txt\n")):
            self.assertRegex(self.git("difftool", *options, "HEAD~1"), f"^{wanted}$")
        left = self.folder / "left.tqx"
        self.flowbook("git", "mergetool", "a.tqx", str(left), "a.tqx", "a.tqx", code=3)


if __name__ == "__main__":
    COMMAND = str(Path(sys.argv.pop(1)).resolve())
    unittest.main()
