#include "tests/loopback/loopback_server.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <list>
#include <map>
#include <mutex>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>

namespace zendro::loopback {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestFault{30};
constexpr std::size_t kBlock = 65536;
constexpr std::uint64_t kMaxRequestBody = 16 * 1024 * 1024;

std::string_view without_query(std::string_view path) { return path.substr(0, path.find('?')); }

/// The bytes of a reply's body, from front to back.
class Body {
 public:
  explicit Body(const Reply& reply) : bytes_(reply.body) {
    if (!reply.file.empty()) {
      file_.open(reply.file, std::ios::binary | std::ios::ate);
      if (file_) size_ = static_cast<std::uint64_t>(file_.tellg());
      file_.seekg(0);
    } else if (bytes_) {
      size_ = bytes_->size() * reply.repeat;
    }
    left_ = size_;
  }

  [[nodiscard]] bool readable() const { return !file_.fail(); }
  [[nodiscard]] std::uint64_t size() const { return size_; }

  /// Appends up to `size` of the next bytes; false at the end.
  bool append_to(std::string& out, std::uint64_t size) {
    size = std::min(size, left_);
    left_ -= size;
    const std::size_t begin = out.size();
    if (file_.is_open()) {
      out.resize(begin + size);
      file_.read(out.data() + begin, static_cast<std::streamsize>(size));
    }
    while (out.size() < begin + size) {
      const std::size_t count = std::min(bytes_->size() - at_, begin + size - out.size());
      out.append(*bytes_, at_, count);
      at_ = (at_ + count) % bytes_->size();
    }
    return size != 0;
  }

 private:
  std::shared_ptr<const std::string> bytes_;
  std::ifstream file_;
  std::uint64_t size_ = 0;
  std::uint64_t left_ = 0;
  std::size_t at_ = 0;
};

/// The head of an answer; without a length the body is sent in chunks.
std::string head_of(const Reply& reply, std::optional<std::uint64_t> length, bool keep_alive) {
  std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " ";
  head += std::string_view(http::obsolete_reason(static_cast<http::status>(reply.status)));
  head += "\r\n";
  head += length ? "Content-Length: " + std::to_string(*length) : "Transfer-Encoding: chunked";
  head += "\r\n";
  for (const auto& [name, value] : reply.headers) head += name + ": " + value + "\r\n";
  if (!keep_alive) head += "Connection: close\r\n";
  return head += "\r\n";
}

}  // namespace

class LoopbackServer::Impl {
 public:
  Impl(std::uint16_t port, const std::optional<TlsIdentity>& identity);
  ~Impl();

  asio::io_context io_;
  tcp::acceptor acceptor_;
  tcp::endpoint endpoint_;
  std::optional<asio::ssl::context> tls_;

  mutable std::mutex mutex_;  ///< guards everything below
  std::condition_variable stopping_;
  std::condition_variable freed_;  ///< a connection is done, or the server is to stop
  bool stop_ = false;
  std::size_t limit_ = SIZE_MAX;
  Surplus surplus_ = Surplus::waits;
  std::map<std::string, Reply, std::less<>> replies_;
  std::map<std::string, Fault, std::less<>> faults_;
  std::function<void(const ServedRequest&)> observer_;
  std::vector<ServedRequest> requests_;
  std::size_t connection_count_ = 0;

 private:
  struct Connection {
    asio::io_context io;
    tcp::socket socket{io};
    std::thread thread;
    bool done = false;
  };
  struct Answer {
    Reply reply;
    Fault fault;
    bool keep_alive = false;
    bool head_only = false;
  };

  void accept_all();
  bool has_room(std::unique_lock<std::mutex>& lock);
  void talk(Connection& connection);
  template <class Start>
  error_code run(Connection& connection, const Start& start);
  template <class Stream, class Bytes>
  error_code write(Stream& stream, Connection& connection, const Bytes& bytes);
  template <class Stream>
  void talk_over(Stream& stream, Connection& connection);
  Answer answer_to(const http::request<http::string_body>& request);
  template <class Stream>
  bool send(Stream& stream, Connection& connection, const Answer& answer);
  template <class Stream>
  void send_endless(Stream& stream, Connection& connection, const Answer& answer);
  bool wait(std::chrono::milliseconds time);
  void hang_up(Connection& connection, bool reset);
  void join_finished();

