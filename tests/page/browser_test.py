#!/usr/bin/env python3
"""Tests of pages in a browser, by browser.mjs. usage: browser_test.py FLOWBOOK_COMMAND NPM_FOLDER PICTURES_FOLDER

PICTURES_FOLDER takes what an example looked like."""

import base64
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
import make_fixtures as made

OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
SKIPPED = 77
# Each of these tells of itself where it becomes markup: it runs, or requests something.
EVIL = ('"><script>window.ran = 1</script><img src="http://127.0.0.1:9/x" onerror="window.ran = 1">'
        "<style>@import 'http://127.0.0.1:9/y';</style><!-- ' onload='window.ran=1' </title></style></pre>")
EVIL_SVG = (b'<svg xmlns="http://www.w3.org/2000/svg" width="9" height="9" onload="top.ran = 1"><script>top.ran = 1'
            b'</script><image href="http://127.0.0.1:9/z" width="9" height="9"/></svg>')
EXAMPLE_SVG = (b'<svg xmlns="http://www.w3.org/2000/svg" width="600" height="220"><path fill="none" stroke="#1d5d8c" '
               b'stroke-width="4" d="M0 110 C 100 0 200 220 300 110 S 500 0 600 110"/></svg>')
CODE = """window = 5;
signal = sin(0:0.1:10) + 0.2 * noise(101);
smooth = zeros(1, 101);
for k = window:101
    smooth(k) = mean(signal(k - window + 1:k));
end
disp("größte Abweichung: " + max(abs(signal - smooth))); % long enough for a narrow screen to have it scrolled"""


def bitmap(width, height):
    """A BMP picture that only says how large it is, with one colour a byte."""
    return b"BM" + struct.pack("<IHHIIiiHHIIIIII", 54, 0, 0, 54, 40, width, height, 1, 8, 1, 0, 0, 0, 0, 0)


def png(width, height):
    def chunk(kind, content):
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))
    rows = zlib.compress(bytes((width + 7) // 8 + 1) * height, 9)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 1, 0, 0, 0, 0))
            + chunk(b"IDAT", rows) + chunk(b"IEND", b""))


def svg(width, height):
    return f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}"/>'.encode()


def large_pictures():
    """What takes few bytes and would take a browser's memory, or bury the code."""
    images = [("image/svg+xml", svg(10, 30000000)), ("image/svg+xml", svg(900, 9000)), ("image/png", png(60000, 9)),
              ("image/bmp", bitmap(60000, 60000)), *[("image/png", png(5000, 4000))] * 20]
    texts = [paragraph("text", picture(f"p{i}")) for i in range(len(images))]
    return flowbook((made.title("Large"),), [*texts, paragraph("code", run("x = 1;"))], images, [], "<outputs/>")


def escaped(text):
    return text.replace("&", "&amp;").replace("<", "&lt;").replace('"', "&quot;")


def run(text, properties=""):
    marks = "".join(f"<w:{name}/>" for name in properties)
    return f'<w:r><w:rPr>{marks}</w:rPr><w:t xml:space="preserve">{escaped(text)}</w:t></w:r>'


def paragraph(style, *content):
    return f'<w:p><w:pPr><w:pStyle w:val="{escaped(style)}"/></w:pPr>{"".join(content)}</w:p>'


def cell(text, properties=""):
    return f"<w:tc><w:tcPr>{properties}</w:tcPr>{paragraph('text', run(text) if text else '')}</w:tc>"


TABLE = ("<w:tbl><w:tr>" + cell("both", '<w:vMerge w:val="restart"/>') + cell("across", '<w:gridSpan w:val="2"/>')
         + "</w:tr><w:tr>" + cell("", "<w:vMerge/>") + cell("one") + cell("two") + "</w:tr>"
         '<w:tr><w:trPr><w:gridBefore w:val="2"/></w:trPr>' + cell("last") + "</w:tr></w:tbl>")


def box(text):
    return ('<w:r><w:pict xmlns:v="urn:v"><v:textbox><w:txbxContent>' + paragraph("text", run(text))
            + "</w:txbxContent></v:textbox></w:pict></w:r>")


def link(relationship, text):
    return f'<w:hyperlink r:id="{relationship}">{run(text)}</w:hyperlink>'


def picture(relationship):
    return f'<w:r><a:blip xmlns:a="urn:a" r:embed="{relationship}"/></w:r>'


def flowbook(properties, paragraphs, images, links, output):
    """Pictures have the relationships p0, p1, ..., links l0, l1, ..."""
    core = made.core(*properties)
    core["root"].append(("o", "output", "tarmic/output.xml"))
    core["parts"]["tarmic/output.xml"] = ("text/xml", output.encode())
    core["parts"].update((f"media/{i}.x", image) for i, image in enumerate(images))
    related = [(f"p{i}", "image", f"/media/{i}.x") for i in range(len(images))]
    related += [(f"l{i}", "urn:link", escaped(target), "External") for i, target in enumerate(links)]
    document = made.rich(*paragraphs, attributes=f' xmlns:r="{OFFICE}"')
    return made.zipped(made.package(document, document_rels=made.relationships(*related), **core))


def data_uri(kind, content):
    return f"data:{kind};base64,".encode() + base64.b64encode(content)


