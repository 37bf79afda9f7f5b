#!/usr/bin/env python3
"""Fails when the program in README.md is not, to the letter, the one in Examples/loop.cpp."""
import re
import sys
from pathlib import Path

root = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).resolve().parents[2])
shown = re.search(r'```cpp\n(.*?)```', (root / 'README.md').read_text(), re.S)
if not shown or shown.group(1) != (root / 'Examples/loop.cpp').read_text():
    sys.exit('README.md: the program differs from Examples/loop.cpp')
