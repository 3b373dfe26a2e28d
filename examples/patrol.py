#!/usr/bin/python3
"""A patrol between two presets: patrol.py [ROUNDS]

The same as patrol.cpp, on the camera's topics: goes to preset 1, waits until the camera says that it
is there, goes to preset 2, and so on, and prints when an axis starts and stops. KESTREL_MQTT
(mqtt://HOST[:PORT]) and KESTREL_NAME say which camera is meant. Needs Debian's python3-paho-mqtt.

Exit status: 0 after the last round; 1 if the camera is not there, a preset is missing or a move
does not end.
"""
import os
import queue
import sys
from urllib.parse import urlsplit

from paho.mqtt import client as mqtt
from paho.mqtt.subscribeoptions import SubscribeOptions

LONGEST_MOVE = 300  # seconds
LONGEST_START = 10
AXES = ("pan", "tilt", "rotate", "zoom", "focus", "iris")


class Patrol:
    def __init__(self, url, name):
        self.topic = f"kestrel/{name}/"
        self.messages = queue.Queue()  # what the camera tells, as (KEY or state, VALUE)
        self.client = mqtt.Client(protocol=mqtt.MQTTv5)
        self.client.on_connect = self.on_connect
        self.client.on_message = self.on_message
        parts = urlsplit(url)
        if parts.scheme != "mqtt":
            sys.exit("patrol: accepted: KESTREL_MQTT=mqtt://HOST[:PORT]")
        try:
            self.client.connect(parts.hostname, parts.port or 1883)
        except OSError as error:
            sys.exit(f"patrol: {url}: {error.strerror}")
        self.client.loop_start()

    def on_connect(self, client, _data, _flags, reason, _properties=None):
        if reason.value >= 0x80:
            self.messages.put(("refused", str(reason)))
            return
        # The state comes last: with `online` everything that is kept of the bus has been told.
        for topic in ("bus/#", "state"):
            client.subscribe(self.topic + topic, options=SubscribeOptions(qos=1))

    def on_message(self, _client, _data, message):
        value = message.payload.decode(errors="replace")
        name = message.topic.removeprefix(self.topic)
        self.messages.put((name.removeprefix("bus/").replace("/", "."), value))

    def next(self, seconds):
        try:
            key, value = self.messages.get(timeout=seconds)
        except queue.Empty:
            sys.exit("patrol: the camera says nothing")
        if key == "refused":
            sys.exit(f"patrol: the broker refuses: {value}")
        return key, value

    def whole_state(self):
        """The keys that the broker keeps, once the camera is online."""
        keys = {}
        while True:
            key, value = self.next(LONGEST_START)
            if (key, value) == ("state", "online"):
                return keys
            keys[key] = value

    def set(self, key, value):
        # QoS 2 and no retain: the word is carried out exactly once, and never again later.
        self.client.publish(self.topic + "set/" + key.replace(".", "/"), value, qos=2)

    def go_to(self, preset):
        word = f"{preset}:go"
        self.set("lens.camN.act_preset", word)
        sent = False
        while True:
            key, value = self.next(LONGEST_MOVE)
            if (key, value) == ("state", "offline"):
                sys.exit("patrol: the camera is gone")
            if key in (f"lens.camN.{axis}status" for axis in AXES):
                print(f"  {key} {value}", flush=True)
            if key == "lens.camN.act_preset":
                if sent and value == "done":
                    break
                sent = sent or value == word
        print(f"preset {preset} reached", flush=True)


def main():
    if "KESTREL_MQTT" not in os.environ or "KESTREL_NAME" not in os.environ:
        sys.exit("patrol: where is the camera? set KESTREL_MQTT and KESTREL_NAME")
    patrol = Patrol(os.environ["KESTREL_MQTT"], os.environ["KESTREL_NAME"])
    keys = patrol.whole_state()
    for preset in (1, 2):
        if keys.get(f"lens.camN.preset{preset}", "-1,-1,").startswith("-1,-1,"):
            sys.exit(
                f"patrol: preset {preset} is not stored; "
                f"set lens.camN.act_preset {preset}:set where it is to be"
            )
    for _ in range(int(sys.argv[1]) if len(sys.argv) > 1 else 1):
        patrol.go_to(1)
        patrol.go_to(2)


if __name__ == "__main__":
    main()
