#pragma once

#include <functional>

// Hands display steps and tree changes to the main thread. With an event
// loop on the main thread (a window) a worker's step is queued there, and
// the worker waits when asked to; a step on the main thread itself runs at
// once. Without a window nothing may queue a wait on a main thread that runs
// no event loop, so every step runs at once on the calling thread.
namespace VTMainThread {

// Declares whether the main thread runs an event loop that serves queued
// steps (the window application sets this before its first reload).
void setEventLoopRunning(bool running);
[[nodiscard]] bool eventLoopRunning();

[[nodiscard]] bool isMainThread();

// Runs `step` on the main thread and returns when it has run; a failure
// inside the step is thrown again here.
void runAndWait(const std::function<void()> &step);
// Runs `step` on the main thread; returns at once when it had to be queued
// (a failure of a queued step is then logged).
void run(const std::function<void()> &step);

} // namespace VTMainThread
