# The line drawing drawing.png: a bicycle, drawn large and reduced. Needs Pillow.
import math
from PIL import Image, ImageDraw

SCALE = 4
WIDTH, HEIGHT = 640, 480
picture = Image.new("L", (WIDTH * SCALE, HEIGHT * SCALE), 0)
draw = ImageDraw.Draw(picture)


def line(*points, width=5, fill=255):
    points = [(x * SCALE, y * SCALE) for x, y in points]
    draw.line(points, fill=fill, width=width * SCALE, joint="curve")
    radius = width * SCALE / 2
    for x, y in points:
        draw.ellipse((x - radius, y - radius, x + radius, y + radius), fill=fill)


def ring(x, y, radius, width=5, fill=255):
    radius += width / 2
    draw.ellipse([v * SCALE for v in (x - radius, y - radius, x + radius, y + radius)], outline=fill, width=width * SCALE)


def arc(x, y, radius, start, end, width=4, fill=255):
    line(*[(x + radius * math.cos(math.radians(a)), y + radius * math.sin(math.radians(a))) for a in range(start, end + 1, 3)],
         width=width, fill=fill)


REAR, FRONT, RADIUS = (170, 320), (470, 320), 98
CRANK, SEAT, HEAD, HEAD_LOW = (305, 325), (258, 168), (412, 160), (425, 205)

for x, y in (REAR, FRONT):
    for spoke in range(18):
        angle = math.pi * 2 * spoke / 18 + 0.1
        line((x + 8 * math.cos(angle), y + 8 * math.sin(angle)), (x + RADIUS * math.cos(angle), y + RADIUS * math.sin(angle)),
             width=1, fill=150)
    ring(x, y, RADIUS, 7)
    ring(x, y, RADIUS - 9, 2, 170)
    ring(x, y, 9, 4)

line(REAR, SEAT, width=4)
line(REAR, CRANK, width=5)
line(SEAT, CRANK, width=6)
line((264, 190), (417, 178), width=6)
line(CRANK, HEAD_LOW, width=6)
line(HEAD, HEAD_LOW, (440, 262), FRONT, width=6)
line(SEAT, (250, 142), width=5)
line((218, 136), (240, 140), (284, 136), width=9)
line(HEAD, (406, 138), (440, 126), (470, 132), (478, 152), (466, 166), width=5)
ring(*CRANK, 27, 4)
ring(*CRANK, 8, 4)
line((CRANK[0] - 30, CRANK[1] + 32), CRANK, (CRANK[0] + 30, CRANK[1] - 32), width=5)
line((CRANK[0] - 46, CRANK[1] + 34), (CRANK[0] - 16, CRANK[1] + 34), width=5)
line((CRANK[0] + 16, CRANK[1] - 34), (CRANK[0] + 46, CRANK[1] - 34), width=5)
line((170, 306), (305, 297), width=2, fill=190)
line((170, 334), (305, 353), width=2, fill=190)
arc(170, 320, 112, 200, 300)
arc(470, 320, 112, 235, 330)

line((40, 426), (600, 426), width=3, fill=170)
for x in range(70, 580, 34):
    line((x, 440), (x + 14, 440), width=2, fill=100)
for x, y, size in ((90, 90, 20), (545, 70, 26)):
    for k, r in ((-1.1, 0.8), (0, 1.25), (1.2, 0.85)):
        arc(x + k * size, y, r * size, 180, 360, width=3, fill=170)
    line((x - 1.9 * size, y), (x + 2.05 * size, y), width=3, fill=170)

picture.resize((WIDTH, HEIGHT), Image.LANCZOS).save("drawing.png", optimize=True)
