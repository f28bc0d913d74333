#!/usr/bin/env python3
"""Makes an example flowbook with nothing but the standard library, to show how little a flowbook file takes.

usage: make_example.py FILE
"""

import sys
import zipfile
from xml.sax.saxutils import escape

WORDPROCESSINGML = "http://schemas.openxmlformats.org/wordprocessingml/2006/main"
DOCUMENT_TYPE = "application/vnd.pellarion.tarmic.code.document+xml"
DOCUMENT_RELATIONSHIP = "http://schemas.pellarion.com/tarmic/code/2013/relationships/document"
PACKAGE = "http://schemas.openxmlformats.org/package/2006"
DECLARATION = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>'

TITLE = "Running mean"
DESCRIPTION = "Smooths a signal with a window of five samples"
VERSION = "1.2"
CREATED = "2024-05-01T09:30:00Z"
MODIFIED = "2024-05-02T16:45:00Z"
CODE = """\
window = 5;
signal = sin(0:0.1:10) + 0.2 * noise(101);
smooth = zeros(1, 101);
for k = window:101
    smooth(k) = mean(signal(k - window + 1:k));
end
disp("größte Abweichung < " + max(abs(signal - smooth)));"""


def content_types():
    return (f'{DECLARATION}<Types xmlns="{PACKAGE}/content-types">'
            '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
            f'<Override PartName="/tarmic/document.xml" ContentType="{DOCUMENT_TYPE}"/>'
            '<Override PartName="/docProps/core.xml" '
            'ContentType="application/vnd.openxmlformats-package.core-properties+xml"/></Types>')


def relationships():
    return (f'{DECLARATION}<Relationships xmlns="{PACKAGE}/relationships">'
            f'<Relationship Id="rId1" Type="{DOCUMENT_RELATIONSHIP}" Target="tarmic/document.xml"/>'
            f'<Relationship Id="rId2" Type="{PACKAGE}/relationships/metadata/core-properties" '
            'Target="docProps/core.xml"/></Relationships>')


def core_properties():
    return (f'{DECLARATION}<cp:coreProperties xmlns:cp="{PACKAGE}/metadata/core-properties" '
            'xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:dcterms="http://purl.org/dc/terms/" '
            'xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">'
            f'<dcterms:created xsi:type="dcterms:W3CDTF">{CREATED}</dcterms:created>'
            f'<dc:description>{escape(DESCRIPTION)}</dc:description>'
            f'<dcterms:modified xsi:type="dcterms:W3CDTF">{MODIFIED}</dcterms:modified>'
            f'<dc:title>{escape(TITLE)}</dc:title><cp:version>{escape(VERSION)}</cp:version></cp:coreProperties>')


def paragraph(line):
    return ('<w:p><w:pPr><w:pStyle w:val="code"/></w:pPr>'
            f'<w:r><w:t xml:space="preserve">{escape(line)}</w:t></w:r></w:p>')


def document():
    paragraphs = "".join(paragraph(line) for line in CODE.split("\n"))
    return f'{DECLARATION}<w:document xmlns:w="{WORDPROCESSINGML}"><w:body>{paragraphs}</w:body></w:document>'


def main(arguments):
    if len(arguments) != 1:
        print(__doc__.strip().splitlines()[-1], file=sys.stderr)
        return 2
    parts = {"[Content_Types].xml": content_types(), "_rels/.rels": relationships(),
             "tarmic/document.xml": document(), "docProps/core.xml": core_properties()}
    with zipfile.ZipFile(arguments[0], "w", zipfile.ZIP_DEFLATED) as package:
        for name, text in parts.items():
            package.writestr(name, text)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
