#include "framework/http/transfer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "framework/text/ascii.h"
#include "framework/url/loggable.h"

namespace zendro::framework {
namespace {

/// How often the speed is looked at.
constexpr std::chrono::seconds kSample{1};
// Of all header sections of an answer, trailers included.
constexpr std::size_t kMaxHeaderKilobytes = 256;
constexpr std::size_t kMaxHeaderLines = 1000;

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") + 1 - first);
}

}  // namespace

IoError failure_of(std::string_view url, std::string_view cause) {
  return {loggable_url(url) + ": " + loggable_text(cause)};
}

bool HeaderNameLess::operator()(std::string_view a, std::string_view b) const {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return ascii_lower(x) < ascii_lower(y);
  });
}

std::string refused_encoding(const HttpHeaders& headers, std::string_view header,
                             std::initializer_list<std::string_view> accepted) {
  const auto found = headers.find(header);
  if (found == headers.end() || found->second.empty()) return {};
  const auto is_it = [&found](std::string_view one) {
    return equal_ignoring_case(found->second, one);
  };
  if (std::any_of(accepted.begin(), accepted.end(), is_it)) return {};
  return std::string(header) + " \"" + found->second + "\" was not asked for";
}

StallClock::StallClock(const TransportSettings& settings)
    : limit_(settings.stall_time), speed_(static_cast<double>(settings.stall_speed)) {}

void StallClock::add(std::chrono::nanoseconds time, std::uint64_t bytes) {
  sample_ += time;
  if (sample_ < kSample) return;
  const double seconds = std::chrono::duration<double>(sample_).count();
  const bool is_slow = static_cast<double>(bytes - bytes_) < speed_ * seconds;
  slow_ = is_slow ? slow_ + sample_ : std::chrono::nanoseconds::zero();
  sample_ = std::chrono::nanoseconds::zero();
  bytes_ = bytes;
}

void BodyBuffer::clear() {
  begin_ = end_ = 0;
  if (bytes_.size() > kIoBlock) bytes_ = std::vector<char>(kIoBlock);
  withdraw();
}

void BodyBuffer::append_all(const char* bytes, std::size_t size) {
  if (empty()) begin_ = end_ = 0;
  const std::size_t kept = size - std::min(size, lent_.size());
  if (kept > bytes_.size() - end_) bytes_.resize(end_ + std::max(kept, end_));
  append(bytes, size);
}

bool BodyBuffer::append(const char* bytes, std::size_t size) {
  if (empty()) begin_ = end_ = 0;
  // Nothing waits here while there is room in what was lent.
  const std::size_t given = std::min(size, lent_.size());
  const std::size_t kept = size - given;
  if (kept > bytes_.size() - end_) return false;
  std::copy_n(bytes, given, lent_.data());
  std::copy_n(bytes + given, kept, bytes_.data() + end_);
  lent_ = lent_.subspan(given);
  end_ += kept;
  return true;
}

std::size_t BodyBuffer::take(void* out, std::size_t size) {
  size = std::min(size, end_ - begin_);
  if (size != 0) std::memcpy(out, bytes_.data() + begin_, size);
  begin_ += size;
  return size;
}

bool Transfer::refuse(std::string why) {
  cause = std::move(why);
  return cause.empty();
}

bool Transfer::note_header(std::string_view bytes) {
  header_bytes += bytes.size();
  if (header_bytes > kMaxHeaderKilobytes * 1024) {
    return refuse("the answer's headers are longer than " + std::to_string(kMaxHeaderKilobytes) +
                  " KiB");
  }
  if (++header_lines_ > kMaxHeaderLines) {
    return refuse("the answer has more than " + std::to_string(kMaxHeaderLines) + " header lines");
  }
  if (answered) return true;  // a trailer
  if (bytes.starts_with('\r') || bytes.starts_with('\n')) {
    in_section_ = false;
    // libcurl would undo it, also where an interim answer (1xx) says so of the one that follows.
    return refuse(refused_encoding(headers, "Transfer-Encoding", {"chunked"}));
  }
  std::string text(bytes);
  std::replace(text.begin(), text.end(), '\r', ' ');  // RFC 9112, section 2.2
  const std::string_view line = text;
  const std::size_t colon = line.find(':');
  if (!std::exchange(in_section_, true)) {
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
  return true;
}

}  // namespace zendro::framework
