#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace premoov {

// Columns of text padded to their widest cell; numbers are right-aligned so that their digits
// line up.
class TextTable {
 public:
  enum class Align { kLeft, kRight };
  struct Column {
    std::string heading;
    Align align = Align::kLeft;
  };

  explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}
  // A row of at most one cell a column; missing cells are empty.
  void addRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  // The heading and every row, each line after `indent`, without trailing spaces.
  void print(std::ostream& out, const std::string& indent) const;

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace premoov
