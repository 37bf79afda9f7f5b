#!/usr/bin/env python3
"""Writes a short piece of music of its own, an arpeggio of plucked tones, as a 44,100 Hz 16-bit stereo WAVE file.
Usage: make_music.py OUT.wav [SECONDS]"""
import math
import sys
import wave
from array import array

RATE = 44100
NOTE_SECONDS = 0.2
CHORDS = [(57, 60, 64, 69), (53, 57, 60, 65), (48, 52, 55, 60), (55, 59, 62, 67)]  # A minor, F, C, G


def plucked(midi_note, frames):
    """A tone of three harmonics that dies away, with a short rise against the click."""
    step = 2 * math.pi * 440 * 2 ** ((midi_note - 69) / 12) / RATE
    tone = []
    for i in range(frames):
        level = min(1, i / 100) * math.exp(-5 * i / RATE)
        tone.append(level * (math.sin(step * i) + 0.4 * math.sin(2 * step * i) + 0.2 * math.sin(3 * step * i)))
    return tone


def arpeggio(seconds):
    """Interleaved samples: each chord up and down, every note ringing into the next, wandering left and right."""
    frames = int(seconds * RATE)
    left, right = [0.0] * frames, [0.0] * frames
    tones = {note: plucked(note, RATE) for chord in CHORDS for note in chord}
    for n in range(int(seconds / NOTE_SECONDS)):
        chord = CHORDS[n // 8 % len(CHORDS)]
        tone = tones[(chord + chord[::-1])[n % 8]]
        pan = 0.5 + 0.4 * math.sin(n / 3)
        at = int(n * NOTE_SECONDS * RATE)
        for i, sample in enumerate(tone[:frames - at]):
            left[at + i] += sample * (1 - pan)
            right[at + i] += sample * pan
    samples = array('h')
    for pair in zip(left, right):
        samples.extend(max(-32768, min(32767, round(s * 12000))) for s in pair)
    return samples


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    samples = arpeggio(float(sys.argv[2]) if len(sys.argv) > 2 else 6)
    if sys.byteorder == 'big':
        samples.byteswap()
    with wave.open(sys.argv[1], 'wb') as out:
        out.setnchannels(2)
        out.setsampwidth(2)
        out.setframerate(RATE)
        out.writeframes(samples.tobytes())


if __name__ == '__main__':
    main()
