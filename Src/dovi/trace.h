#ifndef DOVI_TRACE_H_
#define DOVI_TRACE_H_

/// Writes a piece of the transport's trace to where the deployment settings send it. Nothing is
/// added to the text, no newline either.
[[gnu::format(printf, 1, 2)]] void DoviTrace(const char* format, ...);

/// The same for the pieces that go to standard error where the others go to standard output.
void DoviTraceToStandardError(const char* text);

#endif  // DOVI_TRACE_H_
