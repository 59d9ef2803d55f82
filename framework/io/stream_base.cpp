#include "framework/io/stream_base.h"

namespace zendro::framework {

bool StreamBase::open(std::string_view /*url*/) {
  fail("is open already");
  return false;
}

std::int64_t StreamBase::write(const void* /*buffer*/, std::size_t /*size*/) {
  return fail("is open for reading only");
}

std::int64_t StreamBase::fail(std::string_view cause) {
  if (!error_) error_.text = label_ + ": " + std::string(cause);
  return -1;
}

std::optional<std::int64_t> StreamBase::seek_target(std::int64_t offset, SeekOrigin origin,
                                                    std::int64_t position, std::int64_t size) {
  std::int64_t base = 0;
  if (origin == SeekOrigin::current) base = position;
  if (origin == SeekOrigin::end) base = size;
  // base lies within 0 to size, so neither difference can overflow.
  if (offset < -base || offset > size - base) {
    fail("seek to a position outside the stream");
    return std::nullopt;
  }
  return base + offset;
}

}  // namespace zendro::framework
