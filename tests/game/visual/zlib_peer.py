#!/usr/bin/env python3
"""An independent zlib implementation for the pixel screen tests.

  zlib_peer.py decompress IN OUT        inflate IN (one complete zlib stream, checksum verified) into OUT
  zlib_peer.py compress IN OUT LEVEL    deflate IN at LEVEL into OUT
"""
import sys
import zlib


def main():
    mode, source, target = sys.argv[1:4]
    with open(source, "rb") as f:
        data = f.read()
    if mode == "decompress":
        result = zlib.decompress(data)
    elif mode == "compress":
        result = zlib.compress(data, int(sys.argv[4]))
    else:
        sys.exit("unknown mode " + mode)
    with open(target, "wb") as f:
        f.write(result)


main()
