// A package store in memory, behind the transport's interface.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "framework/http/http.h"

namespace zendro::tests {

inline constexpr std::string_view kStoreAddress = "http://store.test/";

/// Serves a bootstrap document, what has been put in, and for every other URL of kStoreAddress the
/// URL itself. Outlives its transports.
class MemoryStore {
 public:
  MemoryStore();

  void put(std::string_view path, std::string bytes, framework::HttpHeaders headers = {});
  /// What goes wrong with the requests to come, one byte each: no answer, an answer that breaks off
  /// with or without a failure, other bytes; most values do nothing.
  void set_faults(std::string_view faults) { faults_ = faults; }

  [[nodiscard]] std::unique_ptr<framework::HttpTransport> make_transport();

 private:
  friend class MemoryTransport;
  struct Answer {
    std::string bytes;
    framework::HttpHeaders headers;
  };

  enum class Fault { none, no_answer, breaks_off, cut, other_bytes };
  Fault next_fault();

  std::map<std::string, Answer> answers_;  ///< by URL
  std::string_view faults_;
};

}  // namespace zendro::tests
