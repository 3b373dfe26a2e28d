// Plays tests/data/sessions/*.txt: what a camera is told, and what it then says and does.
//
// A line of such a file is one of these; blank lines and those that begin with # are passed over.
//
//   @common LINE                  From here on every @camera begins with this line, too; with
//                                 @common alone none of these lines counts any more.
//   @camera [AXIS N | lens N]...  A camera is switched on that stands at these positions (the
//                                 others: tests/session.h), with this lens type.
//   @again                        The same camera is switched on again.
//   @bus KEY VALUE                A setting that the camera keeps,
//   @head NAME VALUE              an entry of its mechanism's memory, or
//   @fault WORDS                  a fault that is in force, when it is switched on.
//   @file PATH [LINE]             A file with this line; none, where there is no line.
//   @mount NAME                   Where it hangs, if not from the ceiling.
//   @boot                         The trace counts from power-up, not from the first `set`.
//   @all                          LEDs, sensor and power figure are in the trace, too.
//   @show TEXT | TEXT...          Only trace lines with one of these texts count,
//   @hide TEXT | TEXT...          and none with one of these.
//   @order                        Trace lines stand without their times.
//   @exit N                       The exit status, if it is not 0.
//   > COMMAND                     A command for the console; the twin's manual describes them.
//   = ANSWER                      The console's answer, if it is more than `ok`, without the line
//                                 that a failed one names.
//   MILLISECONDS KIND TEXT        A line of the trace, with its time after the last `set`. Eight
//                                 equal LED words are `all` and the word.
//   @each                         What stands from here to the first @case is played for each
//   @case TEXT | TEXT...          case, with its texts for $1, $2...; an empty line goes.
//   ...{TEXT,TEXT...}...          A line for each of the texts.
//
// Answers and trace lines are all that come, in their order; a `set` stands among them at its
// place. What a console command did besides (`act`) is left out. At the end the counters of a
// camera that is still on must be true.
//
// Every boot is replayed, too, from what it printed alone, and comes out the same to the byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "paths.h"
#include "session.h"

namespace {

// From one switching on of a camera to the next.
struct Boot {
    std::string script;
    std::string expected = "\n";
    std::vector<std::string> shown;
    std::vector<std::string> hidden;
    bool whole = false;
    bool everything = false;
    bool timed = true;
    std::string mount = "ceiling";
    int status = 0;
};

std::vector<std::string> split(const std::string& texts) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin < texts.size();) {
        const std::size_t end = std::min(texts.find(" | ", begin), texts.size());
        parts.push_back(texts.substr(begin, end - begin));
        begin = end + 3;
    }
    return parts;
}

bool counts(const Event& event, const Boot& boot) {
    Trace one{{event}};
    one = boot.shown.empty() ? one : one.about(boot.shown);
    one = one.without(boot.hidden);
    return !one.events.empty() && (boot.everything || !isBackground(event));
}

std::string transcript(const Boot& boot, const std::string& output) {
    static const std::regex place(R"( \(line \d+\)$)");
    static const std::regex equalWords("([0-9a-f]{8})( \\1){7}");
    std::ostringstream text;
    text << '\n';
    bool begun = boot.whole;
    std::int64_t start = 0;
    for (const std::string& line : ::linesOf(output)) {
        const auto event = readEvent(line);
        if (line == "= ok") {
            continue;
        }
        if (line.starts_with("= ")) {
            text << std::regex_replace(line, place, "") << '\n';
        } else if (event && event->kind == "cmd") {
            text << "> set " << event->text << '\n';
            start = event->time;
            begun = true;
        } else if (event && event->kind != "act" && begun && counts(*event, boot)) {
            if (boot.timed) {
                text << static_cast<double>(event->time - start) / 1000 << ' ';
            }
            text << std::regex_replace(event->line(), equalWords, "all $1") << '\n';
        }
    }
    return text.str();
}

void play(const Camera& camera, Boot boot) {
    if (boot.status == 0 && boot.script.find("quit\n") == std::string::npos &&
        boot.script.find("power-cut\n") == std::string::npos) {
        boot.script += "check\n";
    }
    const Session run =
        camera.run(boot.script, {"--clock", "virtual", "--trace", "--mount", boot.mount});
    EXPECT_EQ(run.status, boot.status) << run.errors;
    EXPECT_EQ(transcript(boot, run.output), boot.expected);
    const Session again = camera.replay(run.output, {});
    EXPECT_EQ(again.recording(), run.recording()) << again.errors;
}

void switchOn(std::optional<Camera>& camera, std::istringstream& words) {
    Positions positions;
    int lensType = 0;
    std::string name;
    for (int value = 0; words >> name >> value;) {
        int* place = name == "lens" ? &lensType : nullptr;
        for (const auto& [axis, position] : kAxisPositions) {
            place = name == axis ? &(positions.*position) : place;
        }
        ASSERT_NE(place, nullptr) << name;
        *place = value;
    }
    camera.emplace(positions, lensType);
}

