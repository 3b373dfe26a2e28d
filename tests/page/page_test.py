"""The page in a real Chromium, against the twin's own truth: what is shown is what GET /head says,
and what is pressed is done. Time moves only where a test runs it.

usage: page_test.py KESTREL_TWIN [unittest's arguments]
"""

import io
import json
import math
import pathlib
import re
import sys
import tempfile
import unittest

from PIL import Image, ImageChops, ImageStat
from selenium.webdriver.support.ui import Select

from browser import Browser
from twin import AXES, Twin, best_focus, roll_of, run_script

PROGRAM = sys.argv.pop(1)
MOUNTS = ("ceiling", "desktop", "wall0", "wall90", "wall180", "wall270")
EVERY = ((False, False, False), (True, True, False), (True, False, False), (False, False, True))
BOOT = 20  # seconds in which the camera boots and homes

served = set()  # the addresses of our own servers

HIGH = {"front_left": "red", "front_right": "blue", "back_left": "green", "back_right": "white"}


def setUpModule():
    global twin, page
    twin = Twin(PROGRAM)
    page = Browser()
    page.size(1200, 800)
    page.theme("light")
    twin.run(BOOT)
    served.add(twin.url + "/")
    page.open(twin.url)


def tearDownModule():
    page.quit()
    twin.stop()


def encoding():
    """What the encoder does with the picture: flip, mirror, rotate."""
    return tuple(twin.key(f"image.camN.{name}") == "on" for name in ("flip", "mirror", "rotate"))


def enter(selector, value, event="input"):
    page.script("const control = document.querySelector(arguments[0]); control.value = arguments[1];"
                "control.dispatchEvent(new Event(arguments[2]))", selector, value, event)


def key(element, name, up=False, shift=False):
    page.script("arguments[0].focus(); arguments[0].dispatchEvent(new KeyboardEvent(arguments[2], {key: arguments[1],"
                " shiftKey: arguments[3], bubbles: true, cancelable: true}))",
                element, name, "keyup" if up else "keydown", shift)


def shows_positions():
    for axis in AXES:
        page.wait_equal(lambda: page.text(f'[data-axis="{axis}"] .number'), str(twin.position(axis)),
                        f"{axis} is shown as it is")


