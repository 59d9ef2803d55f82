#include "tests/loopback/loopback_reply.h"

namespace zendro::loopback {
namespace {

Fault fault_of(Fault::Kind kind, std::optional<std::uint64_t> after = {}) {
  Fault fault;
  fault.kind = kind;
  fault.after = after;
  return fault;
}

}  // namespace

Reply Reply::bytes(std::string body, std::vector<std::pair<std::string, std::string>> headers) {
  Reply reply;
  reply.headers = std::move(headers);
  reply.body = std::make_shared<const std::string>(std::move(body));
  return reply;
}

Reply Reply::from_file(std::filesystem::path file,
                       std::vector<std::pair<std::string, std::string>> headers) {
  Reply reply;
  reply.headers = std::move(headers);
  reply.file = std::move(file);
  return reply;
}

Reply Reply::with_status(int status, std::string body) {
  Reply reply = bytes(std::move(body));
  reply.status = status;
  return reply;
}

Reply Reply::redirect(std::string location, int status) {
  Reply reply = with_status(status);
  reply.headers.emplace_back("Location", std::move(location));
  return reply;
}

Fault Fault::late(std::chrono::milliseconds delay) {
  Fault fault;
  fault.delay = delay;
  return fault;
}

Fault Fault::replaced(Reply reply) {
  Fault fault = fault_of(Kind::replaced);
  fault.reply = std::move(reply);
  return fault;
}

Fault Fault::close(std::optional<std::uint64_t> after) { return fault_of(Kind::close, after); }
Fault Fault::reset(std::optional<std::uint64_t> after) { return fault_of(Kind::reset, after); }
Fault Fault::stall(std::optional<std::uint64_t> after) { return fault_of(Kind::stall, after); }
Fault Fault::endless(std::optional<std::uint64_t> after) { return fault_of(Kind::endless, after); }
Fault Fault::wrong_length(std::uint64_t length) { return fault_of(Kind::length, length); }

Fault Fault::dribble(std::chrono::milliseconds interval) {
  Fault fault = fault_of(Kind::dribble);
  fault.interval = interval;
  return fault;
}

Fault Fault::raw(std::string text) {
  Fault fault = fault_of(Kind::raw);
  fault.text = std::move(text);
  return fault;
}

Fault Fault::bad_chunks() {
  return raw(
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
      "5\r\nhello\r\nnot a chunk\r\n");
}

Fault Fault::first(int count) const {
  Fault fault = *this;
  fault.times = count;
  return fault;
}

}  // namespace zendro::loopback
