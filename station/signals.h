#pragma once

namespace station {

// Signals wake a station's loop through a pipe instead of ending the program, which would leave its
// root behind.
//
// 1. What was ignored at the program's start stays ignored, as nohup(1) and a shell's background
//    jobs want it.
// 2. The end of a child is always told, and a write that fails always says so by its result,
//    whatever the program was started with.

// Throws std::system_error.
void catchSignals();

// Ready to read once a signal has come.
int signalDescriptor();

// The next signal that has come, or 0.
int takeSignal();

// In a child that is going to be another program: signals as they were before catchSignals().
void restoreSignals();

}  // namespace station
