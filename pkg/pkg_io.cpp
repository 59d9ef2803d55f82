#include "pkg/pkg_io.h"

#include <exception>
#include <mutex>
#include <utility>

#include "app/options.h"
#include "framework/files.h"
#include "framework/folder.h"
#include "framework/percent.h"
#include "msg/message_table.h"
#include "msg/utf.h"
#include "pkg/core_context.h"
#include "pkg/package_folder.h"
#include "pkg/package_url.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {
namespace {

using framework::IoError;
using framework::IOImpl_base;

std::string type_of(const json::object& options) {
  const json::value type = app::get_type(&options);
  return type.is_string() ? std::string(framework::as_string(type)) : std::string();
}

IoError message_error(msg::Code code, const msg::Arguments& arguments) {
  return {msg::to_utf8(msg::format_message(static_cast<int>(code), arguments))};
}

// Runs `body` with a context that reports nowhere. What it throws becomes the error, and a null or
// zero result.
template <typename Body>
auto with_context(const json::object& options, IoError& error, const Body& body) {
  using Result = decltype(body(std::declval<core_context_t&>()));
  try {
    std::mutex lock;
    core_context_t context(type_of(options), options, {}, lock);
    return body(context);
  } catch (const std::exception& exception) {
    error.text = exception.what();
    return Result{};
  }
}

// Opens "<member>" or "<archive>%7Czip/<member inside>..." below the folder of a package.
std::shared_ptr<IOImpl_base> open_member(const package_folder_t& place, std::string_view path,
                                         IoError& error) {
  const std::size_t end = path.find(framework::kZipSeparator);
  const std::string_view member = path.substr(0, end);
  const std::unique_ptr<framework::Folder> folder = place.open(error);
  if (!folder) {
    if (!error) error.text = place.path() + ": the folder does not exist";
    return nullptr;
  }
  std::shared_ptr<IOImpl_base> stream = folder->open_file(local_member_name(member), error);
  if (!stream || end == std::string_view::npos) return stream;
  return framework::open_archive_path(std::move(stream),
                                      path.substr(end + framework::kZipSeparator.size()),
                                      place.member_path(member), error);
}

}  // namespace

PkgIOImpl::PkgIOImpl(std::shared_ptr<const json::object> options)
    : PkgIOImpl(std::move(options), std::make_shared<installed_packages_t>()) {}

PkgIOImpl::PkgIOImpl(std::shared_ptr<const json::object> options,
                     std::shared_ptr<installed_packages_t> installed)
    : options_(std::move(options)),
      installed_(std::move(installed)),
      state_(with_context(*options_, error_, installed_packages_t::state_of)) {}

const IoError& PkgIOImpl::error() const {
  return inner_ && inner_->error() ? inner_->error() : error_;
}

bool PkgIOImpl::open(std::string_view url) {
  inner_ = nullptr;
  error_ = {};
  uri_ = url;
  if (!url.starts_with(kPackageUrlPrefix)) {
    error_.text = uri_ + ": not a package URL";
    return false;
  }
  url.remove_prefix(kPackageUrlPrefix.size());
  const std::size_t slash = url.find('/');
  pkg_ = url.substr(0, slash);
  const std::string_view path =
      slash == std::string_view::npos ? std::string_view() : url.substr(slash + 1);
  inner_ =
      with_context(*options_, error_, [&](core_context_t& context) -> std::shared_ptr<IOImpl_base> {
        pkgtype_ = msg::to_utf8(msg::type_label(context.type(), false));
        if (installed_packages_t::state_of(context) != state_) {
          error_ = message_error(msg::Code::msg_pkg_remap, {context.pkgtype()});
          return nullptr;
        }
        const auto installed = installed_->list(context, error_);
        if (!installed) return nullptr;
        const package_map_t& packages = installed->packages();
        const package_t* package = find_exact(packages, parse_identity(pkg_));
        if (package == nullptr) {
          // Tools that normalise URIs escape names beyond ASCII.
          package = find_exact(packages, parse_identity(framework::percent_decode(pkg_)));
        }
        if (package == nullptr) {
          error_ = message_error(msg::Code::msg_pkg_missing,
                                 {text_argument(L"pkgmgr", app::manager_executable(context.type())),
                                  text_argument(L"id", pkg_), text_argument(L"pkg", pkg_),
                                  context.pkgtype(), text_argument(L"uri", uri_)});
          return nullptr;
        }
        const package_folder_t place(context, package->meta);
        return open_member(place, path, error_);
      });
  return inner_ != nullptr;
}

template <typename Result>
Result PkgIOImpl::forwarded(Result result) {
  if (inner_->error()) error_ = inner_->error();
  return result;
}

void PkgIOImpl::close() {
  if (inner_) inner_->close();
}

void PkgIOImpl::flush() {
  if (inner_) inner_->flush();
}

std::int64_t PkgIOImpl::read(void* buffer, std::size_t size) {
  return inner_ ? forwarded(inner_->read(buffer, size)) : -1;
}

std::int64_t PkgIOImpl::write(const void*, std::size_t) {
  error_ = message_error(msg::Code::msg_pkg_io_write,
                         {text_argument(L"uri", uri_), text_argument(L"pkgtype", pkgtype_),
                          text_argument(L"pkg", pkg_)});
  return -1;
}

std::int64_t PkgIOImpl::seek(std::int64_t offset, framework::SeekOrigin origin) {
  return inner_ ? forwarded(inner_->seek(offset, origin)) : -1;
}

std::int64_t PkgIOImpl::size() { return inner_ ? forwarded(inner_->size()) : 0; }

bool PkgIOImpl::seekable() { return inner_ && forwarded(inner_->seekable()); }

std::shared_ptr<IOImpl_base> PkgIOCallback::create(std::string_view url) {
  if (!url.starts_with(kPackageUrlPrefix)) return nullptr;
  return std::make_shared<PkgIOImpl>(options_, installed_);
}

}  // namespace zendro::pkg
