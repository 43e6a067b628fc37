#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tavik::front {

/// How a cell stands out where there is colour.
enum class Tone { plain, good, faint, bad };

struct Cell {
    std::string text;
    Tone tone = Tone::plain;

    Cell() = default;
    Cell(std::string cellText, Tone cellTone = Tone::plain)  // NOLINT: a cell is a text
        : text(std::move(cellText)), tone(cellTone) {}
    Cell(const char* cellText) : text(cellText) {}  // NOLINT
};

struct Table {
    /// What is wider than the window is cut, or goes on in the next line of the terminal.
    enum class Lines { cut, whole };

    std::vector<std::string> heads;
    std::vector<std::vector<Cell>> rows;  ///< each with a cell for each head
    Lines lines = Lines::cut;
};

/// How texts are drawn: for a file or pipe without a limit and without colour.
struct DrawingRules {
    std::size_t width = 0;  ///< columns of the terminal's window; 0: no limit
    bool hasColour = false;
};

/// The text in the tone's colour.
std::string toned(const std::string& text, Tone tone, const DrawingRules& rules);

/// The table's lines, each with its end. Where lines are cut and the window is too narrow, the
/// widest columns are cut first, down to a few letters each; after that, lines go beyond it.
std::string draw(const Table& table, const DrawingRules& rules);

}  // namespace tavik::front
