#!/usr/bin/env python3
"""Fails on an #include that the table "Who may include whom" of docs/architecture.md forbids.

A row names a folder (or a file), the folders and files it may include, the libraries it may see and what it must
never include although its folder is allowed. A folder includes itself and what lies above or below it; from outside
only the headers that lie in a folder itself are seen, not those of its subfolders. Headers of the standard library and
of the system are free; a library's header needs its name (the first part of its path, or its stem) in the row.
Usage: includes.py [ROOT | --self-test]
"""
import contextlib
import io
import re
import sys
import tempfile
from pathlib import Path

_INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
_SYSTEM = re.compile(r'[a-z_]+|(sys|linux|netinet|arpa)/.*|c?(pthread|unistd|fcntl|signal|poll|sched|emmintrin|spawn|dlfcn|errno|time|'
                     r'termios|link|dirent|execinfo|semaphore|stdlib|string|stdio|stdint|cxxabi|langinfo|locale|pwd|elf)\.h')
_SOURCES = ('.h', '.cpp')


def read_table(text):
    """Rows by folder: (allowed folders, libraries, never)."""
    section = text.split('## Who may include whom', 1)[1].split('\n## ', 1)[0]
    rows = {}
    for line in section.splitlines():
        cells = [re.findall(r'`([^`]+)`', cell) for cell in line.strip().strip('|').split('|')]
        if line.startswith('|') and cells[0]:
            for folder in cells[0]:
                rows[folder] = tuple(set(cell) for cell in (cells + [[], [], []])[1:4])
    return rows


def area_of(path):
    """The name of a file in the table's terms: without the folders that all share."""
    return re.sub(r'^KXFW/(Platform/)?', '', path)


def row_of(area, rows):
    """The innermost row that a file belongs to."""
    while area and area not in rows:
        area = area.rpartition('/')[0]
    return area


def is_face(path):
    """A public header for C++ programmers."""
    return re.fullmatch(r'kx/\w+\.h', path) is not None


def related(folder, other):
    return folder == other or folder.startswith(other + '/') or other.startswith(folder + '/')


def allowed_project(area, row, rows, included):
    target = area_of(included)
    folder = target.rpartition('/')[0]
    allowed, _, never = rows[row]
    if target in never or folder in never:
        return False
    inside_own_row = '/' in area and related(area.rpartition('/')[0], folder) and folder != ''
    return inside_own_row or target in allowed or folder in allowed


def faults_of(path, text, rows):
    area = area_of(path)
    row = row_of(area, rows)
    for number, line in enumerate(text.splitlines(), 1):
        found = _INCLUDE.match(line)
        if not found:
            continue
        mark, name = found.groups()
        if not row:
            yield number, 'no row of the table covers this file'
        elif mark == '"' and not re.match(r'(kx|KXFW|Apps|Examples)/', name):
            yield number, f'"{name}" is not written from the root'
        elif is_face(path) and not (mark == '"' and is_face(name) or re.fullmatch(r'[a-z_]+', name)):
            yield number, f'a header of kx/ sees kx/ and the standard library alone, not "{name}"'
        elif mark == '"' and not allowed_project(area, row, rows, name):
            yield number, f'{row} must not include "{name}"'
        elif mark == '<' and not _SYSTEM.fullmatch(name):
            library = name.split('/')[0].split('.')[0]
            if not any(re.fullmatch(pattern.replace('*', '.*'), library) for pattern in rows[row][1]):
                yield number, f'{row} must not include <{name}>'


def check(root):
    rows = read_table((root / 'docs/architecture.md').read_text())
    failed = False
    for folder in ('kx', 'KXFW', 'Apps', 'Examples'):
        for source in sorted(p for p in (root / folder).rglob('*') if p.suffix in _SOURCES):
            path = str(source.relative_to(root))
            for number, fault in faults_of(path, source.read_text(errors='replace'), rows):
                failed = True
                print(f'{path}:{number}: {fault}', file=sys.stderr)
    return failed


