#pragma once
// Waiting without blind sleeps: the engine's wait loops hand control to the event
// loop until something happens or a short bound passes.

namespace korvan {

// Processes pending events; when there are none, waits for one at most maxWaitMs.
void pumpEvents(int maxWaitMs = 10);

// Processes the events that are already pending, without waiting.
void drainEvents();

// Seconds on a monotonic clock (process-wide origin); immune to midnight and
// to changes of the wall clock.
double monotonicSeconds();

} // namespace korvan
