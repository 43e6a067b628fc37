#pragma once

#include <string>
#include <string_view>

/// Writes the line to standard output and flushes it.
void printLine(const std::string& text);

/// Writes the text, the status in decimal and "!" as one flushed line; returns the status.
int printFailure(const std::string& text, int status);

/// Lines that reach standard output together, in large writes and with one flush at the end: what
/// the flush of each line would cost shows in a listing of thousands. The rest is flushed on every
/// way out, an exception's too.
class RowBuffer {
  public:
    RowBuffer() = default;
    ~RowBuffer() { flush(); }
    RowBuffer(const RowBuffer&) = delete;
    RowBuffer& operator=(const RowBuffer&) = delete;

    RowBuffer& operator<<(std::string_view text);

    /// Flushes the rows so far and then writes the failure's line; returns the status.
    int failure(const std::string& text, int status);

    void flush();

  private:
    std::string pending;
};
