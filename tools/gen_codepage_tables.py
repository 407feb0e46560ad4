#!/usr/bin/env python3
"""Generate app/platform/codepage_tables.cpp, the program's four code-page tables.

Each table is stored the way the converter searches it in place:

    word 0   0x01015443 (the bytes "CT", 1, 1)
    word 1   source character set (low 16 bits), target set (high 16 bits)
    word 2   number of pairs
    then     that many pairs of little-endian 16-bit values, key then value

All words are little-endian 32-bit. Character set codes: 1 Unicode, 2 GBK, 3 Big5.

The pairs come from Python's cp936 and cp950 codecs (glibc's iconv CP936 is
used as a second opinion for GBK when it is available). The output depends on
nothing else, so running the script again reproduces the committed file byte
for byte; `--check` compares instead of writing.
"""

import argparse
import ctypes
import ctypes.util
import os
import sys

MAGIC = 0x01015443
UNICODE, GBK, BIG5 = 1, 2, 3

# Big5 codes that code page 950 treats as user-defined although Python's codec
# decodes them (the ETEN extension block); the table leaves them out.
BIG5_LEFT_OUT = (0xC6A1, 0xC8FE)

EXPECTED_GBK_PAIRS = 21791
EXPECTED_BIG5_PAIRS = 13503
EXPECTED_BIG5_RANGES = [  # (first code, last code, pairs)
    (0xA140, 0xA3BF, 408),   # symbols
    (0xA3E1, 0xA3E1, 1),     # the euro sign
    (0xA440, 0xC67E, 5401),  # frequent characters
    (0xC940, 0xF9D5, 7652),  # less frequent characters
    (0xF9D6, 0xF9FE, 41),    # extension characters and box drawing
]
# Code points that two Big5 codes share; the inverse keeps both pairs.
EXPECTED_BIG5_SHARED = {0x2550, 0x255E, 0x2561, 0x256A, 0x256D, 0x256E, 0x256F, 0x2570, 0x5341, 0x5345}

SPOT_CHECKS = [  # (table name, code, code point)
    ("gbk", 0x8140, 0x4E02),
    ("gbk", 0xB0A1, 0x554A),
    ("gbk", 0xA1A1, 0x3000),
    ("big5", 0xA440, 0x4E00),
    ("big5", 0xA3E1, 0x20AC),
    ("big5", 0xF9F9, 0x2550),
]

REPO = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
DEFAULT_OUTPUT = os.path.join(REPO, "app", "platform", "codepage_tables.cpp")


def double_byte_codes():
    """Every code with lead byte 0x81-0xFE and trail byte 0x40-0x7E or 0x80-0xFE, ascending."""
    trails = list(range(0x40, 0x7F)) + list(range(0x80, 0xFF))
    for lead in range(0x81, 0xFF):
        for trail in trails:
            yield lead * 256 + trail


def walk_codec(codec, left_out=None):
    """(code, code point) for every double-byte code the codec decodes to exactly one character."""
    pairs = []
    for code in double_byte_codes():
        if left_out and left_out[0] <= code <= left_out[1]:
            continue
        try:
            text = code.to_bytes(2, "big").decode(codec)
        except UnicodeDecodeError:
            continue
        if len(text) == 1:
            pairs.append((code, ord(text)))
    return pairs


def iconv_pairs(charset):
    """The same walk through glibc's iconv, or None when iconv cannot be reached."""
    name = ctypes.util.find_library("c")
    if not name:
        return None
    libc = ctypes.CDLL(name, use_errno=True)
    libc.iconv_open.restype = ctypes.c_void_p
    libc.iconv_open.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
    libc.iconv.restype = ctypes.c_size_t
    libc.iconv.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_char_p), ctypes.POINTER(ctypes.c_size_t),
                           ctypes.POINTER(ctypes.c_char_p), ctypes.POINTER(ctypes.c_size_t)]
    libc.iconv_close.argtypes = [ctypes.c_void_p]
    cd = libc.iconv_open(b"UTF-32LE", charset.encode())
    if cd is None or cd == ctypes.c_void_p(-1).value:
        return None
    failed = ctypes.c_size_t(-1).value
    pairs = []
    try:
        for code in double_byte_codes():
            libc.iconv(cd, None, None, None, None)
            src = ctypes.create_string_buffer(code.to_bytes(2, "big"), 2)
            dst = ctypes.create_string_buffer(16)
            src_ptr = ctypes.c_char_p(ctypes.addressof(src))
            dst_ptr = ctypes.c_char_p(ctypes.addressof(dst))
            src_left = ctypes.c_size_t(2)
            dst_left = ctypes.c_size_t(16)
            rc = libc.iconv(cd, ctypes.byref(src_ptr), ctypes.byref(src_left), ctypes.byref(dst_ptr),
                            ctypes.byref(dst_left))
            if rc == failed or src_left.value != 0:
                continue
            text = dst.raw[:16 - dst_left.value].decode("utf-32-le")
            if len(text) == 1:
                pairs.append((code, ord(text)))
    finally:
        libc.iconv_close(cd)
    return pairs


def require(condition, message):
    if not condition:
        sys.exit("gen_codepage_tables: " + message)


