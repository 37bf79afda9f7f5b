#!/usr/bin/env python3
"""Lists the public headers of libKXFW: the umbrella header and all that it reaches, one path a line.
Usage: public_headers.py [ROOT]"""
import re
import sys
from pathlib import Path

_INCLUDE = re.compile(r'^\s*#\s*include\s*"(KXFW/[^"]+)"', re.M)


def public_headers(root):
    """The umbrella KXFW/KXFW.h and the headers it reaches, sorted."""
    found = set()
    waiting = [root / 'KXFW/KXFW.h']
    while waiting:
        header = waiting.pop()
        if header not in found:
            found.add(header)
            waiting += [root / name for name in _INCLUDE.findall(header.read_text())]
    return sorted(found)


if __name__ == '__main__':
    base = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).resolve().parents[2])
    print('\n'.join(str(h.relative_to(base)) for h in public_headers(base)))
