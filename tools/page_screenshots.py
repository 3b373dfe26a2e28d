"""Pictures of the page in the states that are worth a look.

usage: page_screenshots.py KESTREL_TWIN FOLDER
"""

import pathlib
import sys
import tempfile

from browser import Browser
from twin import Twin, run_script

LAPTOP = (1366, 768)
TELEPHONE = (390, 844)
SHARP = ("set lens.camN.focus fullrange", "run 8")

# Name, the twin's options, and what brings it there after the boot.
STATES = (
    ("moving", (), (*SHARP, "set lens.camN.pan left:7", "set lens.camN.tilt up:3", "run 0.6",
                    "set lens.camN.tilt stop", "run 0.2")),
    ("homing", (), (*SHARP, "set lens.camN.action.cmd home1", "run 2.2")),
    ("levelled-on-a-wall", ("--mount", "wall90"),
     (*SHARP, "set lens.camN.rotate a:2500", "run 5", "set lens.camN.rotate auto", "run 12")),
    ("out-of-focus", (), ("set lens.camN.focus a:900", "run 3")),
    ("lights-on", (), (*SHARP, "set lens.camN.tilt a:4000", "run 4", *(
        f"set lens.camN.light.{place}.{key} {value}"
        for place, colour in (("front_left", "red"), ("front_right", "blue"),
                              ("back_left", "green"), ("back_right", "yellow"))
        for key, value in (("color", colour), ("brightness", "high"), ("state", "on"))),
        "run 1")),
    ("power-cut", (), (*SHARP, "power-cut")),
)

# Two boots of one camera; what is looked at is in the second.
BOOTS = (
    ("run 20", *SHARP, "set lens.camN.pan a:30000", "run 1.5", "power-cut"),
    ("run 20", "set lens.camN.pan a:12000", "run 0.6", "set lens.camN.tilt a:4000", "run 5"),
)
MOMENT = 52  # seconds on its time line


def main(program, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    page = Browser()
    try:
        for name, options, commands in STATES:
            twin = Twin(program, *options)
            try:
                take(page, twin, folder, name, commands)
            finally:
                twin.stop()
        take_recording(program, page, folder)
    finally:
        page.quit()


def take(page, twin, folder, name, commands):
    page.size(*LAPTOP)
    page.theme("dark")
    twin.run(20)
    page.open(twin.url)
    twin.do(*commands)
    page.wait_equal(page.state, "off" if name == "power-cut" else "on", "the page shows the power")
    if name != "power-cut":
        page.wait_equal(lambda: page.text('[data-axis="pan"] .number'), str(twin.position("pan")),
                        "the page has followed")
    photograph(page, folder, name)


def take_recording(program, page, folder):
    with tempfile.TemporaryDirectory() as place:
        file = pathlib.Path(place, "two-boots.txt")
        file.write_text("".join(run_script(program, ["--state", f"{place}/camera"], boot) for boot in BOOTS),
                        encoding="latin-1")
        twin = Twin(program, "--replay", str(file), clock=None)
        try:
            page.open(twin.url)
            page.script("const slider = document.querySelector('.player input'); slider.value = arguments[0];"
                        "slider.dispatchEvent(new Event('input'))", MOMENT / 0.04)
            page.wait(lambda: page.find_all(".events [aria-current]"), "the moment's event is marked")
            photograph(page, folder, "recording")
        finally:
            twin.stop()


def photograph(page, folder, name):
    for look, size in (("laptop", LAPTOP), ("telephone", TELEPHONE)):
        for theme in ("dark", "light"):
            page.size(*size, touch=look == "telephone")
            page.theme(theme)
            page.drawn()
            file = folder / f"{name}-{look}-{theme}.png"
            page.driver.save_screenshot(str(file))
            print(file)


if __name__ == "__main__":
    main(*sys.argv[1:])