class Buttons(unittest.TestCase):
    """Every button's command arrives, and the head does it."""

    def test_holding_moves_until_released(self):
        for name, axis, direction in (
                ("left", "pan", 1), ("right", "pan", -1), ("up", "tilt", 1), ("down", "tilt", -1),
                ("Zoom in", "zoom", 1), ("Zoom out", "zoom", -1),
                ("Turn forward", "rotate", 1), ("Turn backward", "rotate", -1),
                ("Focus near", "focus", 1), ("Focus far", "focus", -1),
                ("Iris close", "iris", 1), ("Iris open", "iris", -1)):
            with self.subTest(name):
                twin.do("set lens.camN.focus a:900", "run 3")
                before = twin.position(axis)
                button = page.named(name, "#steer")
                begin, end = button.get_attribute("data-command").split("\n")
                page.forget_sent()
                page.press(button)
                page.wait_sent(begin)
                twin.run(0.3)
                held = twin.position(axis)
                page.release()
                page.wait_sent(end)
                twin.run(3)
                after = twin.position(axis)
                self.assertGreater((held - before) * direction, 0, "moves while it is held")
                twin.run(3)
                self.assertEqual(twin.position(axis), after, "stands still when it is released")
        shows_positions()

    def test_a_diagonal_moves_both_axes_at_the_chosen_speed(self):
        enter("#speed", 8)
        self.addCleanup(enter, "#speed", 5)
        before = twin.head()
        button = page.named("up and left", "#steer")
        page.forget_sent()
        page.press(button)
        page.wait_sent("set lens.camN.pan left:8\nset lens.camN.tilt up:8")
        twin.run(0.3)
        page.release()
        page.wait_sent("set lens.camN.pan stop\nset lens.camN.tilt stop")
        twin.run(3)
        self.assertGreater(twin.position("pan"), before["pan"]["position"])
        self.assertGreater(twin.position("tilt"), before["tilt"]["position"])

    def test_autofocus_ends_sharp_and_its_samples_are_shown(self):
        twin.do("set lens.camN.zoom a:300", "set lens.camN.focus a:1700", "run 5")
        for word in ("focus fullrange", "action.cmd AF"):
            with self.subTest(word):
                twin.do("set lens.camN.focus a:1700", "run 3")
                command = f"set lens.camN.{word}"
                page.click(page.command(command), command)
                twin.run(20)
                self.assertLess(abs(twin.position("focus") - best_focus(twin.head())), 9)
                shows_positions()
                page.wait(lambda: not page.find(".stage .hint").is_displayed(),
                          "no hint that the picture is out of focus")
                # The samples may be the former search's until what this one chose is there.
                chosen = f"chose {twin.position('focus')}"
                page.wait(lambda: chosen in page.text("#focus .summary"), chosen)
                self.assertGreater(len(page.find_all("#focus .samples circle")), 20)

    def test_every_run_and_switch_has_its_button(self):
        # What a word leads to is the daemon's business: the console has taken what is shown as sent.
        for command in (*(f"set lens.camN.action.cmd {word}" for word in ("AF", "home", "home3", "homefast", "home1")),
                        "set gpio.camN.out.icr night", "set gpio.camN.out.icr day",
                        "set encode.camN.status stop", "set encode.camN.status start",
                        *(f"set lens.camN.mode_rotate {mode}" for mode in ("auto", "rotate", "off")),
                        *(f"set lens.camN.act_preset {preset}:{word}" for preset in (1, 2)
                          for word in ("set", "go", "del", "set:lock"))):
            with self.subTest(command):
                page.click(page.command(command), command)
                twin.run(40)
        for preset in (1, 2):
            page.wait_equal(lambda: page.text(f'[aria-label="Preset {preset}"] .record'), "pan 22166, tilt 3200",
                            "what is stored")

    def test_faults_come_and_go(self):
        choice = page.find("#fault-name")
        usages = [option.get_attribute("value") for option in choice.find_elements("css selector", "option")]
        self.assertGreater(len(usages), 20)
        # A version is no fault that is in force; the others would keep the camera from going on.
        for usage in (one for one in usages if " version " not in one and
                      not one.startswith(("power-cut", "call", "bus-refuse"))):
            with self.subTest(usage):
                page.forget_sent()
                page.show(choice)
                enter("#fault-name", usage, "change")
                command = f"fault {page.script('return document.getElementById(`fault-text`).value')}"
                page.find(".inject button").click()
                page.wait_sent(command)
                page.wait(lambda: page.find_all("#faults .active button"), "the fault is listed")
                page.click(page.find("#faults .active button"),
                           page.find("#faults .active button").get_attribute("data-command"))
                page.wait_equal(lambda: page.text("#faults .active"), "None in force", "the fault is gone")
                self.assertIn("none active", twin.do("fault"))
        twin.do("fault scene dark", "fault axis pan slow 3")
        page.click(page.command("fault clear"), "fault clear")
        self.assertIn("none active", twin.do("fault"))

    def test_a_click_into_the_picture_centres_there(self):
        twin.do("set lens.camN.pan a:22166", "set lens.camN.tilt a:3200", "set lens.camN.zoom a:0", "run 8",
                "set image.camN.flip off", "set image.camN.mirror off", "set image.camN.rotate off",
                "run 5", "set lens.camN.rotate a:533", "run 5")
        shows_positions()
        stage = page.find(".stage")
        page.show(stage)
        page.forget_sent()
        # A quarter of the picture to the right, a quarter up: from gravity's geometry, where the
        # picture is 100 degrees wide.
        page.script("const s = document.querySelector('.stage'), r = s.getBoundingClientRect();"
                    "s.dispatchEvent(new MouseEvent('click', {bubbles: true, clientX: r.left + r.width * 0.75,"
                    " clientY: r.top + r.height * 0.25}))")
        half = math.tan(math.radians(50))
        right, top = 0.5 * half, 0.5 * half * 9 / 16
        level, rise = math.cos(math.radians(30)) + top * math.sin(math.radians(30)), \
            -math.sin(math.radians(30)) + top * math.cos(math.radians(30))
        heading = 180 + math.degrees(math.atan2(right, level))
        drop = -math.degrees(math.atan2(rise, math.hypot(right, level)))
        page.wait(lambda: re.fullmatch(r"sent: set lens.camN.pan a:\d+  ·  set lens.camN.tilt a:\d+", page.sent() or ""),
                  "both axes are sent")
        twin.run(10)
        self.assertAlmostEqual(twin.position("pan") * 360 / 44333, heading, delta=0.3)
        self.assertAlmostEqual(130 - twin.position("tilt") / 32, drop, delta=0.3)

    def test_a_click_on_a_bar_goes_there(self):
        for axis in ("pan", "tilt", "zoom", "focus", "rotate", "iris"):
            with self.subTest(axis):
                bar = page.find(f'[data-axis="{axis}"] .bar')
                page.show(bar)
                page.forget_sent()
                bar.click()  # in its middle
                goal = page.wait(lambda: re.fullmatch(rf"sent: set lens.camN.{axis} a:(\d+)", page.sent() or ""),
                                 "the middle is sent")
                page.wait(page.find(f'[data-axis="{axis}"] .target').is_displayed, "the target is shown")
                twin.run(12)
                self.assertEqual(twin.position(axis), int(goal.group(1)))
                page.wait(lambda: not page.find(f'[data-axis="{axis}"] .target').is_displayed(), "until it is reached")

    def test_any_key_can_be_set_and_the_console_answers(self):
        for selector, text in (("#set-key", "lens.camN.zoom"), ("#set-value", "a:77")):
            field = page.find(selector)
            page.show(field)
            field.clear()
            field.send_keys(text)
        page.click(page.find(".set button"), "set lens.camN.zoom a:77")
        twin.run(5)
        self.assertEqual(twin.position("zoom"), 77)
        page.wait_equal(lambda: page.text('[data-key="lens.camN.position_zoom"] .value'), "77", "the table follows")
        line = page.find(".console input")
        line.send_keys("get lens.camN.position_zoom\n")
        page.wait_equal(lambda: page.text(".console .answer"), "lens.camN.position_zoom 77", "the answer is shown")
        page.take_logs()
        line.send_keys("nonsense\n")
        page.wait(lambda: "unknown command" in (page.sent() or ""), "a refusal is shown")
        page.forgive("422")

    def test_the_mount_and_the_speed_of_time(self):
        page.choose(page.named("Mount"), "desktop", "mount desktop")
        page.wait(lambda: twin.head()["mount"] == "desktop", "the mount is another")
        self.assertGreater(twin.head()["gravity"][2], 0, "it looks up now")
        page.choose(page.named("Mount"), "ceiling", "mount ceiling")


