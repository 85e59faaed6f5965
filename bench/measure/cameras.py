# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""Simulated cameras: encoded clips with a counter, and the server that sends them by RTSP."""
import pathlib
import socket
import subprocess
import sys
import tempfile

FPS = 25
CLIP_SECONDS = 20
PICTURES = CLIP_SECONDS * FPS  # then the counter begins anew
GOP = 2 * FPS
SUB_BASE = 1 << 20  # counters of sub streams lie above

FORMS = {
    "360p": ("640x360", "512k"),
    "1080p": ("1920x1080", "4M"),
}

# The row of blocks of simulator/scene/counterrow.h.
BITS, CHECK_BITS, ROW_DIVISOR = 24, 8, 16
START, END = (1, 0, 1, 1), (0, 0, 1, 0)
WHITE, BLACK = 235, 16


def counter_cells(value):
    crc = 0xA5
    for shift in (16, 8, 0):
        crc ^= (value >> shift) & 0xFF
        for _ in range(8):
            crc = ((crc << 1) ^ 0x07 if crc & 0x80 else crc << 1) & 0xFF
    bits = [(value >> bit) & 1 for bit in range(BITS - 1, -1, -1)]
    check = [(crc >> bit) & 1 for bit in range(CHECK_BITS - 1, -1, -1)]
    return [*START, *bits, *check, *END]


def make_clip(file, size, bit_rate, base):
    """Moving patterns under noise, as a camera's sensor gives, with the counter along the top."""
    width, height = (int(side) for side in size.split("x"))
    strip = height // ROW_DIVISOR
    ffmpeg = subprocess.Popen(
        ["ffmpeg", "-v", "error", "-y",
         "-f", "lavfi", "-i", f"testsrc2=size={size}:rate={FPS},noise=alls=4:allf=t",
         "-f", "rawvideo", "-pix_fmt", "gray", "-s", f"{width}x{strip}", "-r", str(FPS), "-i", "-",
         "-filter_complex", "[0][1]overlay=0:0,format=yuv420p", "-t", str(CLIP_SECONDS),
         "-c:v", "libx264", "-preset", "veryfast", "-tune", "zerolatency", "-profile:v", "main",
         "-b:v", bit_rate, "-maxrate", bit_rate, "-bufsize", bit_rate,
         "-x264-params", f"threads=1:keyint={GOP}:scenecut=0:repeat-headers=1",
         str(file)], stdin=subprocess.PIPE)
    for number in range(PICTURES):
        cells = counter_cells(base + number)
        line = bytes(WHITE if cells[x * len(cells) // width] else BLACK for x in range(width))
        ffmpeg.stdin.write(line * strip)
    ffmpeg.stdin.close()
    if ffmpeg.wait() != 0:
        sys.exit("bench: ffmpeg could not make a clip")


def clip(folder, form, sub=False):
    """The file of a clip, made on the first call."""
    file = folder / f"{form}{'-sub' if sub else ''}.ts"
    if not file.exists():
        print(f"bench: encoding {file.name}", file=sys.stderr)
        part = file.with_suffix(".part.ts")
        make_clip(part, *FORMS[form], SUB_BASE if sub else 0)
        part.rename(file)
    return file


class Cameras:
    """A server with one address for each of `count` cameras, and with `sub_form` a second one.
    Each client of an address gets the clip from its first picture on, which is a key picture."""

    def __init__(self, program, clips, form, count, sub_form=None):
        self.program = program
        self.folder = tempfile.TemporaryDirectory(prefix="vantra-bench-")
        self.log = pathlib.Path(self.folder.name) / "sent"
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        self.names = [f"cam{i}" for i in range(count)]
        self.subs = [f"sub{i}" for i in range(count)] if sub_form else []
        self.arguments = []
        for name in self.names:
            self.arguments += ["--clip", f"{name}={clip(clips, form)}"]
        for name in self.subs:
            self.arguments += ["--clip", f"{name}={clip(clips, sub_form, sub=True)}"]
        self.process = None
        try:
            self.start()
        except BaseException:
            self.close()
            raise

    def start(self):
        """Returns when it listens."""
        self.process = subprocess.Popen(
            [self.program, "--port", str(self.port), "--control", "stdin", "--send-log",
             str(self.log), *self.arguments],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        line = self.process.stdout.readline()
        if not line.startswith("READY"):
            raise RuntimeError("the camera server does not start")

    def kill(self):
        if self.process:
            self.process.kill()
            self.process.wait()

    def close(self):
        self.kill()
        self.folder.cleanup()

    def urls(self):
        main = [f"rtsp://127.0.0.1:{self.port}/{name}" for name in self.names]
        if not self.subs:
            return main
        return [f"{url},rtsp://127.0.0.1:{self.port}/{sub}" for url, sub in zip(main, self.subs)]

    def sent(self):
        """(camera, counter, seconds) of the pictures of main streams, in the order of time."""
        result = []
        if not self.log.exists():
            return result
        for line in self.log.read_text().splitlines():
            words = line.split()
            if len(words) == 3 and words[0].startswith("cam"):
                result.append((int(words[0][3:]), int(words[1]) % PICTURES, int(words[2]) / 1e9))
        return result

    def sent_between(self, begin, end):
        return sum(begin <= moment < end for _, _, moment in self.sent())

    def delays(self, events, first=0):
        """Milliseconds from sending to showing, sorted, of the events of a Watcher whose tile 0
        shows the camera `first`."""
        times = {}
        for camera, counter, moment in self.sent():
            times.setdefault((camera, counter), []).append(moment)
        delays = []
        for tile, counter, seen in events:
            before = [moment for moment in times.get((tile + first, counter), []) if moment <= seen]
            if before:
                delays.append((seen - before[-1]) * 1000)
        return sorted(delays)
