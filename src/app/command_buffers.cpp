#include "app/command_buffers.h"

#include <cstdlib>
#include <cstring>

constinit Mailbox gszFocusCmd = {};
constinit Mailbox gszIrisCmd = {};
constinit Mailbox gszDemoPtzAction = {};
constinit OverwriteBuffer gszZoomCmd = {};
constinit OverwriteBuffer gszPanCmd = {};
constinit OverwriteBuffer gszTiltCmd = {};
constinit OverwriteBuffer gszRotateCmd = {};

namespace {

// Whose turn it is: empty and done are the handler's, full is the main thread's.
enum MailboxState : std::int32_t { kEmpty, kBeingWritten, kFull, kDone };

bool moveState(Mailbox& mailbox, std::int32_t from, std::int32_t to) {
    return mailbox.state.compare_exchange_strong(from, to);
}

void copyChecked(char* buffer, const char* text) {
    const std::size_t length = strnlen(text, kCommandSize);
    if (length == kCommandSize) {
        std::abort();
    }
    copySharedText(buffer, text, length + 1);
}

}  // namespace

void postCommand(Mailbox& mailbox, const char* text) {
    if (!moveState(mailbox, kEmpty, kBeingWritten) && !moveState(mailbox, kDone, kBeingWritten)) {
        return;
    }
    copyChecked(mailbox.text, text);
    mailbox.state = text[0] == '\0' ? kEmpty : std::strcmp(text, "done") == 0 ? kDone : kFull;
}

void overwriteCommand(OverwriteBuffer& buffer, const char* text) {
    LockedBlock lock(gCmdMutex);
    copyChecked(buffer.text, text);
}

const char* claimMailbox(Mailbox& mailbox) {
    moveState(mailbox, kDone, kFull);
    return claimUnlessDone(mailbox);
}

const char* claimUnlessDone(Mailbox& mailbox) {
    return mailbox.state == kFull ? mailbox.text : nullptr;
}

void clearMailbox(Mailbox& mailbox) {
    clearSharedText(mailbox.text, sizeof mailbox.text);
    mailbox.state = kEmpty;
}

bool takeCommand(OverwriteBuffer& buffer, char* text) {
    LockedBlock lock(gCmdMutex);
    if (buffer.text[0] == '\0') {
        return false;
    }
    copySharedText(text, buffer.text, kCommandSize);
    clearSharedText(buffer.text, sizeof buffer.text);
    return true;
}
