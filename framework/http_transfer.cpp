#include "framework/http_transfer.h"

#include <algorithm>
#include <cstring>

#include "framework/http_url.h"

namespace zendro::framework {
namespace {

constexpr std::chrono::seconds kSample{1};

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") + 1 - first);
}

}  // namespace

IoError failure_of(std::string_view url, std::string_view cause) {
  return {presentable(url) + ": " + presentable(cause)};
}

bool HeaderNameLess::operator()(std::string_view a, std::string_view b) const {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [](char x, char y) { return lower(x) < lower(y); });
}

bool same_header_name(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

StallClock::StallClock(const TransportSettings& settings)
    : limit_(settings.stall_time), speed_(static_cast<double>(settings.stall_speed)) {}

void StallClock::waited(std::chrono::nanoseconds time, std::uint64_t bytes) {
  sample_ += time;
  if (sample_ < kSample) return;
  const double seconds = std::chrono::duration<double>(sample_).count();
  const bool is_slow = static_cast<double>(bytes - bytes_) < speed_ * seconds;
  slow_ = is_slow ? slow_ + sample_ : std::chrono::nanoseconds::zero();
  sample_ = std::chrono::nanoseconds::zero();
  bytes_ = bytes;
}

bool BodyBuffer::append(const char* bytes, std::size_t size) {
  if (empty()) clear();
  if (size > bytes_.size() - end_) return false;
  std::memcpy(bytes_.data() + end_, bytes, size);
  end_ += size;
  return true;
}

std::size_t BodyBuffer::take(void* out, std::size_t size) {
  size = std::min(size, end_ - begin_);
  if (size != 0) std::memcpy(out, bytes_.data() + begin_, size);
  begin_ += size;
  return size;
}

void Transfer::note_header(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (line.starts_with("HTTP/")) {
    headers.clear();
    last_header_ = headers.end();
  } else if (line.starts_with(' ') || line.starts_with('\t')) {
    // A folded line goes on with the value before it (RFC 9112, section 5.2).
    if (last_header_ != headers.end()) last_header_->second.append(" ").append(trimmed(line));
  } else if (colon != std::string_view::npos) {
    const std::string_view value = trimmed(line.substr(colon + 1));
    const auto [at, added] =
        headers.try_emplace(std::string(trimmed(line.substr(0, colon))), value);
    // Lines of one name make up a list (RFC 9110, section 5.3).
    if (!added) at->second.append(", ").append(value);
    last_header_ = at;
  }
}

}  // namespace zendro::framework
