#!/usr/bin/env python3
"""Prints the table of docs/performance.md: jobs of kxtool and kxbench beside programs and loops that do the same.

Usage: bench_table.py [BUILD FOLDER]. Processor time of the whole process, the best quarter of the runs; trust the
ratios of one run.
"""
import json
import os
import resource
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
RUNS = 15


def processor_ms(command):
    """The processor time of one run, of the best quarter of the runs."""
    times = []
    for _ in range(RUNS):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        times.append((after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime) * 1000)
    return sorted(times)[RUNS // 4]


def kxbench(build, name):
    """The processor time of one benchmark, in nanoseconds."""
    output = subprocess.run([build / 'bin/kxbench', f'--benchmark_filter=^{name}$', '--benchmark_format=json'],
                            capture_output=True, check=True).stdout
    return json.loads(output)['benchmarks'][0]['cpu_time']


def make_media(folder):
    subprocess.run([sys.executable, ROOT / 'scripts/make_music.py', folder / 'minute.wav', '60'], check=True)
    for name, options in (('minute.m4a', ['-c:a', 'aac']), ('minute.mp3', ['-c:a', 'libmp3lame', '-b:a', '192k'])):
        subprocess.run(['ffmpeg', '-v', 'error', '-y', '-i', folder / 'minute.wav', '-ar', '48000', *options,
                        folder / name], check=True)


def compilations(folder):
    """The command that compiles a file with the whole interface in it, and one with the standard headers of that."""
    headers = (ROOT / 'kx').glob('*.h')
    standard = sorted({line for h in headers for line in h.read_text().splitlines() if line.startswith('#include <')})
    commands = []
    for name, lines in (('face', ['#include "kx/kx.h"', '#include "kx/testing.h"']), ('standard', standard)):
        source = folder / f'{name}.cpp'
        source.write_text('\n'.join([*lines, 'int main() {}', '']))
        commands.append(['g++', '-std=c++20', '-O2', f'-I{ROOT}', '-c', source, '-o', folder / f'{name}.o'])
    return commands


def programs(tool, folder):
    """Job, our command, the name of the reference, its command, the most that the ratio is wished to be."""
    wave, aac, mp3 = (folder / f'minute.{kind}' for kind in ('wav', 'm4a', 'mp3'))
    ours, theirs = folder / 'ours', folder / 'theirs'
    raw = ['-af', 'aresample=resampler=soxr:osr=44100', '-f', 's16be', '-y', theirs]
    return [
        ('decode a minute of 16-bit WAV', [tool, 'decode', wave, ours], 'sox',
         ['sox', wave, '-t', 'raw', '-B', theirs], 1.0),
        ('info of a WAV', [tool, 'info', wave], 'sndfile-info', ['sndfile-info', wave], 2.0),
        ('export a minute of WAV', [tool, 'export', wave, f'{ours}.aiff'], 'sndfile-convert',
         ['sndfile-convert', wave, f'{theirs}.aiff'], 1.0),
        ('decode a minute of 48 kHz AAC', [tool, 'decode', aac, ours], 'ffmpeg with soxr',
         ['ffmpeg', '-v', 'error', '-i', aac, *raw], 0.85),
        ('decode a minute of 48 kHz MP3', [tool, 'decode', mp3, ours], 'ffmpeg with soxr',
         ['ffmpeg', '-v', 'error', '-i', mp3, *raw], 0.7),
        ('export at rate 1.25, up 3 semitones', [tool, 'export', wave, f'{ours}.aiff', '--rate', '1.25', '--pitch', '300'],
         'soundstretch', ['soundstretch', wave, f'{theirs}.wav', '-tempo=25', '-pitch=3'], 1.5),
    ]


def row(job, figure, unit, reference, name, wished):
    ratio = figure / reference
    print(f'| {job} | {figure:.3g} {unit} | {name}, {reference:.3g} {unit} | {ratio:.2f} | {wished} |', flush=True)


def main():
    build = Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / 'build/release')
    os.environ['KXFW_AUDIO_BACKEND'] = 'virtual'
    print('| job | figure | reference | ratio | target |\n|---|---|---|---|---|')
    with tempfile.TemporaryDirectory() as folder:
        make_media(Path(folder))
        for job, ours, name, theirs, most in programs(build / 'bin/kxtool', Path(folder)):
            row(job, processor_ms(ours), 'ms', processor_ms(theirs), name, f'at most {most:g}')
        face, standard = compilations(Path(folder))
        row('compile a file that includes `kx/kx.h`', processor_ms(face), 'ms', processor_ms(standard),
            'the standard headers in it', 'at most 1000 ms')
    row('a slice out of the ring', kxbench(build, 'BM_SliceFromAudioData'), 'ns',
        kxbench(build, 'BM_SliceCopyReference'), 'the copy alone', 'at most 2')
    row('a slice from the ring to planar floats, through the chain', kxbench(build, 'BM_SliceFromChain'), 'ns',
        kxbench(build, 'BM_SliceToFloatsReference'), 'a copy and a plain loop', 'at most 2')
    row('a sine', kxbench(build, 'loop/sineOfTheLibrary'), 'ns', kxbench(build, 'oscillator/type:0/lfo:0'),
        'KXOscillator; the figure is the loop over libm', 'at least 2.5')


if __name__ == '__main__':
    main()
