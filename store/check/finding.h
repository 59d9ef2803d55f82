// What a check of a store finds. Plain data.
#pragma once

#include <string>
#include <vector>

namespace zendro::store {

enum class Severity {
  error,    ///< a client refuses it, or does not get what it is promised
  warning,  ///< works, but hardly as meant
};

struct Finding {
  Severity severity = Severity::error;
  std::string package;  ///< its identity; empty: the store as a whole
  std::string file;     ///< a path in the package's member, or a file of the store; may be empty
  int line = 0;         ///< 0: the file as a whole
  std::string what;     ///< a sentence without its full stop
  std::string advice;   ///< what to write instead; may be empty
  bool operator==(const Finding&) const = default;
};

/// Where the checks put what they find. Each uses its own from one thread.
using Findings = std::vector<Finding>;

}  // namespace zendro::store
