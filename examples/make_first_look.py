#!/usr/bin/env python3
"""Paints the frames of first_look.ksncmd: a lake at dusk, a paper lantern with its flicker, and a warm look.

Run it without arguments to write examples/first_look/ again; the same files come out each time.
"""

import math
import pathlib
import random
import struct
import zlib

FOLDER = pathlib.Path(__file__).parent / "first_look"
WIDTH, HEIGHT, HORIZON = 640, 360, 236
LANTERN_WIDTH, LANTERN_HEIGHT, LANTERN_FRAMES = 80, 112, 8
CUBE_POINTS = 9


def mix(a, b, t):
    return tuple(x + (y - x) * t for x, y in zip(a, b))


def smooth(t):
    t = min(max(t, 0.0), 1.0)
    return t * t * (3 - 2 * t)


def to_bytes(color):
    return bytes(min(max(round(c), 0), 255) for c in color)


def ridge(x, seed, height):
    """Height of a line of hills at column x, from 0 to about `height`."""
    shape = sum(math.sin(x * f + seed * p) / q for f, p, q in ((0.008, 1, 1), (0.021, 3, 2), (0.055, 5, 6)))
    return height * (0.55 + 0.3 * shape)


def sky(x, y):
    t = y / HORIZON
    color = mix((16, 18, 46), (86, 52, 92), smooth(t * 1.25))
    color = mix(color, (236, 128, 74), smooth((t - 0.45) / 0.6))
    glow = math.exp(-(((x - 455) / 150) ** 2 + ((y - HORIZON) / 70) ** 2))
    return mix(color, (255, 206, 128), 0.75 * glow)


def land(x, y):
    color = sky(x, y)
    for seed, height, tint in ((1.3, 62, (92, 56, 84)), (4.1, 34, (38, 26, 50))):
        edge = HORIZON - ridge(x, seed, height)
        color = mix(color, tint, smooth((y - edge) / 1.5))
    return color


def lake(x, y):
    depth = (y - HORIZON) / (HEIGHT - HORIZON)
    wave = math.sin(y * 1.9 + 2.2 * math.sin(x * 0.045 + y * 0.35)) * depth
    mirrored = land(x + 5 * wave, max(HORIZON - (y - HORIZON) * 1.35 + 3 * wave, 0))
    return mix(mirrored, (14, 16, 38), 0.30 + 0.45 * depth - 0.10 * wave)


def paint_background():
    stars = {}
    dice = random.Random(7)
    for _ in range(150):
        stars[dice.randrange(WIDTH), dice.randrange(120)] = dice.random() ** 3
    rows = bytearray()
    for y in range(HEIGHT):
        rows.append(1)  # each byte less its left neighbour
        left = b"\0\0\0"
        for x in range(WIDTH):
            color = land(x, y) if y < HORIZON else lake(x, y)
            star = stars.get((x, y), 0) * (1 - y / 130)
            pixel = to_bytes(mix(color, (255, 244, 224), star))
            rows += bytes((p - q) & 255 for p, q in zip(pixel, left))
            left = pixel

    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))

    header = struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, 2, 0, 0, 0)
    (FOLDER / "lake.png").write_bytes(
        b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(bytes(rows), 9)) + chunk(b"IEND", b"")
    )


def lantern_pixel(x, y, flicker):
    """Red, green, blue and straight alpha of one pixel; the centre is 0, 0 and the body about 1 wide."""
    half_width = 0.52 - 0.16 * smooth((y - 0.1) / 0.8) - 0.10 * smooth((-y - 0.55) / 0.3)
    inside = smooth((half_width - abs(x)) / 0.05) * smooth((0.8 - abs(y)) / 0.05)
    flame = math.exp(-((x / 0.34) ** 2 + ((y - 0.45) / (0.55 + 0.12 * flicker)) ** 2))
    ribs = 0.90 + 0.10 * math.cos(abs(x / half_width) ** 1.5 * 9) if inside else 1
    body = mix((176, 62, 24), (255, 232, 150), min(flame * (0.92 + 0.08 * flicker), 1))
    body = tuple(c * ribs for c in body)
    if y > 0.72:
        body = mix(body, (96, 40, 22), smooth((y - 0.72) / 0.04))
    halo = 0.55 * (1 + 0.12 * flicker) * math.exp(-(((x / 0.62) ** 2 + ((y - 0.1) / 0.72) ** 2)))
    halo *= smooth((1.0 - max(abs(x), abs(y) / 1.4)) / 0.35)
    alpha = inside + (1 - inside) * halo
    color = mix((255, 150, 64), body, inside)
    return to_bytes((color[2], color[1], color[0], 255 * alpha))


def run_length(row):
    """One row of 4-byte pixels as TGA packets."""
    pixels = [row[i : i + 4] for i in range(0, len(row), 4)]
    packed = bytearray()
    i = 0
    while i < len(pixels):
        run = 1
        while i + run < len(pixels) and run < 128 and pixels[i + run] == pixels[i]:
            run += 1
        if run > 1:
            packed += bytes([127 + run]) + pixels[i]
            i += run
            continue
        start = i
        while i < len(pixels) and i - start < 128 and (i + 1 == len(pixels) or pixels[i + 1] != pixels[i]):
            i += 1
        packed += bytes([i - start - 1]) + b"".join(pixels[start:i])
    return packed


def paint_lantern():
    for frame in range(LANTERN_FRAMES):
        turn = frame * 2 * math.pi / LANTERN_FRAMES
        flicker = 0.6 * math.sin(turn) + 0.4 * math.sin(3 * turn + 1)
        data = bytearray(struct.pack("<BBBHHBHHHHBB", 0, 0, 10, 0, 0, 0, 0, 0, LANTERN_WIDTH, LANTERN_HEIGHT, 32, 0x28))
        for row in range(LANTERN_HEIGHT):
            pixels = bytearray()
            for column in range(LANTERN_WIDTH):
                x = (column - LANTERN_WIDTH / 2 + 0.5) / (LANTERN_WIDTH / 2)
                y = (row - LANTERN_HEIGHT / 2 + 0.5) / (LANTERN_WIDTH / 2)
                pixel = lantern_pixel(x, y, flicker)
                pixels += pixel if pixel[3] else b"\0\0\0\0"
            data += run_length(bytes(pixels))
        (FOLDER / f"lantern.{frame + 1:02d}.tga").write_bytes(data)


def paint_look():
    """A little contrast, cooler shadows, warmer lights. Red runs fastest."""
    lines = ['TITLE "dusk"', f"LUT_3D_SIZE {CUBE_POINTS}"]
    steps = [i / (CUBE_POINTS - 1) for i in range(CUBE_POINTS)]
    for b in steps:
        for g in steps:
            for r in steps:
                luma = 0.2126 * r + 0.7152 * g + 0.0722 * b
                warm = smooth(luma) - 0.35
                values = (r + 0.06 * warm, g + 0.005 * warm, b - 0.07 * warm)
                values = (v + 0.10 * (smooth(v) - v) for v in values)
                lines.append(" ".join(f"{min(max(v, 0), 1):.4f}" for v in values))
    (FOLDER / "dusk.cube").write_text("\n".join(lines) + "\n")


FOLDER.mkdir(exist_ok=True)
paint_background()
paint_lantern()
paint_look()
