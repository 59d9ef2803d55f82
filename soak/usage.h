// What the running program has in use of the machine.
#pragma once

#include <cstdint>
#include <vector>

namespace zendro::soak {

struct Figure {
  const char* name;  ///< with its unit, if it has one
  std::int64_t value;
  std::int64_t most_growth;  ///< what a run may add to it, however long; more is a leak
};

/// At present. The same figures in the same order at each call; those that the system does not tell
/// are left out.
std::vector<Figure> usage();

}  // namespace zendro::soak
