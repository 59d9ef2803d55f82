#include "store/serve/tree_server.h"

#include <charconv>
#include <optional>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>

namespace zendro::store {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;

/// For a request to arrive, and for a block of an answer to be taken.
constexpr std::chrono::seconds kLongestWait{60};
/// A report of an installation is far smaller.
constexpr std::uint64_t kMaxRequestBody = 1 << 20;
constexpr std::size_t kMostConnections = 256;

using Log = TreeServer::Log;

/// One connection, which lives as long as something is to be done for it.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(tcp::socket socket, const StaticTree& tree, const Log& log, std::size_t& count)
      : stream_(std::move(socket)), tree_(tree), log_(log), count_(count) {
    ++count_;
  }
  ~Connection() { --count_; }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void read() {
    parser_.emplace();
    parser_->body_limit(kMaxRequestBody);
    stream_.expires_after(kLongestWait);
    http::async_read(stream_, buffer_, *parser_,
                     [self = shared_from_this()](const error_code& error, std::size_t) {
                       if (!error) self->respond();
                     });
  }

 private:
  void respond();
  void write_block();

  boost::beast::tcp_stream stream_;
  boost::beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  const StaticTree& tree_;
  const Log& log_;
  std::size_t& count_;
  TreeAnswer answer_;
  std::string block_;  ///< what is sent next
  bool keeps_open_ = false;
};

/// The head of an answer, as it is sent.
std::string head_of(const TreeAnswer& answer, bool keeps_open) {
  const auto reason = http::obsolete_reason(static_cast<http::status>(answer.status));
  std::string head = "HTTP/1.1 " + std::to_string(answer.status) + " " + std::string(reason);
  head += "\r\nServer: zendro-store\r\n";
  for (const auto& [name, value] : answer.headers) head += name + ": " + value + "\r\n";
  // Answers without a body by their status say nothing of one (RFC 9110, section 8.6).
  if (answer.status != 204 && answer.status != 304) {
    head += "Content-Length: " + std::to_string(answer.size) + "\r\n";
  }
  return head + (keeps_open ? "\r\n" : "Connection: close\r\n\r\n");
}

void Connection::respond() {
  const auto& request = parser_->get();
  TreeRequest asked;
  asked.method = std::string_view(request.method_string());
  asked.target = std::string_view(request.target());
  asked.authority = std::string_view(request[http::field::host]);
  asked.if_none_match = std::string_view(request[http::field::if_none_match]);
  answer_ = tree_.answer(asked);
  keeps_open_ = request.keep_alive();
  if (log_) log_(asked, answer_.status);
  block_ = head_of(answer_, keeps_open_);
  if (request.method() == http::verb::head) {
    answer_.file = nullptr;
  } else {
    block_ += answer_.text;
  }
  write_block();
}

/// Sends the block and all that follows it.
void Connection::write_block() {
  stream_.expires_after(kLongestWait);
  asio::async_write(
      stream_, asio::buffer(block_),
      [self = shared_from_this()](const error_code& error, std::size_t) {
        if (error) return;
        if (self->answer_.file != nullptr && self->answer_.size > 0) {
          self->block_.resize(std::min<std::uint64_t>(framework::kIoBlock, self->answer_.size));
          const std::int64_t count =
              self->answer_.file->read(self->block_.data(), self->block_.size());
          if (count <= 0) return;  // shorter than was announced: the client sees it cut short
          self->block_.resize(static_cast<std::size_t>(count));
          self->answer_.size -= static_cast<std::uint64_t>(count);
          return self->write_block();
        }
        self->answer_ = {};
        if (self->keeps_open_) self->read();
      });
}

class Server final : public TreeServer {
 public:
  Server(const StaticTree& tree, Log log) : tree_(tree), log_(std::move(log)) {}

  error_code open(const std::string& host, const std::string& port) {
    error_code error;
    tcp::resolver resolver(io_);
    const auto found = resolver.resolve(host, port, tcp::resolver::passive, error);
    if (error) return error;
    const tcp::endpoint endpoint = found.begin()->endpoint();
    acceptor_.open(endpoint.protocol(), error);
    if (!error) acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error) acceptor_.bind(endpoint, error);
    if (!error) acceptor_.listen(asio::socket_base::max_listen_connections, error);
    return error;
  }

  [[nodiscard]] std::string url() const override {
    error_code ignored;
    const tcp::endpoint endpoint = acceptor_.local_endpoint(ignored);
    const std::string host = endpoint.address().to_string();
    return "http://" + (endpoint.address().is_v6() ? "[" + host + "]" : host) + ":" +
           std::to_string(endpoint.port()) + "/";
  }

  void run(const std::stop_token& stop) override {
    const std::stop_callback stopping(stop, [this] { io_.stop(); });
    accept();
    if (!stop.stop_requested()) io_.run();
  }

 private:
  void accept() {
    acceptor_.async_accept([this](const error_code& error, tcp::socket socket) {
      // Surplus connections are closed; the clients of a try-out have few.
      if (!error && count_ < kMostConnections) {
        error_code ignored;
        socket.set_option(tcp::no_delay(true), ignored);
        std::make_shared<Connection>(std::move(socket), tree_, log_, count_)->read();
      }
      accept();
    });
  }

  const StaticTree& tree_;
  const Log log_;
  std::size_t count_ = 0;  ///< of connections; outlives them, which the next member holds
  asio::io_context io_;
  tcp::acceptor acceptor_{io_};
};

/// Host and port of an address; a port that is not given is "0".
std::pair<std::string, std::string> split(std::string_view address) {
  const std::size_t colon = address.rfind(':');
  const bool has_port = colon != std::string_view::npos &&
                        (address.find(':') == colon || address.substr(0, colon).ends_with(']'));
  std::string host(has_port ? address.substr(0, colon) : address);
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  return {host, has_port ? std::string(address.substr(colon + 1)) : "0"};
}

bool is_port(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

framework::Result<std::unique_ptr<TreeServer>> TreeServer::listen(std::string_view address,
                                                                  const StaticTree& tree, Log log) {
  const auto [host, port] = split(address);
  if (host.empty() || !is_port(port)) {
    return tl::unexpected(framework::IoError{
        std::string(address) + ": an address is a host and a port, as in 127.0.0.1:8080"});
  }
  auto server = std::make_unique<Server>(tree, std::move(log));
  if (const error_code error = server->open(host, port)) {
    return tl::unexpected(framework::IoError{std::string(address) + ": " + error.message()});
  }
  return server;
}

}  // namespace zendro::store
