// Whole conversations with hostile servers over the real transport: whatever they answer, each
// request ends with an answer or a cause, and the transport is none the worse for it.
#include "framework/http/http.h"

#include <array>
#include <cstdlib>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/input.h"

namespace zendro::fuzz {
namespace {

using framework::HttpRequest;
using framework::HttpResponse;
using framework::HttpTransport;

constexpr std::size_t kMostAnswers = 12;
constexpr std::uint64_t kSizeLimit = 100'000;
/// How long a connection may be quiet that has been answered; then it is closed.
constexpr int kQuietMilliseconds = 3;
/// What ends an answer after which the connection stays open. No other byte of an answer is it.
constexpr char kNext = '\xFE';
constexpr std::string_view kSecret = "s3cret";

/// Gives one answer after the other to whatever is asked over any connection, on a thread of its
/// own, and closes the connection with the last one.
class Server {
 public:
  explicit Server(std::vector<std::string_view> answers) : answers_(std::move(answers)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    if (listener < 0 || ::bind(listener, generic, size) != 0 || ::listen(listener, 64) != 0 ||
        ::getsockname(listener, generic, &size) != 0 || ::pipe(stop_.data()) != 0) {
      throw std::runtime_error("no port on the loopback interface");
    }
    sockets_ = {{stop_[0], POLLIN, 0}, {listener, POLLIN, 0}};
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }

  ~Server() {
    ::close(stop_[1]);
    thread_.join();
    for (const pollfd& socket : sockets_) ::close(socket.fd);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  [[nodiscard]] std::string url(const std::string& path) const {
    return "http://me:" + std::string(kSecret) + "@127.0.0.1:" + std::to_string(port_) + path;
  }

 private:
  static constexpr std::size_t kFirstConnection = 2;

  void serve() {
    for (;;) {
      const bool is_quiet = ::poll(sockets_.data(), sockets_.size(), kQuietMilliseconds) == 0;
      if (sockets_[0].revents != 0) return;
      for (std::size_t i = sockets_.size(); i-- > kFirstConnection;) {
        const int connection = sockets_[i].fd;
        const bool is_over = is_quiet ? answered_.contains(connection)
                                      : sockets_[i].revents != 0 && !answer(connection);
        if (is_over) {
          answered_.erase(connection);
          ::close(connection);
          sockets_.erase(sockets_.begin() + static_cast<std::ptrdiff_t>(i));
        }
      }
      if (sockets_[1].revents != 0)
        sockets_.push_back({::accept(sockets_[1].fd, nullptr, nullptr), POLLIN, 0});
    }
  }

  /// Whether the connection stays open.
  bool answer(int connection) {
    std::array<char, 4096> request;  // one at most is under way, and its head is short
    if (::recv(connection, request.data(), request.size(), 0) <= 0 || answers_.empty())
      return false;
    const std::string_view text = answers_.front();
    answers_.erase(answers_.begin());
    answered_.insert(connection);
    return ::send(connection, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT) >= 0 &&
           !answers_.empty();
  }

  std::vector<std::string_view> answers_;
  std::array<int, 2> stop_{};
  std::set<int> answered_;
  std::vector<pollfd> sockets_;  ///< what stops the thread, the listener, and connections
  unsigned port_ = 0;
  std::thread thread_;
};

void check_text(const std::string& text, std::string_view input) {
  require(text.find(kSecret) == std::string::npos || input.find(kSecret) != std::string::npos,
          "no password is told");
  for (const char c : text) require(c >= ' ' && c <= '~', "what is told can be shown");
}

/// Reads an answer to its end, or a part of it.
std::string read(HttpResponse& response, std::size_t most, std::string_view input) {
  std::string body;
  std::array<char, 4096> block;
  std::int64_t count = 1;
  while (body.size() < most && count > 0) {
    count = response.read(block.data(), block.size());
    if (count > 0) body.append(block.data(), static_cast<std::size_t>(count));
  }
  require((count < 0) == static_cast<bool>(response.error()), "a failure has a cause");
  require(body.size() <= kSizeLimit, "no more is taken than is allowed");
  require(
      count != 0 || response.size() < 0 || static_cast<std::size_t>(response.size()) == body.size(),
      "an answer is as long as it says");
  check_text(response.error().text, input);
  return body;
}

void get(HttpTransport& transport, const std::string& url, std::size_t most,
         std::string_view input) {
  HttpRequest request;
  request.url = url;
  request.size_limit = kSizeLimit;
  const framework::HttpAnswer response = transport.get(request);
  if (!response) {
    require(static_cast<bool>(response.error()), "an answer or a cause");
    return check_text(response.error().text, input);
  }
  for (const auto& [name, value] : (*response)->headers()) {
    require(name.find_first_of(":\r\n") == std::string::npos, "a header's name is one");
    require(value.find_first_of("\r\n") == std::string::npos, "a header's value is one line");
  }
  read(**response, most, input);
}

// The first byte says what is asked; the rest are answers.
void run(std::string_view input) {
  if (input.empty()) return;
  const auto plan = static_cast<unsigned char>(input.front());
  const auto has = [plan](int bit) { return ((plan >> bit) & 1) != 0; };
  const Server hostile(split(input.substr(1), kNext, kMostAnswers));
  const std::string_view good_answer = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\ngood";
  const Server good({good_answer});
  // All that is elsewhere leads to the hostile server too, as a proxy: nothing leaves this machine.
  for (const char* name : {"http_proxy", "https_proxy"}) ::setenv(name, hostile.url("").c_str(), 1);
  ::setenv("no_proxy", "127.0.0.1", 1);
  const auto transport = framework::make_http_transport();

  const std::size_t most = has(0) ? 1 : kSizeLimit + 1;
  if (has(1)) transport->expect({hostile.url("/b"), hostile.url("/c"), hostile.url("/d")});
  get(*transport, hostile.url("/a"), most, input);
  get(*transport, hostile.url("/b"), most, input);
  if (has(2)) {
    HttpRequest request;
    request.url = hostile.url("/post");
    const framework::PostResult sent = transport->post(request, has(3) ? "body" : "");
    require(sent || sent.error().cause, "sent or a cause");
    if (!sent) check_text(sent.error().cause.text, input);
  }
  get(*transport, hostile.url("/d"), most, input);

  HttpRequest request;
  request.url = good.url("/good");
  const framework::HttpAnswer response = transport->get(request);
  require(response.has_value(), "another server is reached as ever");
  require(read(**response, kSizeLimit, input) == "good", "and its answer is its own");
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
