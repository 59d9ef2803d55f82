// Reading files inside installed packages through package URLs
// ("zendro://pkg/<identity>/<member path>"). Writing is refused.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "framework/text/json.h"
#include "framework/url/url_io.h"
#include "pkg/installed_packages.h"

namespace zendro::pkg {

namespace json = boost::json;

/// One open file of a package. Always owned by a shared pointer; used by the thread that opened it.
class PkgIOImpl : public framework::IOImpl_base {
 public:
  /// `options` tell the package type and the folders. The handler belongs to the state that the
  /// list of installed packages has now: it cannot be opened after the list has changed.
  explicit PkgIOImpl(std::shared_ptr<const json::object> options);
  /// The same, sharing what is known of the list with other handlers.
  PkgIOImpl(std::shared_ptr<const json::object> options,
            std::shared_ptr<installed_packages> installed);
  ~PkgIOImpl() override = default;

  [[nodiscard]] const framework::IoError& error() const override;
  /// Opens the member that the URL names. A path that goes on after "%7Czip/" names a member inside
  /// an archive. Only what the list of installed packages names among the files of the package is
  /// opened, and, unless the option "pkg.io.verify" is false, only with the digest that stands
  /// there: a file is read through for that when it is first opened, see member_proofs. Fails
  /// with "msg_pkg_remap" when the cache was updated since the handler was made, and with
  /// "msg_pkg_missing" when the package is not installed.
  bool open(std::string_view url) override;
  void close() override;
  void flush() override;
  std::int64_t read(void* buffer, std::size_t size) override;
  /// Always fails, with "msg_pkg_io_write".
  std::int64_t write(const void* buffer, std::size_t size) override;
  std::int64_t seek(std::int64_t offset, framework::SeekOrigin origin) override;
  [[nodiscard]] std::int64_t size() override;
  [[nodiscard]] bool seekable() override;

 private:
  template <typename Result>
  Result forwarded(Result result);

  std::shared_ptr<const json::object> options_;
  std::shared_ptr<installed_packages> installed_;
  std::shared_ptr<framework::IOImpl_base> inner_;
  std::string uri_;
  std::string pkgtype_;
  std::string pkg_;
  framework::IoError error_;
  std::uint64_t state_ = 0;  ///< of the list of installed packages when the handler was made
};

/// The full path of the file that a package URL names, whether it is there or not; of the archive
/// for a member inside one. Nothing where none of the packages has it.
std::optional<std::string> file_of(core_context& context, const package_map& installed,
                                   std::string_view package_url);

/// Makes a PkgIOImpl for every package URL that the framework is asked to open.
class PkgIOCallback : public framework::IoCallback {
 public:
  explicit PkgIOCallback(std::shared_ptr<const json::object> options)
      : options_(std::move(options)) {}
  std::shared_ptr<framework::IOImpl_base> create(std::string_view url) override;

 private:
  std::shared_ptr<const json::object> options_;
  std::shared_ptr<installed_packages> installed_ = std::make_shared<installed_packages>();
};

}  // namespace zendro::pkg
