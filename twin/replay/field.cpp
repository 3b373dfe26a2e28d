#include "twin/replay/field.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "twin/camera/settings.h"
#include "twin/replay/alignment.h"

namespace twin {

namespace {

constexpr std::array<std::string_view, 6> kAxisNames = {"pan",  "tilt",  "rotate",
                                                        "zoom", "focus", "iris"};

constexpr Microseconds kSecond = 1'000'000;

// The model homes, goes to its places one after the other, and is ready then.
constexpr Microseconds kHomed = 20 * kSecond;
constexpr Microseconds kPlaced = 10 * kSecond;
constexpr Microseconds kReady = kHomed + kPlaced * static_cast<int>(kAxisNames.size());

// Shorter moves tell nothing about a rate.
constexpr Microseconds kLongMove = kSecond / 5;

// A move begins so soon after its word.
constexpr Microseconds kSoon = kSecond;

// From which ratio of a head's time to the model's an axis counts as slow or fast: good motors
// differ by a few hundredths, and a loop's beat adds to every move.
constexpr double kSlow = 1.08;
constexpr double kFast = 0.92;
constexpr std::size_t kEnoughMoves = 2;

// Words that come close to each other may give a pair of statuses more or less.
constexpr int kFewStatuses = 1;

// What words have a sensor find a place, and how far good heads are apart there, in steps.
struct SensedPlace {
    std::string_view axis;
    std::array<std::string_view, 8> words;  // sets begin so
    int tolerance;
    const char* reason;
};
constexpr std::array<SensedPlace, 2> kSensedPlaces = {{
    {"rotate",
     {"lens.camN.action.cmd home1", "lens.camN.rotate auto", "lens.camN.rotate home",
      "lens.camN.pan home", "lens.camN.tilt home", "lens.camN.zoom home", "lens.camN.focus home",
      "lens.camN.iris home"},
     120,
     "pan, tilt or rotate does not stand where it should, or the motion sensor is wrong"},
    {"focus",
     {"lens.camN.action.cmd AF", "lens.camN.action.cmd AAF", "lens.camN.action.cmd CAF",
      "lens.camN.action.cmd test_af", "lens.camN.focus fullrange", "lens.camN.focus all",
      "lens.camN.focus shortrange"},
     40,
     "focus or zoom does not stand where it should, or there is nothing to see (dark, flat)"},
}};

std::optional<int> numberOf(const std::string& text) {
    int number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && stop == text.data() + text.size() ? std::optional(number)
                                                                     : std::nullopt;
}

std::string positionKey(std::string_view axis) {
    return "lens.camN.position_" + std::string(axis);
}

std::string statusKey(std::string_view axis) {
    return "lens.camN." + std::string(axis) + "status";
}

std::string valueIn(const Texts& texts, const std::string& key) {
    const auto found = texts.find(key);
    return found == texts.end() ? "" : found->second;
}

double seconds(Microseconds time) {
    return static_cast<double>(time) / static_cast<double>(kSecond);
}

Events statusesOf(const RecordedRun& run, std::string_view axis) {
    const std::string begin = statusKey(axis) + " ";
    Events events;
    for (const RecordedEvent& event : run.events) {
        if (event.kind == "bus" && event.text.starts_with(begin)) {
            events.push_back(&event);
        }
    }
    return events;
}

// The model's events from its readiness on, in the recording's time.
RecordedRun sinceReady(const RecordedRun& model) {
    RecordedRun run;
    for (const RecordedEvent& event : model.events) {
        if (event.time >= kReady) {
            run.events.push_back({event.time - kReady, event.kind, event.text});
        }
    }
    run.end = model.end - kReady;
    return run;
}

struct Verdict {
    bool good = true;

