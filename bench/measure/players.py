# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""The programs that are compared."""
import os
import pathlib
import select
import shutil
import subprocess
import time

ANSWER_S = 60
# An embedded libVLC ignores the choice of output and draws by OpenGL wherever that loads.
NO_EGL = {"__EGL_VENDOR_LIBRARY_FILENAMES": "/dev/null"}


class Player:
    """A kind of player: what it is called, and how it is started."""

    def __init__(self, name, program, version, environment=None, glx=False, window=True):
        self.name, self.program, self.version = name, program, version
        self.environment, self.glx, self.window = environment or {}, glx, window

    @property
    def is_hasty(self):
        """Gives up pictures for the sake of delay."""
        return self.name == "mpv-untimed"

    def available(self):
        return pathlib.Path(self.program).exists()


class Running:
    """A player that runs. It does what it is told by one line, and says when it has done so."""

    def __init__(self, player, display, layout, urls):
        environment = dict(os.environ, QT_QPA_PLATFORM="xcb", **player.environment)
        if display:
            environment["DISPLAY"] = display.name
        for name in ("WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS"):
            environment.pop(name, None)
        self.process = subprocess.Popen(
            [player.program, str(layout), *urls], env=environment, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.pending = b""
        self._answer(b"READY", ANSWER_S)

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
            got = os.read(self.process.stdout.fileno(), 4096) if ready else b""
            if not got:
                raise RuntimeError(f"no answer \"{begin.decode()}\"")
            self.pending += got

    def tell(self, command, seconds=ANSWER_S):
        """Returns the moment at which it was told, and the answer."""
        told = time.monotonic()
        self.process.stdin.write(command.encode() + b"\n")
        self.process.stdin.flush()
        return told, self._answer(command.encode(), seconds)

    def close(self):
        try:
            self.tell("quit", 10)
            self.process.wait(10)
        except (RuntimeError, OSError, subprocess.TimeoutExpired):
            self.process.kill()
            self.process.wait()


def package_version(*packages):
    for package in packages:
        shown = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package],
                               capture_output=True, text=True, check=False)
        if shown.returncode == 0 and shown.stdout:
            return shown.stdout
    return "?"


def players(build, root):
    """All there are, ours first."""
    commit = subprocess.run(["git", "-C", str(root), "rev-parse", "--short", "HEAD"],
                            capture_output=True, text=True, check=False).stdout.strip()
    folder = build / "bench" / "peers"
    mpv = package_version("libmpv2", "libmpv1")
    own = folder / "peer-vantra"
    everybody = [
        Player("vantra", own, commit),
        Player("vantra-gl", own, commit, {"PEER_OUTPUT": "opengl"}, glx=True),
        Player("vantra-planes", folder / "peer-planes", commit, window=False),
        Player("bare", folder / "peer-bare", package_version("libavcodec59", "libavcodec60"),
               window=False),
        Player("mpv", folder / "peer-mpv", mpv),
        Player("mpv-untimed", folder / "peer-mpv", mpv, {"PEER_UNTIMED": "yes"}),
        Player("vlc", folder / "peer-vlc", package_version("libvlc5"), NO_EGL),
        Player("qt", folder / "peer-qtmultimedia", package_version("libqt5multimedia5")),
        Player("gstreamer", folder / "peer-gstreamer", package_version("libgstreamer1.0-0")),
        Player("ffplay", root / "bench" / "peers" / "ffplay" / "ffplay.py",
               package_version("ffmpeg")),
    ]
    if not shutil.which("ffplay"):
        everybody = [player for player in everybody if player.name != "ffplay"]
    return [player for player in everybody if player.available()]