class Recording(unittest.TestCase):
    """A recording with three boots: what is shown at a moment is what the console told then."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        state = ["--state", f"{cls.folder.name}/camera"]
        # An interrupted move makes the next boot's first status a fail.
        boots = [run_script(PROGRAM, state, script) for script in (
            [f"run {BOOT}", "set lens.camN.pan a:15000", "run 0.4", "head", "run 3.6", "head",
             "set lens.camN.zoom a:300", "run 2", "fault scene offset 200",
             "set lens.camN.focus fullrange", "run 14", "head", "fault clear",
             "set lens.camN.light.front_left.color red", "set lens.camN.light.front_left.state on", "run 2",
             "head", "set lens.camN.pan a:30000", "run 1", "head", "run 0.2", "power-cut"],
            ["run 0.8", "head", "run 29.2", "head", "set lens.camN.tilt a:2000", "run 2", "head",
             "run 1.0073", "power-cut"],
            ["run 0.8", "head"])]
        cls.told = [[json.loads(line[2:]) for line in boot.splitlines() if line.startswith("= {")]
                    for boot in boots]
        cls.lines = [[line for line in boot.splitlines() if not line.startswith(("#", "="))] for boot in boots]
        file = pathlib.Path(cls.folder.name, "boots.txt")
        file.write_text("".join(boots), encoding="latin-1")
        cls.twin = Twin(PROGRAM, "--replay", str(file), clock=None)
        served.add(cls.twin.url + "/")
        page.open(cls.twin.url)

    @classmethod
    def tearDownClass(cls):
        page.take_logs()
        cls.twin.stop()
        cls.folder.cleanup()
        page.open(twin.url)

    # The first boot lasts 43.2 s, and the power is seen to be off for one more. The second one ends, and the third
    # one begins, between two steps.
    BEGINNINGS = (0.0, 44.2, 78.2073)

    def go(self, boot, t):
        enter(".player input", math.ceil((self.BEGINNINGS[boot] + t) / 0.04 - 1e-6))

    def moment(self):
        """The boot and its time, as the player says."""
        found = re.match(r"boot (\d) of 3, ([\d.]+) of", page.text(".player .place"))
        return int(found.group(1)) - 1, float(found.group(2))

    def check(self, boot, head):
        for axis in AXES:
            page.wait_equal(lambda: page.text(f'[data-axis="{axis}"] .number'), str(head[axis]["position"]), axis)
        page.wait_equal(lambda: page.script("return document.querySelector('[data-led=\"0\"]').matches('.lit')"),
                        head["leds"][0] != "00000000", "the first LED")
        happened = [line.split(" ", 2) for line in self.lines[boot] if float(line.split()[0]) <= head["t"]]
        keys = dict(text.split(" ", 1) for _, kind, text in happened if kind in ("bus", "cmd"))
        for key in ("position_pan", "panstatus", "tiltstatus", "focusstatus"):
            name = f"lens.camN.{key}"
            page.wait_equal(lambda: page.text(f'[data-key="{name}"] .value'), keys.get(name), name)
        latest = [text for _, kind, text in happened if kind != "i2c"][-1]
        page.wait_equal(lambda: page.text(".events [aria-current] span"), latest, "the event that is marked")
        row = page.script("const list = document.querySelector('.events'), row = list.querySelector('[aria-current]');"
                          "return [row.offsetTop - list.scrollTop, list.clientHeight, row.previousElementSibling !== null]")
        self.assertTrue(0 <= row[0] < row[1], "it is in sight")
        later = len([line for line in self.lines[boot] if " i2c " not in line]) > len(
            [line for line in happened if line[1] != "i2c"])
        self.assertEqual(row[2], later, "and what comes later stands above it")

    def test_any_moment_is_shown_forwards_and_backwards(self):
        moments = [(boot, head) for boot, heads in enumerate(self.told) for head in heads]
        self.assertTrue(any(head["pan"]["busy"] for _, head in moments))
        for boot, head in moments + moments[::-1] + moments[::3]:
            with self.subTest(boot=boot, t=head["t"]):
                self.go(boot, head["t"])
                self.check(boot, head)

    def test_what_led_to_the_moment_is_shown_with_it(self):
        self.go(0, 41)
        page.wait(lambda: "Last search" in page.text("#focus .summary"), "the search before it")
        page.wait_equal(lambda: page.text("#faults .active"), "None in force", "no fault")
        self.go(0, 30)
        page.wait_equal(lambda: page.text("#faults .active li span"), "scene offset 200", "the fault of that time")
        self.go(0, 20)
        page.wait(lambda: "No search yet" in page.text("#focus .summary"), "before the search there was none")
        self.go(0, 43)
        page.wait(lambda: page.find('[data-axis="pan"] .target').is_displayed(), "where the pan axis is going")
        self.go(1, 0.4)
        page.wait_equal(lambda: page.text('[data-axis="pan"] .status'), "fail", "the status of an interrupted move")
        self.go(0, 43.6)
        page.wait_equal(page.state, "off", "the power is off between the boots")
        page.wait(lambda: page.find(".stage .off").is_displayed(), "no picture, then")
        self.go(1, 33.0073)
        page.wait_equal(page.state, "off", "and at the very moment of a cut")
        self.go(1, 1)
        page.wait_equal(page.state, "on", "and on again")

    def test_it_plays_pauses_and_plays_faster(self):
        def press():
            page.find(".player .play").click()
        self.go(0, 0)
        page.wait_equal(self.moment, (0, 0.0), "the beginning")
        press()
        page.wait(lambda: self.moment()[1] > 0.3, "it plays")
        press()
        paused = self.moment()
        page.drawn()
        self.assertEqual(self.moment(), paused, "it stands still")
        # By the browser's own clock, which the steps of a frame are taken from.
        def rate(speed):
            Select(page.named("Speed of the recording")).select_by_value(speed)
            self.go(0, 0)
            press()
            seen = page.driver.execute_async_script("""
                const done = arguments[0], slider = document.querySelector('.player input');
                let first = null;
                let before = slider.value;
                (function look(now) {
                    const value = slider.value * 0.04, moved = slider.value !== before;
                    before = slider.value;
                    if (moved) first ??= [now, value];
                    if (moved && now > first[0] + 1500) done((value - first[1]) * 1000 / (now - first[0]));
                    else requestAnimationFrame(look);
                })(performance.now())""")
            press()
            return seen
        for speed in (0.5, 5):
            self.assertAlmostEqual(rate(f"{speed:g}") / speed, 1, delta=0.25)
        Select(page.named("Speed of the recording")).select_by_value("60")
        press()
        page.wait_equal(self.moment, (2, 0.8), "through all boots to the end")
        page.wait(lambda: page.find(".player .play").get_attribute("aria-label") == "Play", "where it rests")
        self.check(2, self.told[2][-1])

    def test_keyboard(self):
        self.go(0, 20)
        # On the picture and the bars the arrow keys would steer a camera.
        rows = (("ArrowRight", "body", False, (0, 21.0)), ("ArrowLeft", ".stage", False, (0, 20.0)),
                ("ArrowRight", '[data-axis="pan"] .bar', True, (0, 30.0)), ("PageDown", "body", False, (0, 43.2)),
                ("PageDown", "body", False, (1, 0.0)), ("PageUp", "body", False, (0, 43.2)),
                ("End", ".player input", False, (2, 0.8)), ("PageUp", "body", False, (2, 0.03)),
                ("PageUp", "body", False, (1, 33.01)), ("PageDown", "body", False, (2, 0.03)), ("Home", ".player input", False, (0, 0.0)))
        for name, target, shift, moment in rows:
            key(page.find(target), name, shift=shift)
            page.wait_equal(self.moment, moment, f"{name} on {target}")
        # So slow that it has not come to the end when a busy machine gets round to the next key.
        Select(page.named("Speed of the recording")).select_by_value("0.25")
        key(page.find("body"), " ")
        page.wait(lambda: self.moment()[1] > 0.1, "the space bar plays")
        key(page.find("body"), " ")
        paused = self.moment()
        page.drawn()
        self.assertEqual(self.moment(), paused, "and pauses")
        key(page.find(".tools input"), "ArrowRight")
        self.assertEqual(self.moment(), paused, "a search is typed in peace")

    def test_nobody_steers(self):
        self.assertEqual(page.script("""
            return [...document.querySelectorAll('[data-command]')].filter((e) => e.matches('button, select, input') &&
                !e.disabled && e.checkVisibility()).map((e) => e.outerHTML.slice(0, 120))"""), [])
        page.take_logs()
        before = page.requested.copy()
        for selector in (".stage", '[data-axis="pan"] .bar'):
            page.show(page.find(selector))
            page.find(selector).click()
        page.drawn()
        page.take_logs()
        self.assertEqual({url for url in page.requested - before if url.endswith("/console")}, set())
        with self.assertRaisesRegex(RuntimeError, "409 a recording is shown"):
            self.twin.do("set lens.camN.pan a:1")

    def test_narrow_screens(self):
        check_nothing_is_too_wide(self)


class Shown(unittest.TestCase):
    """What is on the screen is the twin's truth."""

    def picture(self):
        """The picture's pixels without what lies over it."""
        page.script("document.querySelector('.cross').style.display = 'none'")
        stage = page.find(".stage")
        page.show(stage)
        page.drawn()
        return Image.open(io.BytesIO(stage.screenshot_as_png)).convert("RGB")

    @staticmethod
    def roll_in(picture, portrait):
        """The lean of up, from where the sky is: blue exceeds green there, and nowhere on the ground."""
        small = picture.resize((160, 90))
        radius = 24 if portrait else 44
        sky, land = [], []
        for x in range(160):
            for y in range(90):
                # A round part, so that the corners of the frame pull nowhere.
                if math.hypot(x - 80, y - 45) < radius:
                    _, g, b = small.getpixel((x, y))
                    (sky if b > g + 8 else land).append(complex(x, -y))
        if min(len(sky), len(land)) < 150:
            raise AssertionError(f"no horizon in the picture: {len(sky)} and {len(land)} of its points")
        up = sum(sky) / len(sky) - sum(land) / len(land)
        return math.degrees(math.atan2(up.real, up.imag))

    def check_roll(self, head, settings):
        expected = roll_of(head, *settings)
        # Not the same roll on the way there.
        shows_positions()
        page.wait(lambda: abs(turn(float(page.find(".stage").get_attribute("data-roll")) - expected)) < 0.1,
                  f"the roll is {expected:.1f}")
        self.assertLess(abs(turn(self.roll_in(self.picture(), portrait=settings[2]) - expected)), 9, "and so the horizon lies")

    def test_the_picture_rolls_as_the_head_does_and_levels_on_every_mount(self):
        # Where each mount sees its horizon.
        places = {"ceiling": (22166, 4160), "desktop": (22166, 4160), "wall0": (11083, 3200), "wall90": (22166, 3200),
                  "wall180": (11083, 3200), "wall270": (22166, 3200)}
        twin.do("set lens.camN.zoom a:0", "set lens.camN.focus a:274", "run 8")
        for mount, (pan, tilt) in places.items():
            twin.do(f"mount {mount}", f"set lens.camN.pan a:{pan}", f"set lens.camN.tilt a:{tilt}",
                    "run 10")
            for settings in EVERY if mount == "ceiling" else ((False, False, False),):
                with self.subTest(mount, settings=settings):
                    flip, mirror, rotate = ("on" if on else "off" for on in settings)
                    # A change of rotate levels, which sets flip and mirror by itself.
                    twin.do(f"set image.camN.rotate {rotate}", "run 20", "set lens.camN.rotate a:1500",
                            "run 5", f"set image.camN.flip {flip}", f"set image.camN.mirror {mirror}")
                    self.assertEqual(encoding(), settings)
                    self.check_roll(twin.head(), settings)
            for rotate in ("off", "on") if mount == "ceiling" else ("off",):
                with self.subTest(mount, levelled=True, rotate=rotate):
                    twin.do(f"set image.camN.rotate {rotate}", "run 20", "set lens.camN.rotate a:1500",
                            "run 5")
                    page.click(page.command("set lens.camN.rotate auto"), "set lens.camN.rotate auto")
                    twin.run(20)
                    self.check_roll(twin.head(), encoding())
                    self.assertLess(abs(roll_of(twin.head(), *encoding())), 1.5, "upright")
        twin.do("mount ceiling", *(f"set image.camN.{name} off" for name in ("flip", "mirror", "rotate")), "run 20")

    def test_the_blur_grows_with_the_distance_from_the_best_focus(self):
        twin.do("set lens.camN.zoom a:200", "run 5")
        edges = []
        blurs = []
        for distance in (0, 60, 200, 600, 1500):
            twin.do(f"set lens.camN.focus a:{658 + distance}", "run 3")
            if distance <= 200:  # beyond, the sharpness tells the distance no more
                self.assertAlmostEqual(best_focus(twin.head()), 658, delta=max(3, distance / 20))
            shows_positions()
            width = page.find(".sensor").size["width"]
            expected = 2.6 * distance / (distance + 420) * width / 100
            page.wait(lambda: abs(float(page.find(".stage").get_attribute("data-blur")) - expected) < 0.05, "the blur")
            style = page.script("return getComputedStyle(document.querySelector('.sensor')).filter")
            blurs.append(float(re.match(r"blur\(([\d.]+)px\)", style).group(1)))
            self.assertAlmostEqual(blurs[-1], expected, delta=0.05)
            edges.append(edge_energy(self.picture()))
        self.assertEqual(blurs, sorted(set(blurs)))
        self.assertEqual(edges, sorted(set(edges), reverse=True), "each picture has less detail than the one before")

    def test_iris_and_filter_change_light_and_colour(self):
        twin.do("set lens.camN.zoom a:0", "set lens.camN.focus a:274", "set lens.camN.iris full_open", "run 5")
        shows_positions()
        bright = self.picture()
        twin.do("set lens.camN.iris full_close", "run 5")
        shows_positions()
        self.assertLess(mean_light(self.picture()), 0.5 * mean_light(bright))
        twin.do("set lens.camN.iris full_open", "set gpio.camN.out.icr night", "run 5")
        shows_positions()
        page.wait(lambda: "sepia" in page.script("return document.querySelector('.sensor').style.filter"), "false colours")
        twin.do("set gpio.camN.out.icr day")

    def test_all_leds_have_the_colours_of_their_words(self):
        def check(meaning):
            twin.run(0.1)
            words = twin.head()["leds"]
            for i, word in enumerate(words):
                white, *colour = bytes.fromhex(word)
                seen = [round(255 * (min(255, level + white) / 255) ** (1 / 2.2)) for level in colour]
                expected = f"rgb({seen[0]}, {seen[1]}, {seen[2]})"
                if word == "00000000":
                    page.wait(lambda: not page.script("return document.querySelector(arguments[0]).matches('.lit')",
                                                      f'[data-led="{i}"]'), f"{meaning}: LED {i} is dark")
                else:
                    page.wait_equal(lambda: page.script(
                        "return getComputedStyle(document.querySelector(arguments[0])).backgroundColor",
                        f'[data-led="{i}"]'), expected, f"{meaning}: LED {i}")
            return words
        for place, colour in HIGH.items():
            name = place.replace("_", " ").capitalize()
            key = f"lens.camN.light.{place}"
            page.choose(page.named(f"{name}: state"), "on", f"set {key}.state on")
            page.choose(page.named(f"{name}: colour"), colour, f"set {key}.color {colour}")
            page.choose(page.named(f"{name}: brightness"), "high", f"set {key}.brightness high")
        words = check("four colours")
        self.assertEqual(words, ["0000ff00"] * 2 + ["00ff0000"] * 2 + ["000000ff"] * 2 + ["ff000000"] * 2)
        # Looking low into the dark, the lights that the head would see are dimmed.
        twin.do("set lens.camN.tilt a:4400", "set lens.camN.pan a:11000", "run 8",
                "set image.camN.exposure.current_gain 12000")
        self.assertNotEqual(check("dimmed"), words)
        twin.do("set image.camN.exposure.current_gain 0", "set lens.global.led_ctrl 1,0,1,0,1,0,1,0")
        self.assertIn("00000000", check("every other one disabled"))
        twin.do("set lens.global.led_ctrl 1,1,1,1,1,1,1,1")
        page.choose(page.named("Demo pattern"), "3", "set demo.led.mode 3")
        for _ in range(3):
            check("a demo pattern")
        page.choose(page.named("Demo pattern"), "0", "set demo.led.mode 0")
        page.click(page.named("Event 3"), "set lens.camN.light.onvif_mode 0,0,0,1,0,0,0,0,0,0,0")
        for _ in range(3):
            check("an event")
        page.wait_equal(lambda: page.named("Event 3").get_attribute("aria-pressed"), "true", "the event is on")
        page.click(page.named("Event 3"), "set lens.camN.light.onvif_mode 0,0,0,0,0,0,0,0,0,0,0")
        for place in HIGH:
            twin.do(f"set lens.camN.light.{place}.state off")
        page.choose(page.named("Power limit"), "128", "set lens.global.led_power 128")
        check("off")
        page.choose(page.named("Power limit"), "255", "set lens.global.led_power 255")

    def test_what_the_daemon_believes_is_shown_beside_the_truth(self):
        twin.do("set lens.camN.pan a:22000", "set lens.camN.tilt a:4160", "run 8", "fault axis pan slip 2000",
                "set lens.camN.pan a:26000", "run 8")
        self.assertEqual(twin.position("pan"), 24000)
        shows_positions()
        page.wait_equal(lambda: page.text('[data-axis="pan"] .mark'), "daemon says 26000", "the mark")
        page.wait(lambda: page.find(".believed").is_displayed(), "the place that the daemon believes")
        page.wait_equal(lambda: page.text("#head .note"), "Outline: where the daemon believes it is", "the outline")
        twin.do("set lens.camN.action.cmd home1", "run 30")
        page.wait(lambda: not page.find('[data-axis="pan"] .mark').is_displayed(), "no mark after homing")
        page.wait(lambda: not page.find(".believed").is_displayed(), "nor in the picture")

    def test_events_can_be_searched_filtered_and_held(self):
        def rows(kind=""):
            return page.script("return [...document.querySelectorAll('.events li')].filter(e => !arguments[0] ||"
                               " e.dataset.kind === arguments[0]).map(e => e.lastElementChild.textContent)", kind)
        twin.do("set lens.camN.zoom a:123", "run 5")
        page.wait(lambda: "lens.camN.zoom a:123" in rows("cmd"), "the set is listed")
        page.wait(lambda: any(text.startswith("setZoom8") for text in rows("mcu")), "and the order")
        page.show(page.find('.kinds'))
        page.find('.kinds [data-kind="mcu"]').click()
        page.wait(lambda: not rows("mcu") and rows("bus"), "orders are filtered")
        page.find('.kinds [data-kind="mcu"]').click()
        search = page.find(".tools input")
        search.send_keys("position_zoom")
        page.wait(lambda: rows() and all("position_zoom" in text for text in rows()), "the search")
        search.clear()
        search.send_keys(" ")
        search.clear()
        page.script("document.querySelector('.tools input').dispatchEvent(new Event('input'))")
        pause = page.find(".tools button[aria-pressed]:not([data-kind])")
        pause.click()
        twin.do("set lens.camN.zoom a:321", "run 5")
        page.wait_equal(lambda: page.text('[data-axis="zoom"] .number'), "321", "the rest of the page goes on")
        self.assertNotIn("lens.camN.zoom a:321", rows())
        pause.click()
        page.wait(lambda: "lens.camN.zoom a:321" in rows(), "what came meanwhile")