    __attribute__((format(printf, 2, 3))) void say(const char* format, ...) {
        good = false;
        va_list arguments;
        va_start(arguments, format);
        std::vprintf(format, arguments);
        va_end(arguments);
    }
};

bool isRun(const Beside& pair, const char* status) {
    return pair.first != nullptr && pair.second != nullptr && pair.first->text.ends_with(status);
}

using EventIterator = std::vector<RecordedEvent>::const_iterator;

// The first event at this time or later.
EventIterator firstFrom(const RecordedRun& run, Microseconds time) {
    return std::lower_bound(
        run.events.begin(), run.events.end(), time,
        [](const RecordedEvent& event, Microseconds from) { return event.time < from; });
}

// Whether from `begin` to `end` the axis went to a place by a word of its own, and nothing else:
// the last one before is `a:N` or `r:N`, and none came meanwhile.
bool isPlainMove(const RecordedRun& run, std::string_view axis, Microseconds begin,
                 Microseconds end) {
    const std::string key = "lens.camN." + std::string(axis) + " ";
    const RecordedEvent* word = nullptr;
    for (auto event = firstFrom(run, begin - kSoon);
         event != run.events.end() && event->time <= end; ++event) {
        if (event->kind != "cmd") {
            continue;
        }
        if (event->time <= begin) {
            word = &*event;
        } else if (event->text.starts_with(key)) {
            return false;
        }
    }
    return word != nullptr && begin - word->time < kSoon &&
           (word->text.starts_with(key + "a:") || word->text.starts_with(key + "r:"));
}

// What the statuses of an axis tell.
struct Moves {
    std::size_t count = 0;
    Microseconds took = 0;
    Microseconds modelTook = 0;
    int missing = 0;
    int surplus = 0;

    double ratio() const {
        return static_cast<double>(took) / static_cast<double>(modelTook);
    }
};

Moves movesOf(std::string_view axis, const RecordedRun& field, const RecordedRun& model) {
    const std::vector<Beside> pairs = align(statusesOf(field, axis), statusesOf(model, axis));
    Moves moves;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        moves.missing += pairs[i].first == nullptr ? 1 : 0;
        moves.surplus += pairs[i].second == nullptr ? 1 : 0;
        if (i + 1 == pairs.size() || !isRun(pairs[i], " run") || !isRun(pairs[i + 1], " stop")) {
            continue;
        }
        const Microseconds modelTook = pairs[i + 1].second->time - pairs[i].second->time;
        if (modelTook >= kLongMove &&
            isPlainMove(field, axis, pairs[i].first->time, pairs[i + 1].first->time)) {
            ++moves.count;
            moves.took += pairs[i + 1].first->time - pairs[i].first->time;
            moves.modelTook += modelTook;
        }
    }
    return moves;
}

// How long the axis's moves took against the model's, and which statuses only one side has.
void compareMoves(std::string_view axis, const RecordedRun& field, const RecordedRun& model,
                  Verdict& verdict) {
    const std::string name(axis);
    const Moves moves = movesOf(axis, field, model);
    if (moves.count > 0) {
        std::printf("%s: %zu moves took %.3f times as long as the model's\n", name.c_str(),
                    moves.count, moves.ratio());
    }
    if (moves.count >= kEnoughMoves && (moves.ratio() > kSlow || moves.ratio() < kFast)) {
        verdict.say("%s: WORN: it is %s than its model\n", name.c_str(),
                    moves.ratio() > kSlow ? "slower" : "faster");
    }
    if (moves.missing + moves.surplus > 0) {
        std::printf("%s: %d statuses are missing, %d too many\n", name.c_str(), moves.missing,
                    moves.surplus);
    }
    // As many missing as too many have only come at other times.
    if (std::abs(moves.missing - moves.surplus) > kFewStatuses) {
        verdict.say("%s: WORN: statuses are %s\n", name.c_str(),
                    moves.missing > moves.surplus ? "missing" : "too many");
    }
}

// Where the axis's key says that it is at a time.
std::optional<int> placeAt(const RecordedRun& run, std::string_view axis, Microseconds time) {
    const std::string begin = positionKey(axis) + " ";
    const auto last =
        std::find_if(std::make_reverse_iterator(firstFrom(run, time)), run.events.rend(),
                     [&](const RecordedEvent& event) { return event.text.starts_with(begin); });
    return numberOf(last == run.events.rend() ? valueIn(run.bus, positionKey(axis))
                                              : last->text.substr(begin.size()));
}

// Whether the set may move an axis.
bool isMotion(const RecordedEvent& event) {
    constexpr std::string_view kCamera = "lens.camN.";
    if (event.kind != "cmd" || !event.text.starts_with(kCamera)) {
        return false;
    }
    const std::string_view key =
        std::string_view(event.text).substr(0, event.text.find(' ')).substr(kCamera.size());
    return key == "action.cmd" || key == "act_preset" ||
           std::find(kAxisNames.begin(), kAxisNames.end(), key) != kAxisNames.end();
}

// The time of the next set behind an act that may move an axis, or of the end.
Microseconds nextActAfter(const RecordedRun& run, std::size_t index) {
    const auto next = std::find_if(run.events.begin() + static_cast<std::ptrdiff_t>(index) + 1,
                                   run.events.end(), isMotion);
    return next == run.events.end() ? run.end : next->time;
}

// Whether what an act at `begin` began was over at `end`: it was told as done, and the axis has
// stood still since a while.
bool wasOver(const RecordedRun& run, std::string_view axis, Microseconds begin, Microseconds end) {
    const std::string status = statusKey(axis) + " ";
    bool done = false;
    const RecordedEvent* last = nullptr;
    for (auto event = firstFrom(run, begin); event != run.events.end() && event->time < end;
         ++event) {
        done = done || event->text == "lens.camN.action.cmd done";
        last = event->text.starts_with(status) ? &*event : last;
    }
    return done && last != nullptr && last->text.ends_with(" stop") && end - last->time >= kSoon;
}

bool hasWord(const SensedPlace& place, const std::string& set) {
    return std::any_of(place.words.begin(), place.words.end(), [&](std::string_view word) {
        return !word.empty() && set.starts_with(word);
    });
}

// The places that a sensor has found, each at the next act, where both sides had come to an end
// by then.
void comparePlaces(const SensedPlace& place, const RecordedRun& field, const RecordedRun& model,
                   Verdict& verdict) {
    const std::string name(place.axis);
    int compared = 0;
    for (std::size_t i = 0; i < field.events.size(); ++i) {
        const RecordedEvent& act = field.events[i];
        if (act.kind != "cmd" || !hasWord(place, act.text)) {
            continue;
        }
        const Microseconds later = nextActAfter(field, i);
        const auto there = placeAt(field, place.axis, later);
        const auto expected = placeAt(model, place.axis, later);
        if (!there || !expected || !wasOver(field, place.axis, act.time, later) ||
            !wasOver(model, place.axis, act.time, later)) {
            continue;
        }
        ++compared;
        if (std::abs(std::int64_t{*there} - *expected) > place.tolerance) {
            verdict.say("%s: WORN: %.3f s, '%s' ends at %d, the model at %d: %s\n", name.c_str(),
                        seconds(act.time), act.text.c_str(), *there, *expected, place.reason);
        }
    }
    if (compared > 0) {
        std::printf("%s: %d places that a sensor has found\n", name.c_str(), compared);
    }
}

}  // namespace

