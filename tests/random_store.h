// Random lists of packages in which the rules of ticking and of the operations meet: names within
// names, chains, diamonds and circles of references, several lines and patch levels, conflicts,
// deprecated and vanished versions.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "framework/text/json.h"

namespace zendro::tests {

/// A source of choices; the same seed gives the same ones everywhere.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed) {}
  /// A number below `end`, which is not 0.
  std::size_t below(std::size_t end) { return static_cast<std::size_t>(engine_() % end); }
  bool one_in(std::size_t count) { return below(count) == 0; }
  template <typename Range>
  auto& pick(Range& range) {
    return range[below(range.size())];
  }

 private:
  std::mt19937_64 engine_;
};

class RandomStore {
 public:
  explicit RandomStore(Dice& dice);

  /// Publishes new versions, withdraws or deprecates some, and gives some other references.
  void change();
  /// The document of the list, with the digests of members whose bytes are their URLs below
  /// `address`.
  [[nodiscard]] std::string document(std::string_view address) const;
  /// The text of an identity, a line or a name of a version that there is or might be.
  [[nodiscard]] std::string any_filter();

 private:
  struct Version {
    std::string identity;
    std::vector<std::string> references;
    std::vector<std::string> conflicts;
    bool deprecated = false;
  };

  std::string any_identity();
  std::vector<std::string> some_filters(std::size_t most);
  void publish();

  Dice& dice_;
  std::vector<Version> versions_;
  int build_number_ = 1;
};

}  // namespace zendro::tests
