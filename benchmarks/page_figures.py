"""What the page costs and how quick it is, as a table.

usage: page_figures.py KESTREL_TWIN
"""

import os
import subprocess
import sys
import threading
import time

from browser import Browser
from twin import Twin

SPAN = 10  # seconds of each measurement
BATCH = 50  # sets in one request
RATES = tuple(250 * 2 ** i for i in range(9))  # events a second that are tried

# Notes when the picture is drawn for the first time, and counts what follows.
WATCH = """
    window.frames_ = 0;
    (function look() {
        const drawn = document.querySelector('.stage')?.dataset.roll;
        if (drawn !== undefined) window.firstPicture ??= performance.now();
        window.frames_++;
        requestAnimationFrame(look);
    })();"""


def row(what, value, unit):
    print(f"{what:58} {value:>10} {unit}", flush=True)


def processor_seconds(process):
    """Of the program and of the camera's process, which is its child."""
    path = f"/proc/{process}/task/{process}/children"
    processes = [process, *map(int, open(path).read().split())]
    fields = [open(f"/proc/{one}/stat").read().rsplit(")", 1)[1].split() for one in processes]
    return sum(int(one[11]) + int(one[12]) for one in fields) / os.sysconf("SC_CLK_TCK")


def processor_share(twin, what, moving):
    if moving:
        twin.do("set lens.camN.pan left:1")
    before = processor_seconds(twin.process.pid)
    time.sleep(SPAN)
    row(what, f"{100 * (processor_seconds(twin.process.pid) - before) / SPAN:.1f}", "% of a core")
    if moving:
        twin.do("set lens.camN.pan stop", "set lens.camN.pan a:22166", "run 10")


def measure_load(program, page):
    twin = Twin(program, clock="real")
    twin.run(25)
    for moving in (False, True):
        processor_share(twin, f"twin, {'moving' if moving else 'at rest'}, no page open", moving)
    page.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": WATCH})
    page.open(twin.url)
    first = page.wait(lambda: page.script("return window.firstPicture"), "a picture")
    row("time to the first picture", f"{first:.0f}", "ms")
    loaded = page.script("return [...performance.getEntriesByType('navigation'),"
                         "...performance.getEntriesByType('resource')]"
                         ".reduce((sum, one) => sum + one.transferSize, 0)")
    row("bytes to the first picture", loaded, "bytes")
    for moving in (False, True):
        page.script("window.frames_ = 0")
        processor_share(twin, f"twin, {'moving' if moving else 'at rest'}, one page open", moving)
        if moving:
            row("frames of the browser while moving", f"{page.script('return window.frames_') / SPAN:.0f}", "a second")
    twin.stop()


def flood(twin, rate):
    """Sets keys at a rate, for a while; how many."""
    begin = time.monotonic()
    batches = int(3 * rate / BATCH)
    for i in range(batches):
        time.sleep(max(0.0, begin + i * BATCH / rate - time.monotonic()))
        twin.do(*(f"set x.flood {i}" for _ in range(BATCH)))
    return batches * BATCH, batches * BATCH / (time.monotonic() - begin)


def most_without_loss(twin, taken, what):
    """`taken` gives how many events have come so far, and how many are known to be lost."""
    best = 0
    for rate in RATES:
        before = taken()[0]
        sent, reached = flood(twin, rate)
        end = time.monotonic() + 20
        while taken()[0] < before + sent and not taken()[1] and time.monotonic() < end:
            time.sleep(0.02)
        if taken()[0] < before + sent:
            break
        best = max(best, reached)
        if reached < 0.8 * rate:  # more cannot be sent
            break
    row(what, f"{best:.0f}", "a second")


def measure_events(program, page):
    twin = Twin(program)
    twin.run(20)
    page.open(twin.url)
    page.driver.execute_async_script("""
        const done = arguments[0];
        import('/shared/model.js').then(({listen}) => {
            window.taken = [0, 0];
            listen('trace', (events) => {
                window.taken[0] += events.filter(({text}) => text.startsWith('x.flood')).length; });
            listen('missed', (count) => { window.taken[1] += count; });
            done();
        })""")
    most_without_loss(twin, lambda: page.script("return window.taken"), "events without loss, to the page")
    page.driver.get("about:blank")
    counts = [0, 0]
    begun = threading.Event()
    curl = subprocess.Popen(["curl", "-sN", twin.url + "/events"], stdout=subprocess.PIPE, text=True)

    def count():
        for line in curl.stdout:
            counts[0] += '"text":"x.flood' in line
            counts[1] += line == "event: lost\n"
            begun.set()
    reader = threading.Thread(target=count)
    reader.start()
    begun.wait()
    most_without_loss(twin, lambda: counts, "events without loss, to curl")
    twin.stop()
    reader.join()
    curl.wait()


def main(program):
    page = Browser()
    page.size(1366, 768)
    try:
        measure_load(program, page)
        measure_events(program, page)
    finally:
        page.quit()


if __name__ == "__main__":
    main(*sys.argv[1:])
