#include "premoov/text_table.h"

#include <algorithm>

namespace premoov {

namespace {

// Display width of UTF-8 text: continuation bytes take no column.
size_t displayWidth(const std::string& text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

}  // namespace

void TextTable::print(std::ostream& out, const std::string& indent) const {
  std::vector<size_t> widths(columns_.size());
  for (size_t c = 0; c < columns_.size(); ++c) widths[c] = displayWidth(columns_[c].heading);
  for (const auto& row : rows_) {
    for (size_t c = 0; c < std::min(row.size(), columns_.size()); ++c) {
      widths[c] = std::max(widths[c], displayWidth(row[c]));
    }
  }
  const auto printLine = [&](const auto& cellAt) {
    std::string line = indent;
    for (size_t c = 0; c < columns_.size(); ++c) {
      const std::string& cell = cellAt(c);
      const std::string padding(widths[c] - displayWidth(cell), ' ');
      if (c > 0) line += "  ";
      line += columns_[c].align == Align::kRight ? padding + cell : cell + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  };
  printLine([&](size_t c) -> const std::string& { return columns_[c].heading; });
  static const std::string kEmpty;
  for (const auto& row : rows_) {
    printLine([&](size_t c) -> const std::string& { return c < row.size() ? row[c] : kEmpty; });
  }
}

}  // namespace premoov