class Whole(unittest.TestCase):
    """The page as a whole: power, program, keyboard, sizes."""

    def test_the_power_is_cut_and_switched_on_again(self):
        twin.do("set lens.camN.pan a:12000", "run 8", "set lens.camN.act_preset 1:set", "run 1")
        page.click(page.command("power-cut"), "power-cut")
        page.wait_equal(page.state, "off", "the page says that the camera is off")
        self.assertEqual(page.text(".stage .off"), "The camera is off")
        page.wait(lambda: page.find(".stage .off").is_displayed(), "no picture, then")
        self.assertFalse(twin.head()["on"])
        page.click(page.command("power-on"), "power-on")
        page.wait_equal(page.state, "on", "the page says that the camera is on")
        twin.run(BOOT)
        shows_positions()
        self.assertTrue(twin.key("lens.camN.preset1").startswith("12000,"), "it is the same camera")

    def test_the_program_is_started_again(self):
        global twin
        port = twin.port
        page.take_logs()
        twin.stop()
        page.wait_equal(page.state, "lost", "the page says that nobody answers")
        twin = Twin(PROGRAM, "--seed", "7", port=port)
        twin.run(BOOT)
        page.wait_equal(page.state, "on", "the page has come back by itself")
        shows_positions()
        twin.do("set lens.camN.zoom a:55", "run 5")
        page.wait_equal(lambda: page.text('[data-key="lens.camN.position_zoom"] .value'), "55", "its keys are the new ones")
        page.forgive("ERR_")

    def test_a_key_that_changes_while_all_are_read_keeps_its_new_value(self):
        page.script("""
            const real = window.fetch;
            window.fetch = async (path, ...rest) => {
                const answer = await real(path, ...rest);
                if (path !== '/bus') return answer;
                const text = await answer.text();
                await new Promise((go) => { window.deliver = go; });
                return new Response(text);
            };
            window.unhold = () => { window.fetch = real; window.deliver(); }""")
        twin.do("power-cut", "power-on", "run 20")
        page.wait(lambda: page.script("return window.deliver !== undefined"), "the keys are read")
        twin.do("set lens.camN.zoom a:66", "run 5")
        shown = '[data-key="lens.camN.position_zoom"] .value'
        page.wait_equal(lambda: page.text(shown), "66", "the event comes first")
        page.script("window.unhold()")
        page.wait_equal(lambda: page.text(shown), "66", "the key is still the new one")
        page.drawn()
        self.assertEqual(page.text(shown), "66")

    def test_keyboard(self):
        before = twin.position("tilt")
        up = page.named("up", "#steer")
        begin, end = up.get_attribute("data-command").split("\n")
        page.forget_sent()
        key(up, " ")
        page.wait_sent(begin)
        twin.run(0.3)
        key(up, " ", up=True)
        page.wait_sent(end)
        twin.run(3)
        self.assertGreater(twin.position("tilt"), before)
        page.forget_sent()
        key(page.find('[data-axis="zoom"] .bar'), "End")
        page.wait_sent("set lens.camN.zoom a:2361")
        page.forget_sent()
        key(page.find(".stage"), "ArrowLeft")
        page.wait_sent("set lens.camN.pan left:5")
        key(page.find(".stage"), "ArrowLeft", up=True)
        page.wait_sent("set lens.camN.pan stop")
        twin.run(5)

    def test_everything_is_reached_by_the_keyboard_and_has_a_name(self):
        nameless = page.script("""
            const named = (e) => (e.getAttribute('aria-label') || e.textContent || e.labels?.[0]?.textContent || '').trim();
            return [...document.querySelectorAll('button, input, select, [tabindex]')].filter((e) => !named(e) ||
                e.tabIndex < 0).map((e) => e.outerHTML.slice(0, 120))""")
        self.assertEqual(nameless, [])

    def test_every_button_says_what_it_sends(self):
        silent = page.script("""
            return [...document.querySelectorAll('.steer button, .actions button, .faults button, .banner button,' +
                '.camera button, .camera select, .lights select, .lights button, .bar, .set button')]
                .filter((e) => e.dataset.command === undefined).map((e) => e.outerHTML.slice(0, 120))""")
        self.assertEqual(silent, [])
        button = page.command("set lens.camN.act_preset 1:go")
        page.script("arguments[0].focus()", button)
        page.wait_equal(lambda: page.text(".console .offered"), "set lens.camN.act_preset 1:go", "the command is shown")

    def test_narrow_screens(self):
        check_nothing_is_too_wide(self)

    def test_zz_no_errors_and_no_request_to_another_host(self):
        page.take_logs()
        self.assertEqual(page.complaints, [])
        self.assertTrue(page.requested)
        foreign = {url for url in page.requested if not url.startswith((*served, "data:", "blob:", "chrome:"))}
        self.assertEqual(foreign, set())


def check_nothing_is_too_wide(test):
    for width in (320, 390, 768, 1024):
        with test.subTest(width):
            page.size(width, 700)
            page.wait_equal(lambda: page.script("return innerWidth"), width, "the window's width")
            wide = page.script("""
                return [...document.querySelectorAll('body *')]
                    .filter((e) => e.getBoundingClientRect().right > innerWidth + 0.5 && !e.closest('svg, .frame'))
                    .map((e) => e.outerHTML.slice(0, 100))""")
            test.assertEqual(wide, [], "nothing is wider than the window")
    page.size(1200, 800)


def turn(angle):
    return angle - 360 * round(angle / 360)


def mean_light(picture):
    return ImageStat.Stat(picture.convert("L")).mean[0]


def edge_energy(picture):
    """The squared differences of neighbours: what a blur takes away."""
    grey = picture.convert("L")
    width, height = grey.size
    # The middle, where neither readings nor the frame are, and what lies a point beside it.
    middle, beside = (grey.crop((width // 4 + x, height // 4, 3 * width // 4 + x, 3 * height // 4)) for x in (0, 1))
    return ImageStat.Stat(ImageChops.difference(middle, beside)).sum2[0]


if __name__ == "__main__":
    unittest.main(verbosity=2)
