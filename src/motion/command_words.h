// The command words of the six axes: they only set targets, continuous commands, move states and
// requests, which the lens loop acts on. Unknown words are ignored. Main thread only.
#pragma once

// `word` is a NUL-terminated text of at most 127 bytes.
void focusCommand(const char* word);
void zoomCommand(const char* word);
void rotateCommand(const char* word);
void panCommand(const char* word);
void tiltCommand(const char* word);
void irisCommand(const char* word);
