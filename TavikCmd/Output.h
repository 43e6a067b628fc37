#pragma once

#include <string>
#include <string_view>

/// Writes the line to standard output and flushes it.
void printLine(const std::string& text);

/// Writes the text, the status in decimal and "!" as one flushed line; returns the status.
int printFailure(const std::string& text, int status);

/// The rows of a listing, handed to standard output's stream text by text. Nothing is kept here, so
/// a row is in the stream before the next call to the core. On a terminal the stream shows each row
/// once it is whole; into a pipe or a file it writes when its own buffer is full. The rows are
/// flushed together on every way out, an exception's too: a flush of each would show in a listing
/// of thousands.
class Rows {
  public:
    Rows() = default;
    ~Rows();
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;

    Rows& operator<<(std::string_view text);
};
