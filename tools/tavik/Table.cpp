#include "tools/tavik/Table.h"

#include <algorithm>
#include <numeric>

#include "platform/support/Text.h"
#include "tools/tavik/DisplayText.h"

namespace tavik::front {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowestColumn = 8;

using Widths = std::vector<std::size_t>;

/// The table without the columns whose cells are all empty.
Table withoutEmptyColumns(const Table& table) {
    Table shown;
    shown.rows.resize(table.rows.size());
    for (std::size_t i = 0; i < table.heads.size(); ++i) {
        if (std::all_of(table.rows.begin(), table.rows.end(),
                        [i](const auto& row) { return row[i].text.empty(); }))
            continue;
        shown.heads.push_back(table.heads[i]);
        for (std::size_t row = 0; row < table.rows.size(); ++row)
            shown.rows[row].push_back(table.rows[row][i]);
    }
    return shown;
}

Widths widthsOf(const Table& table) {
    Widths widths;
    for (const auto& head : table.heads)
        widths.push_back(displayWidth(head));
    for (const auto& row : table.rows)
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], displayWidth(row[i].text));
    return widths;
}

void fitInto(std::size_t window, Widths& widths) {
    const std::size_t gaps = kGap * (widths.size() - 1);
    std::size_t all = std::accumulate(widths.begin(), widths.end(), gaps);
    while (all > window) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= kNarrowestColumn)
            return;
        --*widest;
        --all;
    }
}

template <class Drawn>
std::string line(const Widths& widths, Drawn drawn) {
    std::string text;
    for (std::size_t i = 0; i < widths.size(); ++i)
        text += (i == 0 ? "" : std::string(kGap, ' ')) + drawn(i);
    return text.erase(text.find_last_not_of(' ') + 1) + "\n";
}

}  // namespace

std::string toned(const std::string& text, Tone tone, const DrawingRules& rules) {
    if (!rules.hasColour || tone == Tone::plain)
        return text;
    const char* code = tone == Tone::good ? "\x1b[32m" : tone == Tone::bad ? "\x1b[31m" : "\x1b[2m";
    return code + text + "\x1b[0m";
}

std::string draw(const Table& table, const DrawingRules& rules) {
    Table shown = withoutEmptyColumns(table);
    for (auto& head : shown.heads)
        head = printable(head);
    for (auto& row : shown.rows)
        for (auto& cell : row)
            cell.text = printable(cell.text);
    Widths widths = widthsOf(shown);
    if (rules.width != 0 && table.lines == Table::Lines::cut)
        fitInto(rules.width, widths);
    std::string text = line(widths, [&](std::size_t i) {
        return toned(inColumns(shown.heads[i], widths[i]), Tone::faint, rules);
    });
    for (const auto& row : shown.rows)
        text += line(widths, [&](std::size_t i) {
            return toned(inColumns(row[i].text, widths[i]), row[i].tone, rules);
        });
    return text;
}

}  // namespace tavik::front
