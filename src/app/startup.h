// The daemon's life.
#pragma once

// Starts the daemon and supervises it until it is told to end. The exit status for `main`: 0. A
// SIGINT, SIGQUIT or SIGTERM ends the process with status 1 instead. Called once, by `main`.
int runKestrel();
