#!/usr/bin/env python3
"""Lists the public headers: the umbrella headers of the libraries and all that they reach, one path a line.
Usage: public_headers.py [ROOT]"""
import re
import sys
from pathlib import Path

_INCLUDE = re.compile(r'^\s*#\s*include\s*"((?:KXFW|kx)/[^"]+)"', re.M)


def public_headers(root):
    """The umbrella headers of both libraries and the headers they reach, sorted."""
    found = set()
    waiting = [h for h in (root / 'kx/kx.h', root / 'kx/testing.h', root / 'KXFW/KXFW.h', root / 'KXFW/KXFWUI.h') if h.exists()]
    while waiting:
        header = waiting.pop()
        if header not in found:
            found.add(header)
            waiting += [root / name for name in _INCLUDE.findall(header.read_text())]
    return sorted(found)


if __name__ == '__main__':
    base = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).resolve().parents[2])
    print('\n'.join(str(h.relative_to(base)) for h in public_headers(base)))
