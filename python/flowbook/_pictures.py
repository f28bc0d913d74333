"""What can be read from the first bytes of a picture."""

from __future__ import annotations

import struct

_SIGNATURES = {b"\x89PNG\r\n\x1a\n": "image/png", b"\xff\xd8\xff": "image/jpeg", b"GIF8": "image/gif",
               b"BM": "image/bmp"}
# The markers of JPEG that a frame's header follows (ITU-T T.81, table B.1).
_FRAMES = {0xC0, 0xC1, 0xC2, 0xC3, 0xC5, 0xC6, 0xC7, 0xC9, 0xCA, 0xCB, 0xCD, 0xCE, 0xCF}


def media_type_of(data: bytes) -> str | None:
    """The media type; None when the bytes are of no known kind."""
    if data[:4] == b"RIFF" and data[8:12] == b"WEBP":
        return "image/webp"
    for signature, media_type in _SIGNATURES.items():
        if data.startswith(signature):
            return media_type
    return "image/svg+xml" if data.lstrip()[:5] in {b"<svg ", b"<?xml"} and b"<svg" in data[:4096] else None


def dimensions_of(data: bytes) -> tuple[int, int] | None:
    """Width and height in pixels; None when the bytes do not have them."""
    try:
        media_type = media_type_of(data)
        if media_type == "image/png":
            return _pair(struct.unpack_from(">II", data, 16))
        if media_type == "image/gif":
            return _pair(struct.unpack_from("<HH", data, 6))
        if media_type == "image/bmp":
            width, height = struct.unpack_from("<ii", data, 18)
            return width, abs(height)
        if media_type == "image/webp":
            return _webp(data)
        return _jpeg(data) if media_type == "image/jpeg" else None
    except struct.error:
        return None


def _pair(values: tuple[int, ...]) -> tuple[int, int]:
    return values[0], values[1]


def _webp(data: bytes) -> tuple[int, int] | None:
    kind = data[12:16]
    if kind == b"VP8X":
        return 1 + int.from_bytes(data[24:27], "little"), 1 + int.from_bytes(data[27:30], "little")
    if kind == b"VP8L":
        bits = struct.unpack_from("<I", data, 21)[0]
        return 1 + (bits & 0x3FFF), 1 + (bits >> 14 & 0x3FFF)
    if kind == b"VP8 ":
        width, height = struct.unpack_from("<HH", data, 26)
        return width & 0x3FFF, height & 0x3FFF
    return None


def _jpeg(data: bytes) -> tuple[int, int] | None:
    at = 2
    while at + 4 <= len(data) and data[at] == 0xFF:
        marker, size = struct.unpack_from(">xBH", data, at)
        if marker in _FRAMES:
            height, width = struct.unpack_from(">HH", data, at + 5)
            return width, height
        at += 2 + size if marker != 0xFF else 1
    return None
