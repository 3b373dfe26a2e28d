#include "twin/console/terminal.h"

#include <histedit.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <mutex>
#include <utility>
#include <vector>

#include "twin/boundary/bus.h"
#include "twin/boundary/readiness.h"
#include "twin/camera/watch.h"
#include "twin/clock/actors.h"
#include "twin/console/completion.h"
#include "twin/console/input.h"
#include "twin/trace/output.h"

namespace twin {

namespace {

constexpr const char* kPrompt = "> ";
constexpr std::size_t kPromptWidth = 2;
constexpr int kHistoryLength = 1000;

EditLine* gEditor = nullptr;
History* gHistory = nullptr;
FILE* gScreen = nullptr;
int gArrivals = -1;
termios gModes{};  // the terminal's before the first line was edited
volatile std::sig_atomic_t gResized = 0;
volatile std::sig_atomic_t gContinued = 0;

std::atomic<bool> gEditing{false};

// Guards the two: whether a typed command is being carried out, from the end of its line on, and
// whether it was told to end.
std::mutex gCommandMutex;
bool gExecuting = false;
bool gBroken = false;

void setExecuting(bool executing) {
    const std::lock_guard lock(gCommandMutex);
    gExecuting = executing;
    gBroken = false;
    breakWaitsOff(false);
}

// With the virtual clock, on the console's thread. The command may have ended meanwhile.
void breakOffVirtually() {
    if (gExecuting) {
        breakWaitsOff(true);
    }
}

// On the thread that watches for signals. A command that does not end at the first SIGINT does not
// keep the second one from the daemon.
bool breakCommandOff() {
    const std::lock_guard lock(gCommandMutex);
    if (!gExecuting || std::exchange(gBroken, true)) {
        return false;
    }
    if (clockIsVirtual()) {
        interruptRun(breakOffVirtually);
    } else {
        breakWaitsOff(true);
        stopWaitingUntilReady();
    }
    return true;
}

std::size_t terminalWidth() {
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

// The rows from the prompt to the cursor.
int rowsAboveCursor() {
    const LineInfoW* const line = el_wline(gEditor);
    std::size_t column = kPromptWidth;
    for (const wchar_t* c = line->buffer; c < line->cursor; ++c) {
        column += static_cast<std::size_t>(std::max(wcwidth(*c), 0));
    }
    return static_cast<int>(column / terminalWidth());
}

void redrawLine() {
    el_set(gEditor, EL_REFRESH);
}

// Prints what has come above the line that is edited.
void printArrivals() {
    eventfd_t count = 0;
    eventfd_read(gArrivals, &count);
    const std::string text = takeHeldOutput();
    if (text.empty() && gContinued == 0 && gResized == 0) {
        return;
    }
    if (gContinued != 0) {
        gContinued = 0;
        el_set(gEditor, EL_PREP_TERM, 1);
    }
    if (gResized != 0) {
        gResized = 0;
        el_resize(gEditor);
    }
    if (const int rows = rowsAboveCursor(); rows > 0) {
        std::fprintf(gScreen, "\033[%dA", rows);
    }
    std::fputs("\r\033[J", gScreen);
    std::fwrite(text.data(), 1, text.size(), gScreen);
    redrawLine();
    std::fflush(gScreen);
}

void onResize(int) {
    gResized = 1;
    eventfd_write(gArrivals, 1);
}

void onContinue(int) {
    gContinued = 1;
    eventfd_write(gArrivals, 1);
}

// The editor's source of characters.
int readCharacter(EditLine*, wchar_t* character) {
    setExecuting(false);
    std::mbstate_t state{};
    while (awaitInput()) {
        char byte = 0;
        const ssize_t count = read(STDIN_FILENO, &byte, 1);
        if (count == 0) {
            break;
        }
        if (count < 0) {
            if (errno == EINTR || errno == EAGAIN) {
                continue;
            }
            break;
        }
        const LineInfo* const line = el_line(gEditor);
        if (byte == '\0' && line->buffer == line->lastchar) {
            // The end of input as the terminal keeps it if it is typed while a command runs.
            break;
        }
        const std::size_t length = std::mbrtowc(character, &byte, 1, &state);
        if (length <= 1) {
            // Before the line's end is seen on the screen.
            setExecuting(byte == '\n' || byte == '\r');
            return 1;
        }
        if (length == static_cast<std::size_t>(-1)) {
            state = {};
        }
    }
    return 0;
}

const char* prompt(EditLine*) {
    return kPrompt;
}

std::string commonBeginning(const std::vector<std::string>& words) {
    std::string common = words.front();
    for (const std::string& word : words) {
        const auto end = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
        common.erase(end.first, common.end());
    }
    return common;
}

// Below the line that is edited, in columns; the line is drawn anew below them.
void listWords(const std::vector<std::string>& words) {
    std::size_t width = 1;
    for (const std::string& word : words) {
        width = std::max(width, word.size() + 2);
    }
    const std::size_t columns = std::max<std::size_t>(terminalWidth() / width, 1);
    for (std::size_t i = 0; i < words.size(); ++i) {
        std::fprintf(gScreen, "%s%-*s", i % columns == 0 ? "\r\n" : "", static_cast<int>(width),
                     words[i].c_str());
    }
    std::fputs("\r\n", gScreen);
    redrawLine();
}

// The editor's function behind the tab key.
unsigned char complete(EditLine* editor, int) {
    const LineInfo* const info = el_line(editor);
    const std::string line(info->buffer, info->cursor);
    const std::vector<std::string> words = completions(line);
    if (words.empty()) {
        return CC_ERROR;
    }
    const std::size_t begun = line.size() - (line.find_last_of(" \t") + 1);
    std::string more = commonBeginning(words).substr(begun);
    // A word that asks for a number, or for the rest of a name, is not yet whole.
    if (words.size() == 1 && !words.front().ends_with(':')) {
        more += ' ';
    }
    if (more.empty() && words.size() > 1) {
        listWords(words);
        return CC_NORM;
    }
    return el_insertstr(editor, more.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
}

// However the run ends.
void restoreModes() {
    // Also from the background.
    std::signal(SIGTTOU, SIG_IGN);
    tcsetattr(STDIN_FILENO, TCSADRAIN, &gModes);
    if (gEditing) {
        [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, "\n", 1);
    }
}

void remember(const std::string& line) {
    HistEvent event{};
    if (line.find_first_not_of(' ') != std::string::npos) {
        history(gHistory, &event, H_ENTER, line.c_str());
    }
}

}  // namespace

void openTerminal() {
    std::setlocale(LC_CTYPE, "");
    tcgetattr(STDIN_FILENO, &gModes);
    gArrivals = eventfd(0, EFD_CLOEXEC);
    gScreen = fdopen(dup(STDOUT_FILENO), "w");
    gEditor = el_init("kestrel-twin", stdin, gScreen, stderr);
    gHistory = history_init();
    HistEvent event{};
    history(gHistory, &event, H_SETSIZE, kHistoryLength);
    history(gHistory, &event, H_SETUNIQUE, 1);
    el_set(gEditor, EL_PROMPT, prompt);
    el_set(gEditor, EL_EDITOR, "emacs");
    el_set(gEditor, EL_SIGNAL, 0);
    el_set(gEditor, EL_HIST, history, gHistory);
    el_set(gEditor, EL_GETCFN, readCharacter);
    el_set(gEditor, EL_ADDFN, "complete", "Complete the word", complete);
    el_set(gEditor, EL_BIND, "^I", "complete", nullptr);
    el_set(gEditor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    el_source(gEditor, nullptr);
    serveWhileWaiting(gArrivals, printArrivals);
    onOutputClosed(restoreModes);
    onInterrupt(breakCommandOff);
    std::signal(SIGWINCH, onResize);
    std::signal(SIGCONT, onContinue);
}

bool readTypedLine(std::string& line) {
    holdOutput(gArrivals);
    gEditing = true;
    int length = 0;
    const char* const typed = el_gets(gEditor, &length);
    const bool good = typed != nullptr && length > 0;
    if (!good) {
        std::fputs("\n", gScreen);
        std::fflush(gScreen);
    }
    gEditing = false;
    releaseOutput();
    if (!good) {
        return false;
    }
    line.assign(typed, static_cast<std::size_t>(length));
    while (line.ends_with('\n') || line.ends_with('\r')) {
        line.pop_back();
    }
    remember(line);
    return true;
}

void executeTyped(void (*execute)(const std::string& line), const std::string& line) {
    execute(line);
    setExecuting(false);
}

}  // namespace twin
