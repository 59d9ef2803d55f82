// The trace log of HTTP requests: one readable line, with its time, for everything that happened.
// Credentials are left out and control characters made visible, so that a log can be handed on and
// a hostile server cannot forge lines of it. Used by one thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "framework/io/io.h"

namespace zendro::framework {

class HttpTrace {
 public:
  /// Writes to `file`, which is open. `level` is one of the kTrace constants or a value between
  /// them.
  HttpTrace(std::shared_ptr<IOImpl_base> file, int level);

  /// "= GET http://...", at every level.
  void request(std::string_view method, std::string_view url);
  /// "! <error text>", at every level.
  void failure(std::string_view text);
  /// "* <text>", a remark of the transport.
  void remark(std::string_view text);
  /// "> <line>" for every line of the request's header section.
  void request_head(std::string_view lines);
  /// "< <line>" for one line of the answer's header section; the status line at every level.
  void response_head(std::string_view line);
  /// "<= 16384 bytes" or "=> 16384 bytes".
  void data(bool received, std::size_t bytes);

 private:
  void header_line(std::string_view mark, std::string_view line);
  void write(std::string_view mark, std::string_view text);

  std::shared_ptr<IOImpl_base> file_;
  int level_;
  bool hiding_ = false;  ///< the last header's value was left out; so are its continuation lines
};

/// Whether a header of this name carries credentials.
bool is_credential_header(std::string_view name);

}  // namespace zendro::framework
