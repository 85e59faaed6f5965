# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""Recorders that copy streams into fragmented MP4 files, without a viewer."""
import os
import pathlib
import signal
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor

from cameras import FPS
from players import Player, Running

STOP_S = 20


class FfmpegRecorder:
    """`ffmpeg -c copy`, one process per stream."""
    name = "ffmpeg -c copy"

    def __init__(self, folder, urls):
        self.commands = [
            ["ffmpeg", "-v", "quiet", "-nostdin", "-rtsp_transport", "tcp", "-i", url, "-c", "copy",
             "-movflags", "frag_keyframe+delay_moov", str(folder / f"{i}.mp4")]
            for i, url in enumerate(urls)]
        self.processes = []

    def start(self):
        self.processes = [subprocess.Popen(command, stdin=subprocess.DEVNULL)
                          for command in self.commands]

    def pids(self):
        return [process.pid for process in self.processes]

    def stop(self):
        for process in self.processes:
            process.terminate()
        deadline = time.monotonic() + STOP_S
        for process in self.processes:
            process.wait(max(0, deadline - time.monotonic()))


class GstRecorder:
    """One process with a chain for each stream. gst-launch sends the end of stream on SIGINT."""

    def __init__(self, folder, urls, sink):
        self.command = ["gst-launch-1.0", "-q", "-e"]
        for i, url in enumerate(urls):
            self.command += ["rtspsrc", f"location={url}", "protocols=tcp", "latency=0", "!",
                             "rtph264depay", "!", "h264parse", "!",
                             *sink(folder / f"{i}.mp4")]
        self.process = None

    def start(self):
        self.process = subprocess.Popen(self.command, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def pids(self):
        return [self.process.pid]

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        self.process.wait(STOP_S)


class GstMp4mux(GstRecorder):
    name = "gstreamer mp4mux"

    def __init__(self, folder, urls):
        super().__init__(folder, urls, lambda file: [
            "mp4mux", "fragment-duration=2000", "!", "filesink", f"location={file}"])


class GstSplitmux(GstRecorder):
    name = "gstreamer splitmuxsink"

    def __init__(self, folder, urls):
        super().__init__(folder, urls, lambda file: [
            "splitmuxsink", "muxer-factory=mp4mux",
            "muxer-properties=properties,fragment-duration=(uint)2000", f"location={file}"])


class OwnRecorder:
    """This library: a player like the others, told where to write instead of how to show."""
    name = "vantra"

    def __init__(self, program, folder, urls):
        self.player, self.folder, self.urls = Player(self.name, program, ""), folder, urls
        self.running = None

    def start(self):
        self.running = Running(self.player, None, self.folder, self.urls)
        self.running.tell("start")

    def pids(self):
        return [self.running.pid]

    def stop(self):
        self.running.tell("stop")
        time.sleep(1)  # until the writers have closed their files
        self.running.close()


def payload(file):
    """Bytes and number of the video packets of a file, and the seconds that they span."""
    shown = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=pts_time,size",
         "-of", "csv=p=0", str(file)], capture_output=True, text=True, check=False)
    packets = [line.split(",")[:2] for line in shown.stdout.split()]
    times = [float(time) for time, _ in packets if time != "N/A"]
    return (sum(int(size) for _, size in packets), len(packets),
            max(times) - min(times) + 1 / FPS if times else 0)


def payloads(folder):
    """(bytes of the file, payload()) of all files in a folder and below."""
    made = [path for path in pathlib.Path(folder).rglob("*.mp4") if os.path.getsize(path)]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        return [(os.path.getsize(file), *found)
                for file, found in zip(made, pool.map(payload, made))]
