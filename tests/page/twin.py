"""The twin with its page, as a program of its own, and requests to it."""

import json
import math
import re
import subprocess
import urllib.error
import urllib.request

AXES = ("pan", "tilt", "rotate", "zoom", "focus", "iris")


def run_script(program, options, commands):
    """Runs the commands without a page; what comes out with the trace, a recording."""
    return subprocess.run([program, "--clock", "virtual", "--trace", *options], input="\n".join(commands) + "\n",
                          capture_output=True, encoding="latin-1", check=True).stdout


class Twin:
    """Runs kestrel-twin with a page; on the virtual clock time moves by `run` alone. A recording is
    shown without a clock."""

    def __init__(self, program, *options, port=0, clock="virtual"):
        self.process = subprocess.Popen(
            [program, *(["--clock", clock, "--quiet"] if clock else []), "--page", str(port), *options],
            stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        line = self.process.stderr.readline()
        found = re.search(r"http://\S+?:(\d+)/?", line)
        if not found:
            self.stop()
            raise RuntimeError(f"no address in what kestrel-twin said: {line!r}")
        self.url = found.group(0).rstrip("/")
        self.port = int(found.group(1))

    def stop(self):
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.process.stderr.close()

    def request(self, path, body=None):
        data = None if body is None else body.encode()
        try:
            with urllib.request.urlopen(self.url + path, data, timeout=30) as answer:
                return answer.read().decode()
        except urllib.error.HTTPError as error:
            raise RuntimeError(f"{path}: {error.code} {error.read().decode()}") from error

    def do(self, *commands):
        """Console commands, none of which may fail; returns the answers."""
        text = self.request("/console", "\n".join(commands) + "\n")
        return [line.removeprefix("= ") for line in text.splitlines()]

    def run(self, seconds):
        self.do(f"run {seconds}")

    def head(self):
        return json.loads(self.request("/head"))

    def position(self, axis):
        return self.head()[axis]["position"]

    def key(self, name):
        """A key's value, or None."""
        value = self.do(f"get {name}")[0].removeprefix(name + " ")
        return None if value == "absent" else value


def roll_of(head, flip, mirror, rotate):
    """How far up leans from the top of the encoded picture, clockwise in degrees, by gravity alone:
    the motion sensor's x points to the left of its picture, y to the top."""
    right, top = -head["gravity"][0], head["gravity"][1]
    right, top = (-right if mirror else right), (-top if flip else top)
    if rotate:
        right, top = top, -right
    return math.degrees(math.atan2(right, top))


def best_focus(head):
    """The focus of the middle area's peak, from its measured sharpness and which side is better."""
    a, b, c = head["sharpness"]
    distance = 60 * math.sqrt(max(0.0, math.sqrt(1.4 / (b - 0.15)) - 1))
    # Area A's peak lies 6 steps above, area C's 5 below.
    return head["focus"]["position"] + (-distance if a > c else distance)