void take(const std::string& directive, std::optional<Camera>& camera, Boot& boot) {
    std::istringstream words(directive);
    std::string word;
    words >> word;
    if (word == "camera") {
        switchOn(camera, words);
        return;
    }
    std::string first;
    std::string rest;
    if (word == "bus" || word == "head" || word == "file") {
        words >> first;
    }
    std::getline(words >> std::ws, rest);
    if (word == "bus") {
        camera->setting(first, rest);
    } else if (word == "head") {
        camera->remember(first, rest);
    } else if (word == "fault") {
        camera->fault(rest);
    } else if (word == "boot") {
        boot.whole = true;
    } else if (word == "all") {
        boot.everything = true;
    } else if (word == "show") {
        boot.shown = split(rest);
    } else if (word == "hide") {
        const std::vector<std::string> texts = split(rest);
        boot.hidden.insert(boot.hidden.end(), texts.begin(), texts.end());
    } else if (word == "order") {
        boot.timed = false;
    } else if (word == "file") {
        rest.empty() ? camera->remove(first) : camera->write(first, rest + "\n");
    } else if (word == "mount") {
        boot.mount = rest;
    } else if (word == "exit") {
        boot.status = std::stoi(rest);
    } else {
        EXPECT_EQ(word, "again");
    }
}

struct Line {
    int number;
    std::string text;
};

Line filled(const Line& line, const Line& row) {
    Line result = {row.number, line.text};
    const std::vector<std::string> columns = split(row.text);
    for (std::size_t at = 0; (at = result.text.find('$', at)) != std::string::npos;) {
        const auto column = static_cast<std::size_t>(result.text.at(at + 1) - '1');
        const std::string text = column < columns.size() ? columns[column] : "";
        result.text.replace(at, 2, text);
        at += text.size();
    }
    return result;
}

void addEach(const Line& line, std::vector<Line>& lines) {
    const std::size_t begin = line.text.find('{');
    const std::size_t end = line.text.find('}', std::min(begin, line.text.size()));
    if (end == std::string::npos || line.text.find(',', begin) > end) {
        lines.push_back(line);
        return;
    }
    std::istringstream texts(line.text.substr(begin + 1, end - begin - 1));
    for (std::string text; std::getline(texts, text, ',');) {
        addEach({line.number, line.text.substr(0, begin) + text + line.text.substr(end + 1)},
                lines);
    }
}

// The lines of a file that count, those of a table once for each of its cases.
std::vector<Line> linesOf(std::ifstream& file) {
    std::vector<Line> lines;
    std::vector<Line> repeated;
    std::vector<Line>* place = &lines;
    int number = 0;
    for (std::string text; std::getline(file, text);) {
        ++number;
        if (text.empty() || text[0] == '#') {
            continue;
        }
        if (text == "@each") {
            repeated.clear();
            place = &repeated;
        } else if (text.starts_with("@case ")) {
            place = &lines;
            for (const Line& line : repeated) {
                const Line next = filled(line, {number, text.substr(6)});
                if (!next.text.empty()) {
                    addEach(next, lines);
                }
            }
        } else if (place == &lines) {
            addEach({number, text}, lines);
        } else {
            repeated.push_back({number, text});
        }
    }
    EXPECT_EQ(place, &lines) << "a table without cases";
    return lines;
}

// The same with the common lines behind each @camera.
std::vector<Line> withCommon(const std::vector<Line>& lines) {
    std::vector<Line> result;
    std::vector<Line> common;
    for (const Line& line : lines) {
        if (line.text == "@common") {
            common.clear();
        } else if (line.text.starts_with("@common ")) {
            common.push_back({line.number, line.text.substr(8)});
        } else {
            result.push_back(line);
        }
        if (line.text.starts_with("@camera")) {
            result.insert(result.end(), common.begin(), common.end());
        }
    }
    return result;
}

class SessionFile : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(SessionFile, ComesOutAsItIsWritten) {
    std::ifstream file(GetParam());
    ASSERT_TRUE(file);
    std::optional<Camera> camera;
    Boot boot;
    std::string heading = "the first boot";
    const auto end = [&] {
        SCOPED_TRACE(heading);
        if (camera) {
            play(*camera, boot);
        }
        boot = {};
    };
    for (const auto& [number, line] : withCommon(linesOf(file))) {
        if (line.starts_with("@camera") || line == "@again") {
            end();
            heading = "the boot of line " + std::to_string(number);
        }
        if (line[0] == '@') {
            take(line.substr(1), camera, boot);
            continue;
        }
        if (line.starts_with("> ")) {
            boot.script += line.substr(2) + "\n";
        }
        if (!line.starts_with("> ") || line.starts_with("> set ")) {
            boot.expected += line + "\n";
        }
    }
    end();
}

std::vector<std::filesystem::path> sessionFiles() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry :
         std::filesystem::directory_iterator(sourcePath("tests/data/sessions"))) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string nameOf(const testing::TestParamInfo<std::filesystem::path>& info) {
    std::string name = info.param.stem();
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Every, SessionFile, testing::ValuesIn(sessionFiles()), nameOf);

}  // namespace
