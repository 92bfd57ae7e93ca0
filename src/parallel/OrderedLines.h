#pragma once
// Text of many independent lines made in two threads and handed on in order: formatting the
// numbers of a large output is as much work as reading the input, and the lines do not
// depend on each other.

#include <cstddef>
#include <functional>

/// Calls write(text, length) once per line, for lines 0..count-1 in order, all from the
/// calling thread; format(k, out) writes line k at `out` (at most maxLineBytes chars) and
/// returns its end. A second thread formats every other chunk of lines ahead of the
/// writer, holding at most a few hundred kilobytes; `format` must therefore be safe to
/// call from two threads at once. For at most seven chunks of the smallest size (224 KiB of
/// room), for lines longer than the largest chunk, without a second processor, or when the
/// thread cannot be started, everything is done here.
void WriteLinesInOrder(size_t count, size_t maxLineBytes, const std::function<char*(size_t k, char* out)>& format,
                       const std::function<void(const char* text, size_t length)>& write);

/// As WriteLinesInOrder, but write(text, length) is called once per chunk, with the text of
/// all its lines: for a sink that need not see the lines one by one.
void WriteTextInOrder(size_t count, size_t maxLineBytes, const std::function<char*(size_t k, char* out)>& format,
                      const std::function<void(const char* text, size_t length)>& write);
