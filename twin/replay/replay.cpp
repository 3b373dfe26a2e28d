#include "twin/replay/replay.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <optional>
#include <vector>

#include "twin/replay/comparison.h"
#include "twin/replay/field.h"
#include "twin/replay/player.h"
#include "twin/replay/recording.h"
#include "twin/trace/output.h"

namespace twin {

namespace {

constexpr int kNoUse = 2;
constexpr const char* kFieldProgram = "kestrel-mqtt";

// Runs `work`, which does not return, in a process of its own. Its exit status.
int inOwnProcess(const std::function<void()>& work) {
    const pid_t child = forkPlayer();
    if (child == 0) {
        work();
        _exit(1);
    }
    int status = 0;
    while (child < 0 || waitpid(child, &status, 0) != child) {
        if (child < 0 || errno != EINTR) {
            complain("there is no process for the camera");
            return 1;
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string contentOf(int descriptor) {
    std::string content(
        static_cast<std::size_t>(std::max<off_t>(0, lseek(descriptor, 0, SEEK_END))), '\0');
    std::size_t got = 0;
    for (ssize_t count = 1; count > 0 && got < content.size();
         got += static_cast<std::size_t>(std::max<ssize_t>(0, count))) {
        count =
            pread(descriptor, content.data() + got, content.size() - got, static_cast<off_t>(got));
    }
    return content;
}

// The run as it comes out this time; none, with a line on standard error, if it does not.
std::optional<RecordedRun> replayed(const RecordedRun& run, const SessionOptions& options,
                                    int (*daemon)()) {
    const int output = memfd_create("replayed trace", MFD_CLOEXEC);
    inOwnProcess([&] {
        dup2(output, STDOUT_FILENO);
        play(run, options, daemon);
    });
    Recording result = parseRecording(contentOf(output));
    close(output);
    if (result.runs.size() != 1 || !result.runs[0].ended) {
        complain("the replay did not come to its end");
        return std::nullopt;
    }
    return std::move(result.runs[0]);
}

// Whether there is something to replay; says why not.
bool usable(const Recording& recording, const ReplayOptions& options) {
    if (!recording.foreign.empty()) {
        complain(options.file + " is no recording: " + recording.foreign);
        return false;
    }
    if (!recording.damage.empty() && !options.damaged) {
        complain(options.file + ": " + recording.damage +
                 "; --replay-damaged replays what can be read");
        return false;
    }
    if (recording.damagedLines > 0) {
        complain(options.file + ": " + std::to_string(recording.damagedLines) +
                 " damaged lines left out");
    }
    return true;
}

std::optional<SessionOptions> optionsFor(const RecordedRun& run, const SessionOptions& session,
                                         const std::string& file) {
    std::string problem;
    SessionOptions options = sessionOf(run, problem);
    options.virtualClock = session.virtualClock;
    options.speed = session.speed;
    options.output.trace = true;
    options.output.lineByLine = !session.virtualClock;
    if (!problem.empty()) {
        complain(file + ": " + problem);
        return std::nullopt;
    }
    return options;
}

// The run of a file, and what is to be played for it; none if that is of no use.
std::optional<PlayableRun> playable(const RecordedRun& recorded, const ReplayOptions& options,
                                    const SessionOptions& session) {
    const bool field = recorded.program == kFieldProgram;
    if (!field && !session.camera.mount.empty()) {
        complain("--mount is accepted for recordings of kestrel-mqtt only");
        return std::nullopt;
    }
    RecordedRun run = field ? modelRunFor(recorded, session.camera.mount) : recorded;
    const auto made = optionsFor(run, session, options.file);
    return made ? std::optional(PlayableRun{std::move(run), *made}) : std::nullopt;
}

// The run's exit status. `title` is printed above a comparison.
int replay(const RecordedRun& recorded, const PlayableRun& played, bool compare,
           const std::string& title, int (*daemon)()) {
    if (!compare) {
        return inOwnProcess([&] { play(played.run, played.session, daemon); });
    }
    const auto again = replayed(played.run, played.session, daemon);
    if (!again) {
        return kNoUse;
    }
    std::fputs(title.c_str(), stdout);
    const bool good = recorded.program == kFieldProgram ? printFieldComparison(recorded, *again)
                                                        : printComparison(recorded, *again);
    return good ? 0 : 1;
}

}  // namespace

int runReplay(const ReplayOptions& options, const SessionOptions& session, int (*daemon)()) {
    const Recording recording = readRecording(options.file);
    if (!usable(recording, options)) {
        return kNoUse;
    }
    int status = 0;
    const std::size_t boots = recording.runs.size();
    for (std::size_t i = 0; i < boots; ++i) {
        const RecordedRun& recorded = recording.runs[i];
        const std::string title =
            boots == 1 ? ""
                       : "boot " + std::to_string(i + 1) + " of " + std::to_string(boots) + "\n";
        const auto played = playable(recorded, options, session);
        const int one = played ? replay(recorded, *played, options.compare, title, daemon) : kNoUse;
        if (one == kNoUse) {
            return kNoUse;
        }
        status = status == 0 ? one : status;
    }
    return status;
}

std::vector<PlayableRun> playableRuns(const ReplayOptions& options, const SessionOptions& session) {
    const Recording recording = readRecording(options.file);
    std::vector<PlayableRun> runs;
    if (!usable(recording, options)) {
        return runs;
    }
    for (const RecordedRun& recorded : recording.runs) {
        auto run = playable(recorded, options, session);
        if (!run) {
            return {};
        }
        runs.push_back(std::move(*run));
    }
    return runs;
}

}  // namespace twin
