#!/usr/bin/env python3
"""Fails when more than two tests needed a second try.   Usage: flakes.py OUTPUT OF ctest --repeat until-pass:2"""
import re
import sys

MOST = 2
# A try reads as "12/345 Test #67: Folder.Suite.Test ....***Failed   1.23 sec", a second one without the count.
TRY = re.compile(r'Test\s+#(\d+): (.+?) \.{2,}\s*(Passed|\*\*\*)')


def repeated(lines):
    """The names of the tests that were tried more than once, in their order."""
    tries = {}
    for line in lines:
        if found := TRY.search(line):
            tries[found[2]] = tries.get(found[2], 0) + 1
    return [name for name, count in tries.items() if count > 1]


def self_test():
    once, again = '1/9 Test  #1: A.b/0 .........   Passed    0.01 sec', '    Test #12: A.c ...***Failed    0.1 sec'
    second = '2/9 Test #12: A.c ....................   Passed    0.01 sec'
    assert repeated([once, again, second, '    Start 12: A.c']) == ['A.c']
    assert repeated([once, '3/9 Test  #3: A.d ....***Skipped    0.00 sec']) == []


def main():
    if sys.argv[1:] == ['--self-test']:
        return self_test()
    with open(sys.argv[1], errors='replace') as log:
        names = repeated(log)
    for name in names:
        print(f'needed a second try: {name}', file=sys.stderr)
    return len(names) > MOST


if __name__ == '__main__':
    sys.exit(main())
