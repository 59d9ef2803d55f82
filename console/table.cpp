#include "console/table.h"

#include <algorithm>

#include "framework/text/utf8.h"

namespace zendro::console {
namespace {

constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

std::size_t characters(std::string_view utf8) {
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0u) != 0x80;
  }));
}

std::string cut(const std::string& line, std::size_t width) {
  if (width == 0 || characters(line) <= width) return line;
  std::size_t at = 0;
  for (std::size_t count = 1; count < width; ++count) framework::take_character(line, at);
  return line.substr(0, at).append(kEllipsis);
}

}  // namespace

void write_table(Output& output, const std::vector<std::string>& heads,
                 const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths(heads.size());
  const auto measure = [&](const std::vector<std::string>& row) {
    for (std::size_t column = 0; column + 1 < row.size(); ++column) {
      widths[column] = std::max(widths[column], characters(row[column]));
    }
  };
  measure(heads);
  for (const std::vector<std::string>& row : rows) measure(row);
  const auto line = [&](const std::vector<std::string>& row) {
    std::string text;
    for (std::size_t column = 0; column < row.size(); ++column) {
      text += row[column];
      if (column + 1 == row.size()) break;
      text.append(widths[column] - characters(row[column]) + 2, ' ');
    }
    return cut(text.erase(text.find_last_not_of(' ') + 1), output.width());
  };
  output.heading(line(heads));
  std::string all;
  for (const std::vector<std::string>& row : rows) all.append(line(row)).append("\n");
  if (!all.empty()) output.line(std::string_view(all).substr(0, all.size() - 1));
}

}  // namespace zendro::console