  std::list<Connection> connections_;
  std::thread acceptor_thread_;
};

LoopbackServer::Impl::Impl(std::uint16_t port, const std::optional<TlsIdentity>& identity)
    : acceptor_(io_, tcp::endpoint(asio::ip::address_v4::loopback(), port)),
      endpoint_(acceptor_.local_endpoint()) {
  if (identity) {
    tls_.emplace(asio::ssl::context::tls_server);
    tls_->use_certificate_chain(asio::buffer(identity->certificate));
    tls_->use_private_key(asio::buffer(identity->private_key), asio::ssl::context::pem);
  }
  acceptor_thread_ = std::thread([this] { accept_all(); });
}

LoopbackServer::Impl::~Impl() {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
    for (Connection& connection : connections_) connection.io.stop();
  }
  stopping_.notify_all();
  freed_.notify_all();
  // A last connection wakes the thread that waits for one.
  error_code ignored;
  tcp::socket(io_).connect(endpoint_, ignored);
  acceptor_thread_.join();
  for (Connection& connection : connections_) connection.thread.join();
}

void LoopbackServer::Impl::accept_all() {
  for (;;) {
    error_code error;
    std::list<Connection> accepted(1);
    Connection& connection = accepted.front();
    acceptor_.accept(connection.socket, error);
    if (error) {  // such as no descriptor being left
      if (wait(std::chrono::milliseconds(10))) return;
      continue;
    }
    std::unique_lock lock(mutex_);
    ++connection_count_;
    const bool is_served = has_room(lock);
    if (stop_) return;
    if (!is_served) continue;
    connection.socket.set_option(tcp::no_delay(true), error);
    connections_.splice(connections_.end(), accepted);
    connection.thread = std::thread([this, &connection] { talk(connection); });
  }
}

/// Whether one more connection is to be served; waits for those before it where it may.
bool LoopbackServer::Impl::has_room(std::unique_lock<std::mutex>& lock) {
  const auto is_free = [this] {
    join_finished();
    return stop_ || connections_.size() < limit_;
  };
  if (surplus_ == Surplus::waits) freed_.wait(lock, is_free);
  return is_free();
}

void LoopbackServer::Impl::join_finished() {
  connections_.remove_if([](Connection& connection) {
    if (connection.done) connection.thread.join();
    return connection.done;
  });
}

/// Runs one asynchronous operation to its end, or to that of the server: unlike a blocking call it
/// can be broken off on every system.
template <class Start>
error_code LoopbackServer::Impl::run(Connection& connection, const Start& start) {
  error_code result = asio::error::operation_aborted;
  bool completed = false;
  {
    const std::lock_guard lock(mutex_);
    if (stop_) return result;
    connection.io.restart();
  }
  start([&](const error_code& error, std::size_t = 0) {
    result = error;
    completed = true;
  });
  connection.io.run();
  if (!completed) {
    // What the operation works on must outlive it.
    hang_up(connection, false);
    connection.io.restart();
    connection.io.run();
  }
  return result;
}

template <class Stream, class Bytes>
error_code LoopbackServer::Impl::write(Stream& stream, Connection& connection, const Bytes& bytes) {
  return run(connection,
             [&](auto handler) { asio::async_write(stream, asio::buffer(bytes), handler); });
}

void LoopbackServer::Impl::talk(Connection& connection) {
  if (tls_) {
    asio::ssl::stream<tcp::socket&> stream(connection.socket, *tls_);
    const error_code error = run(connection, [&](auto handler) {
      stream.async_handshake(asio::ssl::stream_base::server, handler);
    });
    if (!error) talk_over(stream, connection);
  } else {
    talk_over(connection.socket, connection);
  }
  hang_up(connection, false);
  const std::lock_guard lock(mutex_);
  connection.done = true;
  freed_.notify_all();
}

