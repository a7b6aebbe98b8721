#!/usr/bin/env python3
"""Writes the example's audio: two seconds of 16-bit mono WAV at 44.1 kHz, made here from tones
(a low pulse on every beat, a rising chirp, a high ping every half second), so that no
third-party recording is needed."""
import math
import struct
import sys
import wave

RATE = 44100
SECONDS = 2.0


def sample(t):
    beat = t % 0.5
    pulse = math.sin(2 * math.pi * 90 * t) * math.exp(-beat * 9)
    chirp = 0.35 * math.sin(2 * math.pi * (200 * t + 300 * t * t)) * (0.5 + 0.5 * math.sin(math.pi * t))
    ping = 0.3 * math.sin(2 * math.pi * 1400 * t) * math.exp(-((t + 0.25) % 0.5) * 14)
    return 0.5 * pulse + chirp + ping


def main(path):
    frames = bytearray()
    for i in range(int(RATE * SECONDS)):
        v = max(-1.0, min(1.0, sample(i / RATE)))
        frames += struct.pack("<h", int(v * 32000))
    with wave.open(path, "wb") as w:
        w.setnchannels(1)
        w.setsampwidth(2)
        w.setframerate(RATE)
        w.writeframes(bytes(frames))


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "examples/tones.wav")
