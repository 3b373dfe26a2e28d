// The seven command buffers between the bus handlers and the supervision loop.
//
// A mailbox takes a new text only while it is empty or holds "done"; an overwrite buffer always. A
// text of 128 bytes or more that would be copied ends the process: it is a fault of the bus.
#pragma once

#include "control_state.h"

inline constexpr int kCommandSize = 128;

// Hand-over without a lock: `state` says whose turn it is.
struct Mailbox {
    SharedInt state;
    char text[kCommandSize];
};

extern constinit Mailbox gszFocusCmd, gszIrisCmd, gszDemoPtzAction;

// Guarded by `gCmdMutex`.
struct OverwriteBuffer {
    char text[kCommandSize];
};

extern constinit OverwriteBuffer gszZoomCmd, gszPanCmd, gszTiltCmd, gszRotateCmd;

// Puts `text` into the mailbox unless an untaken command is in it. Bus side.
void postCommand(Mailbox& mailbox, const char* text);

// Replaces the buffer's text. Bus side.
void overwriteCommand(OverwriteBuffer& buffer, const char* text);

// The text waiting in the mailbox, or null if it is empty. The text, and the mailbox, belong to the
// caller until `clearMailbox`. Main thread.
const char* claimMailbox(Mailbox& mailbox);

// As `claimMailbox`, but a text of "done" counts as none. Main thread.
const char* claimUnlessDone(Mailbox& mailbox);

// Empties a claimed mailbox. Main thread.
void clearMailbox(Mailbox& mailbox);

// Moves the buffer's text into `text` (kCommandSize bytes) and empties the buffer. False if it was
// empty. Main thread.
bool takeCommand(OverwriteBuffer& buffer, char* text);
