#include "soak/history.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace zendro::soak {

void History::add(int round, std::vector<Figure> figures) {
  samples_.emplace_back(round, std::move(figures));
}

std::string History::names() const {
  return line("round", [this](std::size_t i) { return std::string(figures()[i].name); });
}

std::string History::latest() const {
  return line(std::to_string(samples_.back().first),
              [this](std::size_t i) { return std::to_string(figures()[i].value); });
}

std::string History::growths() const {
  return line("growth", [this](std::size_t i) { return std::to_string(growth(i)); }) +
         line("at most",
              [this](std::size_t i) { return std::to_string(figures()[i].most_growth); });
}

template <class TextOf>
std::string History::line(const std::string& title, const TextOf& text_of) const {
  std::ostringstream text;
  text << std::setw(7) << title;
  for (std::size_t i = 0; i < figures().size(); ++i) text << std::setw(14) << text_of(i);
  text << '\n';
  return text.str();
}

std::vector<std::string> History::leaks() const {
  std::vector<std::string> leaks;
  for (std::size_t i = 0; i < figures().size(); ++i) {
    if (growth(i) <= figures()[i].most_growth) continue;
    leaks.push_back(std::string(figures()[i].name) + " grew by " + std::to_string(growth(i)));
  }
  return leaks;
}

// From the second tenth of the run to the last one.
std::int64_t History::growth(std::size_t figure) const {
  const std::size_t tenth = std::max<std::size_t>(samples_.size() / 10, 1);
  return median(figure, samples_.size() - tenth, samples_.size()) -
         median(figure, std::min(tenth, samples_.size() - tenth),
                std::min(2 * tenth, samples_.size()));
}

std::int64_t History::median(std::size_t figure, std::size_t begin, std::size_t end) const {
  std::vector<std::int64_t> values;
  for (std::size_t i = begin; i < end; ++i) values.push_back(samples_[i].second[figure].value);
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace zendro::soak