template <class Stream>
void LoopbackServer::Impl::talk_over(Stream& stream, Connection& connection) {
  boost::beast::flat_buffer buffer;
  for (;;) {
    http::request_parser<http::string_body> parser;
    parser.body_limit(kMaxRequestBody);
    const error_code error =
        run(connection, [&](auto handler) { http::async_read(stream, buffer, parser, handler); });
    if (error || !send(stream, connection, answer_to(parser.get()))) return;
  }
}

/// Whether a request names the version of a document that the reply has (RFC 9110, section 13).
bool has_it(const framework::HttpHeaders& request, const Reply& reply) {
  return reply.status == 200 &&
         std::any_of(reply.headers.begin(), reply.headers.end(), [&](const auto& header) {
           const auto& [name, value] = header;
           const auto condition = request.find(name == "ETag"            ? "If-None-Match"
                                               : name == "Last-Modified" ? "If-Modified-Since"
                                                                         : "");
           return condition != request.end() && condition->second == value;
         });
}

/// Remembers a request and finds the answer to it.
LoopbackServer::Impl::Answer LoopbackServer::Impl::answer_to(
    const http::request<http::string_body>& request) {
  ServedRequest served;
  served.method = std::string_view(request.method_string());
  served.path = std::string_view(request.target());
  served.body = request.body();
  for (const auto& field : request) {
    served.headers.emplace(std::string_view(field.name_string()), std::string_view(field.value()));
  }

  Answer answer;
  answer.keep_alive = request.keep_alive();
  answer.head_only = request.method() == http::verb::head;
  std::function<void(const ServedRequest&)> observer;
  {
    const std::lock_guard lock(mutex_);
    requests_.push_back(served);
    observer = observer_;
    const std::string_view path = without_query(served.path);
    const auto reply = replies_.find(path);
    const auto fault = faults_.find(path);
    const bool faulty = fault != faults_.end() && fault->second.times != 0;
    if (faulty) {
      if (fault->second.times > 0) --fault->second.times;
      answer.fault = fault->second;
    }
    if (reply != replies_.end()) {
      answer.reply =
          has_it(served.headers, reply->second) ? Reply::with_status(304) : reply->second;
    } else if (!faulty) {
      answer.reply = Reply::with_status(404, "not here\n");
    }
  }
  if (observer) observer(served);
  if (answer.fault.kind == Fault::Kind::replaced) answer.reply = answer.fault.reply;
  return answer;
}

/// Sends an answer, or commits its fault; whether the connection goes on.
template <class Stream>
bool LoopbackServer::Impl::send(Stream& stream, Connection& connection, const Answer& answer) {
  using Kind = Fault::Kind;
  const Fault& fault = answer.fault;
  const Kind kind = fault.kind;
  if (fault.delay.count() != 0 && wait(fault.delay)) return false;

  if (kind == Kind::raw) {
    write(stream, connection, fault.text);
    return false;
  }
  if (kind == Kind::endless) {
    send_endless(stream, connection, answer);
    return false;
  }

  Body body(answer.reply);
  if (!body.readable()) {
    return send(stream, connection, {Reply::with_status(500, "not readable\n"), {}, true, false});
  }
  const bool cut = kind == Kind::close || kind == Kind::reset || kind == Kind::stall;
  const bool lies = kind == Kind::length;
  const bool keep_alive = answer.keep_alive && !lies;
  std::uint64_t left = cut ? fault.after.value_or(0) : body.size();
  std::string block;
  if (!cut || fault.after) {
    block = head_of(answer.reply, lies ? fault.after.value_or(0) : body.size(), keep_alive);
  }
  if (answer.head_only) left = 0;
  const std::size_t step = kind == Kind::dribble ? 1 : kBlock;
  while (body.append_to(block, std::min<std::uint64_t>(left, step)) || !block.empty()) {
    const error_code error = write(stream, connection, block);
    if (error || (kind == Kind::dribble && wait(fault.interval))) return false;
    left -= std::min<std::uint64_t>(left, step);
    block.clear();
  }
  if (kind == Kind::stall) wait(kLongestFault);
  if (kind == Kind::reset) hang_up(connection, true);
  return keep_alive && !cut;
}

