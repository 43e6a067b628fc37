#pragma once

#include <string>
#include <string_view>

/// Writes the line to standard output and flushes it.
void printLine(const std::string& text);

/// Writes the text, the status in decimal and "!" as one flushed line; returns the status.
int printFailure(const std::string& text, int status);

/// The rows of a listing. Each is handed to standard output's stream at once and nothing is kept
/// here, so a row is in the stream before the next call to the core. On a terminal the stream shows
/// it right away; into a pipe or a file it writes when its own buffer is full. The rows are flushed
/// together on every way out, an exception's too: to flush each would slow a listing of thousands
/// down.
class Rows {
  public:
    Rows() = default;
    ~Rows();
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;

    /// Prints whole lines.
    void print(std::string_view lines);
};
