#include "store/build.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <optional>
#include <set>

#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/text/lazy_json.h"
#include "pkg/package_list.h"

#include "store/package_files.h"
#include "store/parallel.h"
#include "store/published_tree.h"
#include "store/whole_file.h"
#include "store/zip_reader.h"
#include "store/zip_writer.h"

namespace zendro::store {
namespace {

namespace fs = std::filesystem;
using framework::IoError;
using framework::Result;

constexpr std::uint64_t kLargestMember = 4ull << 30;

std::string digest_of(std::string_view bytes) {
  return framework::to_hex(framework::sha256(bytes));
}

/// Whether an archive holds these files and nothing else.
bool holds(std::string_view archive, const std::vector<SourceFile>& files) {
  try {
    const std::vector<SourceFile> held = read_zip(archive);
    return std::equal(held.begin(), held.end(), files.begin(), files.end(),
                      [](const SourceFile& a, const SourceFile& b) {
                        return a.path == b.path && a.bytes == b.bytes;
                      });
  } catch (const std::exception&) {
    return false;
  }
}

std::string changed_bytes(const Description& description) {
  const auto& [name, version] = description.identity;
  const pkg::name_semver_t next{
      name, {version.major, version.minor, static_cast<std::uint16_t>(version.patch + 1)}};
  const std::string identity = to_string(description.identity);
  return framework::path_to_utf8(description.files()) + ": these are not the files that " +
         identity + " was published with, and a member path never changes its bytes. Put back " +
         "what was there, and give the change a new patch level: packages/" + name + "/" +
         to_string(next).substr(name.size() + 1);
}

class Builder {
 public:
  Builder(fs::path store, fs::path tree, const BuildEvents& events, const std::stop_token& stop)
      : store_(std::move(store)), tree_(std::move(tree)), events_(events), stop_(stop) {}

  tl::expected<BuiltTree, Faults> build() {
    if (!read() || !check() || !make_members() || !write_list()) {
      if (stop_.stop_requested()) faults_ = {"interrupted; the list is as it was"};
      return tl::unexpected(std::move(faults_));
    }
    return result_;
  }

 private:
  bool fail(const IoError& error) {
    faults_.push_back(error.text);
    return false;
  }

  bool read() {
    Result<Settings> settings = read_settings(store_);
    if (!settings) return fail(settings.error());
    settings_ = std::move(*settings);
    descriptions_ = read_descriptions(store_, faults_);
    result_.packages = descriptions_.size();
    if (!framework::is_missing(tree_ / kArchiveName)) {
      Result<PublishedList> published = read_published_list(tree_);
      if (!published) return fail(published.error());
      published_ = std::move(*published);
    }
    return true;
  }

  bool check() {
    std::vector<Faults> faults(descriptions_.size());
    std::vector<Faults> warnings(descriptions_.size());
    for_each_in_parallel(descriptions_.size(), [&](std::size_t each) {
      const Description& description = descriptions_[each];
      const auto paths = list_files(description.files());
      if (paths) {
        check_description(description, settings_, *paths, faults[each], warnings[each]);
      } else {
        faults[each].push_back(paths.error().text);
      }
    });
    for (const Faults& some : warnings) {
      for (const std::string& warning : some) events_.warn(warning);
    }
    for (const Faults& some : faults) faults_.insert(faults_.end(), some.begin(), some.end());
    if (is_of_another_store()) {
      faults_.push_back(framework::path_to_utf8(tree_ / kArchiveName) +
                        ": lists packages, and none of them is of this store; name another folder "
                        "for the tree");
    }
    return faults_.empty();
  }

  /// Whether the list that is out knows none of the names of this store.
  [[nodiscard]] bool is_of_another_store() const {
    if (published_.members.empty() || descriptions_.empty()) return false;
    std::set<std::string> names;
    for (const Description& description : descriptions_) names.insert(description.identity.name);
    const auto knows = [&](const json::key_value_pair& entry) {
      return names.contains(pkg::parse_identity(std::string_view(entry.key())).name);
    };
    const json::value* deprecated = published_.packages.if_contains("_DEPRECATED");
    return std::none_of(published_.packages.begin(), published_.packages.end(), knows) &&
           (deprecated == nullptr ||
            std::none_of(deprecated->as_object().begin(), deprecated->as_object().end(), knows));
  }

  bool make_members() {
    digests_.resize(descriptions_.size());
    std::atomic<std::size_t> done = 0;
    std::vector<std::optional<IoError>> failures(descriptions_.size());
    for_each_in_parallel(descriptions_.size(), [&](std::size_t each) {
      if (stop_.stop_requested()) return;
      try {
        Result<std::string> digest = make_member(descriptions_[each]);
        if (digest) {
          digests_[each] = std::move(*digest);
        } else {
          failures[each] = digest.error();
        }
      } catch (const std::exception& failure) {
        failures[each] =
            IoError{framework::path_to_utf8(descriptions_[each].files()) + ": " + failure.what()};
      }
      events_.progress(++done, descriptions_.size());
    });
    for (const std::optional<IoError>& failure : failures) {
      if (failure) faults_.push_back(failure->text);
    }
    result_.packed = packed_;
    return faults_.empty() && !stop_.stop_requested();
  }

  /// The digest that a member was published with; null if it never was.
  [[nodiscard]] const std::string* published_digest(const std::string& member) const {
    for (const auto* members : {&published_.members, &settings_.retired}) {
      const auto found = members->find(member);
      if (found != members->end()) return &found->second;
    }
    return nullptr;
  }

