// What the streams of the framework have in common: a name for error texts, the first failure, and
// the refusal of whatever a kind of stream does not support.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "framework/io/io.h"

namespace zendro::framework {

/// A stream that its maker has opened, for reading unless the derived class overrides write().
class StreamBase : public IOImpl_base {
 public:
  /// `label` is the URL or path that error texts begin with.
  explicit StreamBase(std::string label) : label_(std::move(label)) {}

  [[nodiscard]] const IoError& error() const override { return error_; }
  /// Refused: one such stream stands for one opened file.
  bool open(std::string_view url) override;
  void flush() override {}
  std::int64_t write(const void* buffer, std::size_t size) override;

 protected:
  /// Records "<label>: <cause>" unless a failure has been recorded before; returns -1.
  std::int64_t fail(std::string_view cause);
  /// The position that a seek leads to; nothing, after fail(), when it lies outside 0 to `size`.
  std::optional<std::int64_t> seek_target(std::int64_t offset, SeekOrigin origin,
                                          std::int64_t position, std::int64_t size);

 private:
  std::string label_;
  IoError error_;
};

}  // namespace zendro::framework