def build_tables(use_iconv=True):
    gbk = walk_codec("cp936")
    require(len(gbk) == EXPECTED_GBK_PAIRS, "cp936 gave %d pairs, expected %d" % (len(gbk), EXPECTED_GBK_PAIRS))
    if use_iconv:
        glibc = iconv_pairs("CP936")
        if glibc is None:
            print("gen_codepage_tables: glibc iconv CP936 not available, cross-check skipped", file=sys.stderr)
        else:
            require(glibc == gbk, "glibc iconv CP936 disagrees with Python's cp936")

    big5 = walk_codec("cp950", BIG5_LEFT_OUT)
    require(len(big5) == EXPECTED_BIG5_PAIRS,
            "cp950 gave %d pairs, expected %d" % (len(big5), EXPECTED_BIG5_PAIRS))
    for first, last, count in EXPECTED_BIG5_RANGES:
        got = sum(1 for code, _ in big5 if first <= code <= last)
        require(got == count, "Big5 0x%04X-0x%04X holds %d pairs, expected %d" % (first, last, got, count))

    require(all(cp <= 0xFFFF for _, cp in gbk + big5), "a code point does not fit 16 bits")

    # Python's sort is stable: pairs sharing a code point keep their Big5 order.
    ucs2_to_gbk = sorted(((cp, code) for code, cp in gbk), key=lambda pair: pair[0])
    ucs2_to_big5 = sorted(((cp, code) for code, cp in big5), key=lambda pair: pair[0])
    require(len({cp for cp, _ in ucs2_to_gbk}) == EXPECTED_GBK_PAIRS, "the GBK inverse is not one-to-one")
    seen, shared = set(), set()
    for cp, _ in ucs2_to_big5:
        (shared if cp in seen else seen).add(cp)
    require(shared == EXPECTED_BIG5_SHARED,
            "the Big5 inverse repeats %s" % sorted(hex(cp) for cp in shared))

    lookup = {"gbk": dict(gbk), "big5": dict(big5)}
    for table, code, cp in SPOT_CHECKS:
        require(lookup[table].get(code) == cp, "%s 0x%04X does not map to U+%04X" % (table, code, cp))

    return [
        ("s_pBig5ToUcs2Map", "big5ToUcs2", BIG5, UNICODE, big5,
         "Big5 code -> Unicode code point: every double-byte code of code page 950\n"
         "// except the block 0xC6A1-0xC8FE."),
        ("s_pGbkToUcs2Map", "gbkToUcs2", GBK, UNICODE, gbk,
         "GBK code -> Unicode code point: every double-byte code of code page 936."),
        ("s_pUcs2ToGbkMap", "ucs2ToGbk", UNICODE, GBK, ucs2_to_gbk,
         "Unicode code point -> GBK code: the inverse of the GBK table."),
        ("s_pUcs2toBig5Map", "ucs2ToBig5", UNICODE, BIG5, ucs2_to_big5,
         "Unicode code point -> Big5 code: the inverse of the Big5 table. Ten code points\n"
         "// appear twice (once for each of their Big5 codes)."),
    ]


def table_bytes(source, target, pairs):
    data = bytearray()
    data += MAGIC.to_bytes(4, "little")
    data += (source | target << 16).to_bytes(4, "little")
    data += len(pairs).to_bytes(4, "little")
    for key, value in pairs:
        data += key.to_bytes(2, "little") + value.to_bytes(2, "little")
    return bytes(data)


def render(tables):
    out = [
        "// Generated by tools/gen_codepage_tables.py from Python's cp936 and cp950 codecs.",
        "// Do not edit: change the script and run it again.",
        "//",
        "// Layout of each table: three little-endian 32-bit words (magic 0x01015443,",
        "// source set | target set << 16, pair count), then the pairs as little-endian",
        "// 16-bit key and value, sorted by key.",
        "",
        '#include "platform/codepage.h"',
        "",
        "namespace {",
    ]
    for _, array, source, target, pairs, comment in tables:
        data = table_bytes(source, target, pairs)
        out.append("")
        out.append("// " + comment)
        out.append("const unsigned char %s[%d] = {" % (array, len(data)))
        for start in range(0, len(data), 16):
            out.append("    " + ",".join("0x%02x" % b for b in data[start:start + 16]) + ",")
        out.append("};")
    out.append("")
    out.append("} // namespace")
    out.append("")
    for name, array, _, _, _, _ in tables:
        out.append("const unsigned char* const %s = %s;" % (name, array))
    return "\n".join(out) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--output", default=DEFAULT_OUTPUT, help="file to write (default: %(default)s)")
    parser.add_argument("--check", action="store_true",
                        help="compare with the existing file instead of writing; exit 1 if they differ")
    parser.add_argument("--no-iconv", action="store_true", help="skip the glibc iconv cross-check")
    args = parser.parse_args()

    text = render(build_tables(use_iconv=not args.no_iconv)).encode("ascii")
    if args.check:
        try:
            with open(args.output, "rb") as f:
                current = f.read()
        except OSError as err:
            sys.exit("gen_codepage_tables: %s" % err)
        if current != text:
            sys.exit("gen_codepage_tables: %s is not what the script generates" % args.output)
        print("gen_codepage_tables: %s is up to date" % args.output)
        return
    with open(args.output, "wb") as f:
        f.write(text)
    print("gen_codepage_tables: wrote %s" % args.output)


if __name__ == "__main__":
    main()