  /// Has the member of a package in its place; its digest.
  Result<std::string> make_member(const Description& description) {
    const std::string member = member_path(settings_, description.identity);
    const fs::path path = tree_ / framework::path_from_utf8(member);
    const auto files = read_folder(description.files());
    if (!files) return tl::unexpected(files.error());
    const std::string* published = published_digest(member);
    Result<std::string> there = framework::read_file(path, kLargestMember);
    if (published != nullptr && there && digest_of(*there) == *published && holds(*there, *files)) {
      return *published;
    }
    const std::string bytes = write_zip(*files);
    std::string digest = digest_of(bytes);
    if (published != nullptr && digest != *published) {
      return tl::unexpected(IoError{changed_bytes(description)});
    }
    ++packed_;
    if (there && *there == bytes) return digest;
    if (auto written = write_whole_file(path, bytes, Durability::proved_later); !written) {
      return tl::unexpected(written.error());
    }
    return digest;
  }

  [[nodiscard]] json::object new_packages() const {
    json::object available;
    json::object deprecated;
    for (std::size_t each = 0; each < descriptions_.size(); ++each) {
      const Description& description = descriptions_[each];
      (description.is_deprecated() ? deprecated : available)[to_string(description.identity)] =
          list_entry(description, settings_, digests_[each]);
    }
    json::object packages = {{"_DEPRECATED", std::move(deprecated)}};
    for (json::key_value_pair& entry : available) {
      packages[entry.key()] = std::move(entry.value());
    }
    return packages;
  }

  /// Reads the list as a manager will.
  bool check_list(const std::string& text) {
    const auto document = framework::LazyDocument::parse(text);
    if (!document) return fail({"the list would be no list: " + document.error()});
    try {
      const pkg::pkgs_available_t list(*document);
      for (const pkg::package_map* packages : {&list.packages(), &list.deprecated()}) {
        for (const pkg::package_t& package : *packages) {
          pkg::read_metadata(package, [](const pkg::meta_t& meta) { meta.check(); });
        }
      }
    } catch (const framework::JsonError& error) {
      return fail({std::string("managers would refuse the list: ") + error.what()});
    }
    return true;
  }

  bool write_list() {
    const json::object packages = new_packages();
    const std::string built = digest_of(list_text(0, settings_.builtin, packages));
    const bool is_same =
        !published_.text.empty() &&
        digest_of(list_text(0, published_.builtin, published_.packages)) == built &&
        published_.build_number >= settings_.build_number;
    const std::int64_t last = std::max(published_.build_number, settings_.build_number);
    const bool was_built = settings_.built == built && last == settings_.build_number && last > 0 &&
                           published_.build_number < last;
    const std::int64_t number = is_same || was_built ? last : last + 1;
    const std::string text = list_text(number, settings_.builtin, packages);
    if (!check_list(text)) return false;
    result_.build_number = number;
    result_.is_changed = !is_same;
    retire();
    settings_.build_number = number;
    settings_.built = built;
    return (is_same || write_archive(text)) && write_digest() && write_bootstrap() && remember();
  }

  /// Keeps in mind which members were published and are named no more.
  void retire() {
    std::map<std::string, std::string> named;
    for (std::size_t each = 0; each < descriptions_.size(); ++each) {
      named[member_path(settings_, descriptions_[each].identity)] = digests_[each];
    }
    settings_.retired.merge(published_.members);
    std::erase_if(settings_.retired, [&](const auto& one) { return named.contains(one.first); });
    result_.left_behind = settings_.retired.size();
  }

  bool write_archive(const std::string& text) {
    // The signature of the old list is none of the new one.
    std::error_code ignored;
    result_.is_unsigned_now = fs::remove(tree_ / (std::string(kArchiveName) + ".minisig"), ignored);
    return written(kArchiveName, write_zip({{kListName, text}}));
  }

  bool write_digest() {
    const auto archive = framework::read_file(tree_ / kArchiveName, kLargestMember);
    if (!archive) return fail(archive.error());
    return written(std::string(kArchiveName) + ".sha256",
                   digest_of(*archive) + "  " + kArchiveName + "\n");
  }

  bool write_bootstrap() {
    if (settings_.url.empty()) {
      events_.warn(framework::path_to_utf8(store_ / kSettingsName) +
                   ": no \"url\", so managers cannot be told where the store is; write where it "
                   "will be served, as in \"url\": \"https://store.example/xsd/\"");
      return true;
    }
    return written("api/" + settings_.type + "-manager/v1/bootstrap",
                   json::serialize(json::object{{"pkg.store_url", settings_.url}}) + "\n");
  }

  bool remember() {
    const Result<Settings> before = read_settings(store_);
    if (before && before->build_number == settings_.build_number &&
        before->built == settings_.built && before->retired == settings_.retired) {
      return true;
    }
    const auto done = write_settings(settings_, store_);
    return done || fail(done.error());
  }

  /// Replaces a file of the tree, unless it has these bytes already.
  bool written(const std::string& name, const std::string& bytes) {
    const fs::path path = tree_ / name;
    const auto there = framework::read_file(path, kLargestMember);
    if (there && *there == bytes) return true;
    const auto done = write_whole_file(path, bytes);
    return done || fail(done.error());
  }

  const fs::path store_;
  const fs::path tree_;
  const BuildEvents& events_;
  const std::stop_token& stop_;
  Settings settings_;
  std::vector<Description> descriptions_;
  PublishedList published_;
  std::vector<std::string> digests_;  ///< of the members, in the order of the descriptions
  std::atomic<std::size_t> packed_ = 0;
  BuiltTree result_;
  Faults faults_;
};

}  // namespace

tl::expected<BuiltTree, Faults> build_tree(const fs::path& store, const fs::path& tree,
                                           const BuildEvents& events, const std::stop_token& stop) {
  return Builder(store, tree, events, stop).build();
}

}  // namespace zendro::store
