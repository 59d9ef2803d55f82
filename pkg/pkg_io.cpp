#include "pkg/pkg_io.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>

#include "app/options/options.h"
#include "app/options/package_types.h"
#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/system/folder.h"
#include "framework/system/guarded.h"
#include "framework/text/percent.h"
#include "framework/text/utf8.h"
#include "msg/message_table.h"
#include "pkg/core_context.h"
#include "pkg/package_folder.h"
#include "pkg/package_url.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {
namespace {

using framework::IoError;
using framework::IOImpl_base;
using framework::OpenedStream;
using framework::Result;

std::string type_of(const json::object& options) {
  const json::value type = app::get_type(&options);
  return type.is_string() ? std::string(framework::as_string(type)) : std::string();
}

IoError message_error(msg::Code code, const msg::Arguments& arguments) {
  return {framework::to_utf8(msg::format_message(static_cast<int>(code), arguments))};
}

// Runs `body` with a context that reports nowhere. What it throws becomes the error.
template <typename Value, typename Body>
Result<Value> with_context(const json::object& options, const Body& body) {
  Result<Value> result;
  framework::guarded(
      [&] {
        std::mutex lock;
        core_context context(type_of(options), options, {}, lock);
        result = body(context);
      },
      [&result](const std::string& failure) { result = tl::unexpected(IoError{failure}); });
  return result;
}

// The digest that a package gives for a member; null where it has none of that local name. Nearly
// always a URL has the member's own name.
const json::value* digest_of(const meta_t& meta, std::string_view member) {
  const json::object* files = meta.files();
  if (files == nullptr) return nullptr;
  if (const json::value* digest = files->if_contains(member)) return digest;
  const std::string name = framework::comparable_name(local_member_name(member));
  const auto* const found =
      std::find_if(files->begin(), files->end(), [&name](const json::key_value_pair& file) {
        const std::string_view key(file.key().data(), file.key().size());
        return framework::comparable_name(local_member_name(key)) == name;
      });
  return found == files->end() ? nullptr : &found->value();
}

// Opens files of one package.
class package_files {
 public:
  package_files(core_context& context, const package_t& package, member_proofs& proofs)
      : context_(context), package_(package), place_(context, package.meta), proofs_(proofs) {}

  // Opens "<member>" or "<archive>%7Czip/<member inside>...".
  OpenedStream open(std::string_view path) {
    const std::size_t end = path.find(framework::kZipSeparator);
    const std::string_view member = path.substr(0, end);
    OpenedStream stream = open_member(member);
    if (!stream || end == std::string_view::npos) return stream;
    return framework::open_archive_path(std::move(*stream),
                                        path.substr(end + framework::kZipSeparator.size()),
                                        place_.member_path(member));
  }

 private:
  OpenedStream open_member(std::string_view member) {
    const json::value* digest = digest_of(package_.meta, member);
    if (digest == nullptr) {
      return tl::unexpected(IoError{place_.member_path(member) + ": " +
                                    to_string(package_.identity) + " has no such file"});
    }
    const opened_folder folder = place_.open();
    if (!folder && folder.error().is_absent()) {
      return tl::unexpected(IoError{place_.path() + ": the folder does not exist"});
    }
    if (!folder) return tl::unexpected(folder.error().cause());
    const std::string name = local_member_name(member);
    OpenedStream stream = (*folder)->open_file(name);
    if (!stream || !framework::to_bool(app::get_io_verify(&context_.options()))) return stream;
    const auto expected = framework::parse_sha256(framework::as_string(*digest));
    if (!expected) {
      return tl::unexpected(
          IoError{place_.member_path(member) + ": its package has no digest for it"});
    }
    const auto proved = proofs_.prove(**folder, name, **stream, *expected);
    return proved ? stream : tl::unexpected(proved.error());
  }

  core_context& context_;
  const package_t& package_;
  package_folder place_;
  member_proofs& proofs_;
};

}  // namespace

PkgIOImpl::PkgIOImpl(std::shared_ptr<const json::object> options)
    : PkgIOImpl(std::move(options), std::make_shared<installed_packages>()) {}

PkgIOImpl::PkgIOImpl(std::shared_ptr<const json::object> options,
                     std::shared_ptr<installed_packages> installed)
    : options_(std::move(options)), installed_(std::move(installed)) {
  const auto state = with_context<std::uint64_t>(*options_, installed_packages::state_of);
  if (state) {
    state_ = *state;
  } else {
    error_ = state.error();
  }
}

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
  const OpenedStream opened = with_context<std::shared_ptr<IOImpl_base>>(
      *options_, [&](core_context& context) -> OpenedStream {
        pkgtype_ = framework::to_utf8(app::package_type(context.type()).label);
        if (installed_packages::state_of(context) != state_) {
          return tl::unexpected(message_error(msg::Code::msg_pkg_remap, {context.pkgtype()}));
        }
        const auto installed = installed_->list(context);
        if (!installed) return tl::unexpected(installed.error());
        const package_map& packages = (*installed)->packages();
        const package_t* package = find_exact(packages, parse_identity(pkg_));
        if (package == nullptr) {
          // Tools that normalise URIs escape names beyond ASCII.
          package = find_exact(packages, parse_identity(framework::percent_decode(pkg_)));
        }
        if (package == nullptr) {
          return tl::unexpected(
              message_error(msg::Code::msg_pkg_missing,
                            {text_argument(L"pkgmgr", app::manager_executable(context.type())),
                             text_argument(L"id", pkg_), text_argument(L"pkg", pkg_),
                             context.pkgtype(), text_argument(L"uri", uri_)}));
        }
        return package_files(context, *package, installed_->proofs()).open(path);
      });
  if (opened) {
    inner_ = *opened;
  } else {
    error_ = opened.error();
  }
  return opened.has_value();
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

std::optional<std::string> file_of(core_context& context, const package_map& installed,
                                   std::string_view package_url) {
  if (!package_url.starts_with(kPackageUrlPrefix)) return std::nullopt;
  package_url.remove_prefix(kPackageUrlPrefix.size());
  const std::size_t slash = package_url.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  const package_t* package = find_exact(installed, parse_identity(package_url.substr(0, slash)));
  const std::string_view path = package_url.substr(slash + 1);
  const std::string_view member = path.substr(0, path.find(framework::kZipSeparator));
  if (package == nullptr || digest_of(package->meta, member) == nullptr) return std::nullopt;
  return package_folder(context, package->meta).member_path(member);
}

std::shared_ptr<IOImpl_base> PkgIOCallback::create(std::string_view url) {
  if (!url.starts_with(kPackageUrlPrefix)) return nullptr;
  return std::make_shared<PkgIOImpl>(options_, installed_);
}

}  // namespace zendro::pkg
