// Opening the list of a store for a check, whatever it comes from.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "framework/io/io.h"

#include "store/check/open_store.h"

namespace zendro::store {

/// Notes what is wrong with a list and with what it comes in.
class ListOpener {
 public:
  // Findings about the list, or about a file beside it.
  void error(std::string_view file, std::string what, std::string advice);
  void warn(std::string_view file, std::string what, std::string advice);

  /// Whether the digest is that of the archive, and said where it is not.
  void check_digest(std::string_view archive, std::string_view digest, std::string_view file);

  /// Whether one of the keys has signed the archive, and said where none has.
  void check_signature(std::string_view archive, const framework::Result<std::string>& signature,
                       const SigningKeys& keys);

  /// Checks a bootstrap document; `url` is where the store is, if that is known.
  void check_bootstrap(const std::string& document, std::string_view file, std::string& url);

  /// Opens the list in an archive, which error texts call `shown`.
  void open_archive(std::string archive, const std::string& shown);

  /// Opens a list document. Where clients refuse it, there is no store.
  void open_list(std::string list);

  /// Ends with what was opened, whose members are read so.
  OpenedStore take(ReadMember read_member);

  /// The type where something tells it; else the list does.
  void set_type(std::string type) { type_ = std::move(type); }
  /// Where the store is served, as far as that is known.
  std::string& url() { return url_; }
  [[nodiscard]] const std::optional<LoadedStore>& store() const { return store_; }

 private:
  void add(Severity severity, std::string_view file, std::string what, std::string advice);

  /// The list says in "_META" what its makers know every tool to bring along.
  static BuiltinNames builtin_of(const std::string& list);

  std::string type_;
  std::string url_;
  std::optional<LoadedStore> store_;
  Findings findings_;
};

}  // namespace zendro::store