def self_test(root):
    rows = read_table((root / 'docs/architecture.md').read_text())
    good = [('KXFW/Audio/KXAFilePlayer.cpp', '"KXFW/Platform/AudioUnits/AudioUnit.h"'),
            ('KXFW/Audio/KXAFilePlayer.cpp', '<vector>'), ('KXFW/Audio/KXAFilePlayer.cpp', '<sys/stat.h>'),
            ('KXFW/Platform/AudioFiles/Codecs/PCM.cpp', '<sndfile.h>'),
            ('KXFW/Platform/AudioFiles/Codecs/PCM.cpp', '"KXFW/Platform/AudioFiles/ExtendedAudioFile.h"'),
            ('KXFW/Platform/AudioFiles/Codecs/MPEG4Module/Module.cpp', '<libavcodec/avcodec.h>'),
            ('KXFW/Platform/Hardware/Hardware.cpp', '"KXFW/Platform/Hardware/Backends/BackendTable.h"'),
            ('KXFW/KXFW.h', '"KXFW/Audio/KXAFilePlayer.h"'), ('kx/Player.h', '"kx/Error.h"'),
            ('kx/Player.cpp', '"KXFW/Audio/KXAFilePlayer.h"'), ('Apps/kxtool/main.cpp', '"kx/Player.h"'),
            ('Apps/kxtool/main.cpp', '"Apps/kxtool/Commands.h"'),
            ('Apps/kxtool/main.cpp', '<CLI/CLI.hpp>'), ('Examples/loop.cpp', '"kx/kx.h"'),
            ('Examples/UI/bar.cpp', '"KXFW/KXFWUI.h"'), ('Examples/UI/bar.cpp', '<QApplication>')]
    bad = [('KXFW/Audio/KXAFilePlayer.cpp', '<sndfile.h>'), ('KXFW/Audio/KXAFilePlayer.cpp', '"KXAData.h"'),
           ('KXFW/Audio/KXAFilePlayer.cpp', '"KXFW/Platform/AudioFiles/Codecs/Decoder.h"'),
           ('KXFW/Audio/KXAFilePlayer.cpp', '"KXFW/Platform/Hardware/HardwareBackend.h"'),
           ('KXFW/Audio/KXAFilePlayer.cpp', '"KXFW/UI/KXAView.h"'),
           ('KXFW/Platform/AudioFiles/ExtendedAudioFile.cpp', '"KXFW/Platform/Hardware/AudioObject.h"'),
           ('KXFW/Platform/AudioFiles/Codecs/PCM.cpp', '<libavcodec/avcodec.h>'),
           ('KXFW/Platform/Foundation/NSLog.cpp', '"KXFW/Audio/KXAData.h"'),
           ('KXFW/Platform/Dispatch/MainQueue.cpp', '<QWidget>'),
           ('Apps/kxtool/main.cpp', '"KXFW/Platform/Foundation/NSLog.h"'), ('Examples/loop.cpp', '<CLI/CLI.hpp>'),
           ('Examples/loop.cpp', '<QApplication>'), ('kx/Player.h', '"KXFW/Audio/KXAFilePlayer.h"'),
           ('kx/Player.h', '<sys/stat.h>'), ('kx/Player.cpp', '<sndfile.h>'),
           ('Apps/kxtool/main.cpp', '"kx/Internal/Errors.h"'), ('Apps/kxtool/main.cpp', '"KXFW/KXFW.h"'),
           ('Examples/loop.cpp', '"Apps/kxtool/Commands.h"'), ('KXFW/Elsewhere/a.cpp', '<vector>')]
    for path, name in good:
        assert not list(faults_of(path, f'#include {name}\n', rows)), f'{path} may include {name}'
    for path, name in bad:
        assert list(faults_of(path, f'#include {name}\n', rows)), f'{path} must not include {name}'
    with tempfile.TemporaryDirectory() as folder:
        tree = Path(folder)
        for name in ('docs', 'kx', 'KXFW/Audio', 'Apps', 'Examples'):
            (tree / name).mkdir(parents=True)
        (tree / 'docs/architecture.md').write_text((root / 'docs/architecture.md').read_text())
        (tree / 'KXFW/Audio/A.cpp').write_text('#include <soxr.h>\n')
        with contextlib.redirect_stderr(io.StringIO()):
            assert check(tree), 'a forbidden include in a file is found'


def main():
    root = Path(__file__).resolve().parents[2]
    if sys.argv[1:] == ['--self-test']:
        return self_test(root)
    return check(Path(sys.argv[1]) if len(sys.argv) > 1 else root)


if __name__ == '__main__':
    sys.exit(main())