template <class Stream>
void LoopbackServer::Impl::send_endless(Stream& stream, Connection& connection,
                                        const Answer& answer) {
  const Reply& reply = answer.reply;
  error_code error = write(stream, connection, head_of(reply, {}, false));
  const std::string unit = reply.body && !reply.body->empty() ? *reply.body : "endless ";
  std::string block;
  while (block.size() < kBlock) block += unit;
  std::string chunk;
  chunk.reserve(block.size() + 16);
  char size[20];
  std::snprintf(size, sizeof size, "%zx\r\n", block.size());
  chunk.append(size).append(block).append("\r\n");
  const auto until = steady_clock::now() + kLongestFault;
  const std::uint64_t most = answer.fault.after.value_or(UINT64_MAX);
  for (std::uint64_t sent = 0; !error && sent < most && steady_clock::now() < until;) {
    error = write(stream, connection, chunk);
    sent += block.size();
  }
}

/// Waits, but not beyond the end of the server: whether that has come.
bool LoopbackServer::Impl::wait(std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  return stopping_.wait_for(lock, time, [this] { return stop_; });
}

void LoopbackServer::Impl::hang_up(Connection& connection, bool reset) {
  const std::lock_guard lock(mutex_);
  error_code ignored;
  // A close that lingers for no time is a reset (RFC 9293, section 3.10.4).
  if (reset) connection.socket.set_option(asio::socket_base::linger(true, 0), ignored);
  connection.socket.close(ignored);
}

LoopbackServer::LoopbackServer(std::uint16_t port, const std::optional<TlsIdentity>& identity)
    : impl_(std::make_unique<Impl>(port, identity)) {}

LoopbackServer::~LoopbackServer() = default;

std::string LoopbackServer::url(std::string_view path) const {
  return (impl_->tls_ ? "https://localhost:" : "http://127.0.0.1:") +
         std::to_string(impl_->endpoint_.port()) + "/" + std::string(path);
}

void LoopbackServer::serve(const std::string& path, Reply reply) {
  const std::lock_guard lock(impl_->mutex_);
  impl_->replies_[path] = std::move(reply);
}

void LoopbackServer::set_fault(const std::string& path, Fault fault) {
  const std::lock_guard lock(impl_->mutex_);
  impl_->faults_[path] = std::move(fault);
}

void LoopbackServer::clear_faults() {
  const std::lock_guard lock(impl_->mutex_);
  impl_->faults_.clear();
}

void LoopbackServer::limit_connections(std::size_t served_at_once, Surplus surplus) {
  const std::lock_guard lock(impl_->mutex_);
  impl_->limit_ = served_at_once;
  impl_->surplus_ = surplus;
}

void LoopbackServer::observe(std::function<void(const ServedRequest&)> observer) {
  const std::lock_guard lock(impl_->mutex_);
  impl_->observer_ = std::move(observer);
}

std::vector<ServedRequest> LoopbackServer::requests() const {
  const std::lock_guard lock(impl_->mutex_);
  return impl_->requests_;
}

void LoopbackServer::forget_requests() {
  const std::lock_guard lock(impl_->mutex_);
  impl_->requests_.clear();
}

std::size_t LoopbackServer::request_count(std::string_view path) const {
  const std::lock_guard lock(impl_->mutex_);
  return static_cast<std::size_t>(
      std::count_if(impl_->requests_.begin(), impl_->requests_.end(),
                    [&](const auto& request) { return without_query(request.path) == path; }));
}

std::size_t LoopbackServer::connections() const {
  const std::lock_guard lock(impl_->mutex_);
  return impl_->connection_count_;
}

std::size_t LoopbackServer::resumed_sessions() const {
  return impl_->tls_ ? static_cast<std::size_t>(SSL_CTX_sess_hits(impl_->tls_->native_handle()))
                     : 0;
}

}  // namespace zendro::loopback
