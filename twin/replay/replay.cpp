#include "twin/replay/replay.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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
    const pid_t child = fork();
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

// Each returns the run's exit status.

int replayTwin(const RecordedRun& run, const ReplayOptions& options, const SessionOptions& session,
               int (*daemon)()) {
    if (!session.camera.mount.empty()) {
        complain("--mount is accepted for recordings of kestrel-mqtt only");
        return kNoUse;
    }
    const auto made = optionsFor(run, session, options.file);
    if (!made) {
        return kNoUse;
    }
    if (!options.compare) {
        return inOwnProcess([&] { play(run, *made, daemon); });
    }
    const auto again = replayed(run, *made, daemon);
    return !again ? kNoUse : printComparison(run, *again) ? 0 : 1;
}

int replayField(const RecordedRun& run, const ReplayOptions& options, const SessionOptions& session,
                int (*daemon)()) {
    const RecordedRun model = modelRunFor(run, session.camera.mount);
    const auto made = optionsFor(model, session, options.file);
    if (!made) {
        return kNoUse;
    }
    if (!options.compare) {
        return inOwnProcess([&] { play(model, *made, daemon); });
    }
    const auto came = replayed(model, *made, daemon);
    return !came ? kNoUse : printFieldComparison(run, *came) ? 0 : 1;
}

}  // namespace

int runReplay(const ReplayOptions& options, const SessionOptions& session, int (*daemon)()) {
    const Recording recording = readRecording(options.file);
    if (!usable(recording, options)) {
        return kNoUse;
    }
    int status = 0;
    for (const RecordedRun& run : recording.runs) {
        const int one = run.program == kFieldProgram ? replayField(run, options, session, daemon)
                                                     : replayTwin(run, options, session, daemon);
        if (one == kNoUse) {
            return kNoUse;
        }
        status = status == 0 ? one : status;
    }
    return status;
}

std::optional<WatchedReplay> watchReplay(const ReplayOptions& options,
                                         const SessionOptions& session) {
    const Recording recording = readRecording(options.file);
    if (!usable(recording, options)) {
        return std::nullopt;
    }
    const RecordedRun& first = recording.runs.front();
    const RecordedRun run =
        first.program == kFieldProgram ? modelRunFor(first, session.camera.mount) : first;
    auto made = optionsFor(run, session, options.file);
    if (!made) {
        return std::nullopt;
    }
    made->output = session.output;
    return WatchedReplay{*made, [run] { return layCamera(run); }, [run] { playBeside(run); }};
}

}  // namespace twin
