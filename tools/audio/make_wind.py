#!/usr/bin/env python3
"""Writes the wind loop of the environment bank (game/audio/banks/environment/wind.wav).

Low-passed noise whose brightness and loudness swell with slow gusts. The gusts repeat exactly over the
loop, and the loop's head is crossfaded with the noise that follows its tail, so it plays seamlessly on
repeat. Seeded: running it again writes the same file.

    python3 tools/audio/make_wind.py [output path]
"""
import math
import random
import struct
import sys
import wave

RATE = 22050
SECONDS = 3
FADE = RATE // 4  # samples crossfaded at the seam


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else "game/audio/banks/environment/wind.wav"
    rng = random.Random(7)
    length = RATE * SECONDS
    raw = []
    low = band = 0.0
    for i in range(length + FADE):
        t = (i % length) / length  # gusts follow the loop, so the seam sees the same gust on both sides
        gust = 0.55 + 0.3 * math.sin(2 * math.pi * t) + 0.15 * math.sin(2 * math.pi * 3 * t + 1.0)
        cutoff = 0.01 + 0.05 * gust  # one-pole coefficients: a darker roar in the lulls
        low += cutoff * (rng.uniform(-1.0, 1.0) - low)
        band += 0.3 * (low - band)
        raw.append(band * (0.4 + 0.6 * gust))
    loop = raw[:length]
    for i in range(FADE):
        k = i / FADE
        loop[i] = raw[i] * k + raw[length + i] * (1.0 - k)
    peak = max(abs(s) for s in loop)
    scale = 0.7 * 32767 / peak
    with wave.open(out, "wb") as f:
        f.setnchannels(1)
        f.setsampwidth(2)
        f.setframerate(RATE)
        f.writeframes(b"".join(struct.pack("<h", int(round(s * scale))) for s in loop))


if __name__ == "__main__":
    main()
