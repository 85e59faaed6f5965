# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""The programs that are compared."""
import os
import pathlib
import select
import shutil
import signal
import subprocess
import time

ANSWER_S = 20
QUIT_S = 5
# An embedded libVLC ignores the choice of output and draws by OpenGL wherever that loads.
NO_EGL = {"__EGL_VENDOR_LIBRARY_FILENAMES": "/dev/null"}


class Failed(Exception):
    """What a player did not do."""


class Player:
    """A program that is measured: what it is called, and how it is started. By `kind` it shows
    views in a "window", is a "decoder" without one, a "recorder", or no program at all, but a
    "copy" of memory."""

    def __init__(self, name, program, version, environment=None, glx=False, kind="window", what=""):
        self.name, self.program, self.version, self.what = name, program, version, what
        self.environment, self.glx, self.kind = environment or {}, glx, kind

    @property
    def is_hasty(self):
        """Gives up pictures for the sake of delay."""
        return self.name == "mpv-untimed"

    def available(self):
        return bool(self.program) and pathlib.Path(self.program).exists()


class Running:
    """A player that runs. It does what it is told by one line, and says when it has done so."""

    def __init__(self, player, display, layout, urls):
        environment = dict(os.environ, QT_QPA_PLATFORM="xcb", **player.environment)
        if display:
            environment["DISPLAY"] = display.name
        for name in ("WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS"):
            environment.pop(name, None)
        self.process = subprocess.Popen(
            [player.program, str(layout), *urls], env=environment, bufsize=0, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.pending = b""
        try:
            self._answer(b"READY", ANSWER_S)
        except BaseException:
            self.kill()
            raise

    @property
    def pid(self):
        return self.process.pid

    def _answer(self, begin, seconds):
        deadline = time.monotonic() + seconds
        while True:
            line, end, rest = self.pending.partition(b"\n")
            if end:
                self.pending = rest
                if line.startswith(begin):
                    return line.decode()
                continue  # what libraries print
            ready, _, _ = select.select([self.process.stdout], [], [],
                                        max(0, deadline - time.monotonic()))
            if not ready:
                raise Failed(f"hung at \"{begin.decode()}\"")
            got = os.read(self.process.stdout.fileno(), 4096)
            if not got:
                self.process.wait(ANSWER_S)
                self.must_live()
            self.pending += got

    def must_live(self):
        code = self.process.poll()
        if code is not None:
            raise Failed(f"crashed by {signal.Signals(-code).name}" if code < 0
                         else f"ended with {code}")

    def tell(self, command, seconds=ANSWER_S):
        """Returns the moment at which it was told, and the answer."""
        told = time.monotonic()
        try:
            self.process.stdin.write(command.encode() + b"\n")
        except BrokenPipeError:
            self.process.wait(ANSWER_S)
            self.must_live()
        return told, self._answer(command.encode(), seconds)

    def kill(self):
        self.process.kill()
        self.process.wait()

    def close(self):
        try:
            self.tell("quit", QUIT_S)
            self.process.wait(QUIT_S)
        except (Failed, OSError, subprocess.TimeoutExpired):
            self.kill()


def package_version(*packages):
    for package in packages:
        shown = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package],
                               capture_output=True, text=True, check=False)
        if shown.returncode == 0 and shown.stdout:
            return shown.stdout
    return "?"


def own_version(root):
    """The commit, and whether the library differs from it."""
    def git(*arguments):
        try:
            return subprocess.run(["git", "-C", str(root), *arguments], capture_output=True,
                                  text=True, check=False).stdout.strip()
        except OSError:
            return ""
    changed = git("status", "--porcelain", "--", "src", "platform")
    return (git("rev-parse", "--short", "HEAD") or "?") + ("-changed" if changed else "")


def players(build, root):
    """All there are, ours first."""
    commit = own_version(root)
    folder = build / "bench" / "peers"
    mpv = package_version("libmpv2", "libmpv1")
    own = folder / "peer-vantra"
    ffmpeg, gstreamer = package_version("ffmpeg"), package_version("libgstreamer1.0-0")
    launch = shutil.which("gst-launch-1.0")
    everybody = [
        Player("vantra", own, commit, what="this library: painted live views; a recording"),
        Player("vantra-gl", own, commit, {"PEER_OUTPUT": "opengl"}, glx=True,
               what="this library: live views by OpenGL"),
        Player("vantra-planes", folder / "peer-planes", commit, kind="decoder",
               what="this library: streams to a receiver that does nothing"),
        Player("bare", folder / "peer-bare", package_version("libavcodec59", "libavcodec60"),
               kind="decoder", what="libavformat and libavcodec, one thread for each stream"),
        Player("mpv", folder / "peer-mpv", mpv, what="libmpv in a Qt window, low-latency profile"),
        Player("mpv-untimed", folder / "peer-mpv", mpv, {"PEER_UNTIMED": "yes"},
               what="the same with `untimed`, which gives up pictures for delay"),
        Player("vlc", folder / "peer-vlc", package_version("libvlc5"), NO_EGL,
               what="libVLC in a Qt window, 50 ms of caching"),
        Player("qt", folder / "peer-qtmultimedia", package_version("libqt5multimedia5"),
               what="Qt Multimedia's player with a video widget, low latency"),
        Player("gstreamer", folder / "peer-gstreamer", gstreamer,
               what="GStreamer in a Qt window, no latency, unsynchronised"),
        Player("ffplay", root / "bench" / "peers" / "ffplay" / "ffplay.py", ffmpeg,
               what="a window and process for each view, nobuffer, low_delay"),
        Player("ffmpeg -c copy", shutil.which("ffmpeg"), ffmpeg, kind="recorder",
               what="a process for each stream"),
        Player("gstreamer mp4mux", launch, gstreamer, kind="recorder",
               what="one process, `mp4mux` with fragments of 2 s"),
        Player("gstreamer splitmuxsink", launch, gstreamer, kind="recorder",
               what="one process, `splitmuxsink` with that muxer"),
        Player("memcpy", own, package_version("libc6"), kind="copy",
               what="one copy of the payload"),
    ]
    return [player for player in everybody if player.available()]
