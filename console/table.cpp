#include "console/table.h"

#include <algorithm>
#include <numeric>

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

// The text in pieces of at most `width` characters, parted at blanks where there are some.
std::vector<std::string> fold(std::string_view text, std::size_t width) {
  std::vector<std::string> pieces;
  while (characters(text) > width) {
    std::size_t end = 0;
    std::size_t blank = 0;
    for (std::size_t count = 0; count < width; ++count) {
      if (text[end] == ' ') blank = end;
      framework::take_character(text, end);
    }
    if (text[end] == ' ') blank = end;
    const std::size_t size = blank == 0 ? end : blank;
    pieces.emplace_back(text.substr(0, size));
    text.remove_prefix(blank == 0 ? size : size + 1);
  }
  pieces.emplace_back(text);
  return pieces;
}

}  // namespace

void write_table(Output& output, const std::vector<std::string>& heads,
                 const std::vector<std::vector<std::string>>& rows, LastColumn last) {
  std::vector<std::size_t> widths(heads.size());
  const auto measure = [&](const std::vector<std::string>& row) {
    for (std::size_t column = 0; column + 1 < row.size(); ++column) {
      widths[column] = std::max(widths[column], characters(row[column]));
    }
  };
  measure(heads);
  for (const std::vector<std::string>& row : rows) measure(row);
  const std::size_t before = std::accumulate(widths.begin(), widths.end(), 2 * (widths.size() - 1));
  constexpr std::size_t narrowest = 20;  // that can be read
  const bool is_folded = last == LastColumn::folded && output.width() >= before + narrowest;
  const auto line = [&](const std::vector<std::string>& row) {
    std::string text;
    for (std::size_t column = 0; column + 1 < row.size(); ++column) {
      text += row[column];
      text.append(widths[column] - characters(row[column]) + 2, ' ');
    }
    if (is_folded) {
      std::string separator;
      for (const std::string& piece : fold(row.back(), output.width() - before)) {
        text.append(separator).append(piece);
        separator = "\n" + std::string(before, ' ');
      }
    } else {
      text = cut(text.append(row.back()), output.width());
    }
    return text.erase(text.find_last_not_of(' ') + 1);
  };
  output.heading(line(heads));
  std::string all;
  for (const std::vector<std::string>& row : rows) all.append(line(row)).append("\n");
  if (!all.empty()) output.line(std::string_view(all).substr(0, all.size() - 1));
}

}  // namespace zendro::console
