// How what a program has in use develops over the rounds of a run.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "soak/usage.h"

namespace zendro::soak {

class History {
 public:
  void add(int round, std::vector<Figure> figures);

  // Lines of a table: the names of the figures, the latest ones, and what the run added to each
  // beside what it may.
  [[nodiscard]] std::string names() const;
  [[nodiscard]] std::string latest() const;
  [[nodiscard]] std::string growths() const;
  /// The figures that grew by more than they may, each as a sentence. The beginning of a run, in
  /// which caches fill, does not count; neither do single samples that are off.
  [[nodiscard]] std::vector<std::string> leaks() const;

 private:
  template <class TextOf>
  [[nodiscard]] std::string line(const std::string& title, const TextOf& text_of) const;
  [[nodiscard]] const std::vector<Figure>& figures() const { return samples_.back().second; }
  [[nodiscard]] std::int64_t growth(std::size_t figure) const;
  [[nodiscard]] std::int64_t median(std::size_t figure, std::size_t begin, std::size_t end) const;

  std::vector<std::pair<int, std::vector<Figure>>> samples_;
};

}  // namespace zendro::soak
