#!/usr/bin/env python3
"""Runs clang-tidy over all sources, those of a folder at once: headers cost more than all of our own code, and are
parsed once a folder this way. The text of the sources is put one after another, not included, because some checks
look at the main file alone.

Usage: tidy_folders.py BUILD SOURCE...     BUILD: the build folder with compile_commands.json
"""
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

INCLUDE = re.compile(r'\s*#\s*include\s+(\S+)')
# The analyser follows a function for so many steps; its own 225,000 cost six times as much and found nothing more.
ANALYSER = ['-Xclang', '-analyzer-config', '-Xclang', 'max-nodes=20000']
PROGRAM = re.compile(r'^int main\(', re.M)
PLACE = re.compile(r'^(\S+):(\d+):(\d+: (?:error|warning|note):)')


class Folder:
    """The sources of a folder in one file, and where each of its lines comes from."""

    def __init__(self, path, entry):
        self.path = path
        self.flags = self.flags_of(shlex.split(entry['command'])[1:])
        self.lines, self.places, self.seen = [], [], set()

    @staticmethod
    def flags_of(arguments):
        """What the compiler was given, without the files."""
        arguments = arguments[:arguments.index('-o')]
        return [argument for argument in arguments if not argument.startswith('-Werror')]

    def add(self, source, entry):
        # A source may have definitions of its own.
        self.flags += [f for f in self.flags_of(shlex.split(entry['command'])[1:]) if f[:2] == '-D' and f not in self.flags]
        own = set()
        for number, line in enumerate(source.read_text().splitlines(), 1):
            include = INCLUDE.match(line)
            if include:
                # What another source brought is there already; what is here twice is a fault to be found.
                if include[1] in self.seen:
                    line = ''
                own.add(include[1])
            self.lines.append(line)
            self.places.append((source, number))
        self.seen |= own

    def check(self):
        self.path.parent.mkdir(parents=True, exist_ok=True)
        self.path.write_text('\n'.join(self.lines) + '\n')
        command = ['clang-tidy', '--quiet', str(self.path), '--', *self.flags, '-Wno-unknown-warning-option', *ANALYSER]
        run = subprocess.run(command, capture_output=True, text=True)
        return run.returncode, ''.join(map(self.translated, run.stdout.splitlines(True))), run.stderr

    def translated(self, line):
        found = PLACE.match(line)
        if not found or pathlib.Path(found[1]) != self.path:
            return line
        source, number = self.places[int(found[2]) - 1]
        return f'{source}:{number}:{found[3]}{line[found.end():]}'


def folders(build, sources):
    entries = {pathlib.Path(e['file']).resolve(): e for e in json.loads((build / 'compile_commands.json').read_text())}
    found = {}
    for source in sorted(pathlib.Path(s) for s in sources):
        entry = entries.get(source.resolve())
        if not entry:
            sys.exit(f'tidy: {source} is not in {build}/compile_commands.json')
        alone = PROGRAM.search(source.read_text())  # a folder may hold several programs
        name = build / 'tidy' / source.parent / (source.name if alone else 'sources.cpp')
        found.setdefault(name, Folder(name.resolve(), entry)).add(source, entry)
    return found.values()


def main():
    failed = False
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for code, output, errors in pool.map(Folder.check, folders(pathlib.Path(sys.argv[1]), sys.argv[2:])):
            failed |= code != 0
            print(output, end='', flush=True)
            if code != 0 and not output:
                print(errors, end='', file=sys.stderr)
    return failed


sys.exit(main())
