"""Writes shared-cache entries for the files named on standard input, one a line, as another
program would: the picture PICTURES/<name>.png of each file's photograph (<name> is the file
name without its link number and extension), with the keys the Thumbnail Managing Standard
asks for added as tEXt chunks, named after the MD5 of the file's URI, into FOLDER.

usage: thumbnail-keys.py PICTURES FOLDER < files"""
import hashlib
import os
import re
import struct
import sys
import urllib.parse
import zlib

pictures, folder = sys.argv[1], sys.argv[2]


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


for line in sys.stdin:
    path = os.path.abspath(line.rstrip("\n"))
    name = re.sub(r"^\d{5}_", "", os.path.basename(path))
    png = open(os.path.join(pictures, os.path.splitext(name)[0] + ".png"), "rb").read()
    uri = "file://" + urllib.parse.quote(path)
    status = os.stat(path)
    keys = {"Thumb::URI": uri, "Thumb::MTime": str(int(status.st_mtime)),
            "Thumb::Size": str(status.st_size)}
    text = b"".join(chunk(b"tEXt", key.encode() + b"\0" + value.encode())
                    for key, value in keys.items())
    header_end = 8 + 8 + 13 + 4  # signature, then IHDR's length, type, data and CRC
    entry = png[:header_end] + text + png[header_end:]
    digest = hashlib.md5(uri.encode()).hexdigest()
    with open(os.path.join(folder, digest + ".png"), "wb") as out:
        out.write(entry)
