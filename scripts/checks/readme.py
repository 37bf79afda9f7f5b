#!/usr/bin/env python3
"""Fails when a program in README.md is not, to the letter, the one in the file of Examples/ that is named before it, or
when one of those files is not shown."""
import re
import sys
from pathlib import Path

root = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).resolve().parents[2])
text = (root / 'README.md').read_text()
shown = dict(re.findall(r'\(`(Examples/\w+\.cpp)`\):\n\n```cpp\n(.*?)```', text, re.S))
for path in (root / 'Examples').glob('*.cpp'):
    name = str(path.relative_to(root))
    if shown.pop(name, None) != path.read_text():
        sys.exit(f'README.md: the program differs from {name}, or is not there')
if shown or text.count('```cpp') != len(list((root / 'Examples').glob('*.cpp'))):
    sys.exit('README.md: a program without a file in Examples/')