def hostile():
    links = ["javascript:window.ran=1", " JavaScript:window.ran=1", "data:text/html,<script>1</script>", "file:///etc",
             "https://example.org/" + EVIL]
    texts = [paragraph(EVIL, run(EVIL, "bi"), *(link(f"l{i}", EVIL) for i in range(len(links))), picture("p0")),
             paragraph("Heading3", run(EVIL)), paragraph("code", run(EVIL + "\n" + EVIL))]
    images = [("image/svg+xml", data_uri("image/svg+xml", EVIL_SVG)), ("image/svg+xml", EVIL_SVG),
              ("image/png", data_uri("text/html", EVIL.encode())), ("image/x-evil", EVIL.encode())]
    properties = (made.title(escaped(EVIL)), f"<dc:description>{escaped(EVIL)}</dc:description>",
                  f"<cp:version>{escaped(EVIL)}</cp:version>")
    return flowbook(properties, texts, images, links, EVIL)


def wide():
    """What would be wider than a narrow window, and what a file that is cut off shows."""
    labels = "".join(f'<w:lvl w:ilvl="{i}"><w:lvlText w:val="{".".join("%%%d" % (j + 1) for j in range(i + 1))}"/>'
                     "</w:lvl>" for i in range(9))
    numbering = (f'<w:numbering xmlns:w="{made.WORD}"><w:abstractNum w:abstractNumId="0">{labels}</w:abstractNum>'
                 '<w:num w:numId="1"><w:abstractNumId w:val="0"/></w:num></w:numbering>')
    items = [f'<w:p><w:pPr><w:numPr><w:ilvl w:val="{i}"/><w:numId w:val="1"/></w:numPr></w:pPr>{run("an item")}</w:p>'
             for i in range(9)]
    formula = f'<m:oMath xmlns:m="urn:m"><m:r><m:t>{"a + b" * 40}</m:t></m:r></m:oMath>'
    table = f'<w:tbl><w:tr>{cell("a long word")}{cell("column") * 19}</w:tr></w:tbl>'
    parts = {"tarmic/numbering.xml": ("application/xml", numbering.encode())}
    return made.zipped(made.package(made.rich(*items, paragraph("text", formula), table), parts=parts,
                                    document_rels=made.relationships(("n", "x:y/numbering", "numbering.xml"))))


def example():
    texts = [paragraph("Heading1", run("Smoothing")),
             paragraph("text", run("A "), run("moving window", "b"), run(" of "), run("five", "i"),
                       run(" samples is drawn over the signal, and "), link("l0", "the mean"),
                       run(" of each window is kept.")),
             paragraph("code", run(CODE)), paragraph("code", run("x = '\u202ea\u200b';"), run(" % beside")), TABLE,
             paragraph("code", run("y = 2;"), box("A box beside the code")),
             paragraph("text", run("What comes out has less noise:"), picture("p0"))]
    properties = (made.title("Running mean"), made.time("created", "2024-05-01T09:30:00Z"),
                  "<dc:description>Smooths a signal with a window of five samples</dc:description>",
                  made.time("modified", "2024-05-02T16:45:00Z"), "<cp:version>1.2</cp:version>")
    return flowbook(properties, texts, [("image/svg+xml", data_uri("image/svg+xml", EXAMPLE_SVG))],
                    ["https://example.org/mean"], "<outputs><output>0.21</output></outputs>")


def main(command, npm, pictures):
    if not (npm / "node_modules").is_dir():
        print(f"skipped: {npm} has no packages; ./dev test installs them")
        return SKIPPED
    browser = shutil.which("chromium")
    if browser is None or shutil.which("node") is None:
        print("there is no chromium, or no node")
        return 1
    pictures.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as scratch:
        folder = Path(scratch)
        encrypted = made.zipped(made.package(document=b"secret", parameters=";encryption=AES"))
        for name, content in {"hostile": hostile(), EVIL.replace("/", "-")[:200]: hostile(), "example": example(),
                              "large": large_pictures(), "encrypted": encrypted, "damaged": EVIL.encode(),
                              "wide": wide(), "cut": wide()[:-30]}.items():
            (folder / f"{name}.tqx").write_bytes(content)
        subprocess.run([command, "html", ".", "-d", "pages"], cwd=folder, check=False)
        compared = {"changes": ["example.tqx", "hostile.tqx"], "added": ["/dev/null", "example.tqx"]}
        for name, versions in compared.items():
            subprocess.run([command, "diff", "--html", *versions, "-o", f"pages/{name}.html"], cwd=folder, check=False)
        (folder / "code.txt").write_bytes(subprocess.run([command, "cat", "example.tqx"], cwd=folder, check=True,
                                                         capture_output=True).stdout)
        # What the checks find where nothing protects the reader.
        (folder / "control.html").write_text(f"<title>control</title><body>{EVIL[2:]}", encoding="utf-8")
        script = Path(__file__).with_name("browser.mjs").resolve()
        shutil.copy(script, npm / script.name)  # packages are looked for beside the script
        return subprocess.run(["node", str(npm / script.name), browser, str(folder), str(pictures)],
                              check=False, env={**os.environ, "TMPDIR": scratch}).returncode


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], *map(Path, sys.argv[2:])))