RecordedRun modelRunFor(const RecordedRun& field, const std::string& mount) {
    RecordedRun model;
    model.program = field.program;
    model.version = field.version;
    const std::string mode = valueIn(field.bus, "encode.perspective.mode");
    model.options["mount"] = !mount.empty()      ? mount
                             : mode == "wall"    ? "wall0"
                             : mode == "desktop" ? "desktop"
                                                 : "ceiling";
    // The lens shows in its range.
    const bool longLens = valueIn(field.bus, "lens.camN.range.zoom") == "0~2937";
    model.options["lens-type"] = longLens ? "10" : "0";
    model.bus = lastingOf(field.bus);
    Microseconds time = kHomed;
    for (const std::string_view axis : kAxisNames) {
        if (const std::string place = valueIn(field.bus, positionKey(axis)); !place.empty()) {
            const std::string key = "lens.camN." + std::string(axis);
            model.events.push_back({time, "cmd", key + " a:" + place});
        }
        time += kPlaced;
    }
    for (const RecordedEvent& event : field.events) {
        if (event.kind == "cmd") {
            model.events.push_back({event.time + kReady, event.kind, event.text});
        }
    }
    model.end = field.end + kReady;
    return model;
}

bool printFieldComparison(const RecordedRun& field, const RecordedRun& model) {
    const RecordedRun same = sinceReady(model);
    Verdict verdict;
    for (const std::string_view axis : kAxisNames) {
        compareMoves(axis, field, same, verdict);
    }
    for (const SensedPlace& place : kSensedPlaces) {
        comparePlaces(place, field, same, verdict);
    }
    std::puts(verdict.good ? "the head is as its model" : "the head is not as its model");
    return verdict.good;
}

}  // namespace twin
