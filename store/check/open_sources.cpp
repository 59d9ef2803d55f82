#include "store/check/open_sources.h"

#include <charconv>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "framework/io/digest.h"
#include "framework/system/files.h"

#include "store/description.h"
#include "store/package_files.h"
#include "store/parallel.h"
#include "store/published_tree.h"
#include "store/zip_writer.h"

namespace zendro::store {
namespace {

namespace fs = std::filesystem;
using framework::IoError;
using framework::Result;

constexpr const char* kEntryFile = "package.json";

/// The archive of a package; the error names what cannot be read.
Result<std::string> pack(const fs::path& files) {
  const auto read = read_folder(files);
  if (!read) return tl::unexpected(read.error());
  try {
    return write_zip(*read);
  } catch (const std::exception& failure) {
    return tl::unexpected(IoError{framework::path_to_utf8(files) + ": " + failure.what()});
  }
}

class Sources {
 public:
  explicit Sources(fs::path folder) : folder_(std::move(folder)) {}

  Result<OpenedStore> open() {
    Result<Settings> settings = read_settings(folder_);
    if (!settings) return tl::unexpected(settings.error());
    settings_ = std::move(*settings);
    Faults faults;
    descriptions_ = read_descriptions(folder_, faults);
    note({}, faults, Severity::error);
    check_descriptions();
    OpenedStore opened = open_list(list(), reader());
    opened.findings.insert(opened.findings.begin(), findings_.begin(), findings_.end());
    if (opened.store) {
      opened.store->type = settings_.type;
      opened.store->url = settings_.url;
      opened.store->entry_file = kEntryFile;
    }
    return opened;
  }

 private:
  struct Checked {
    Faults faults;
    Faults warnings;
    std::string digest;  ///< empty: not to be packed
  };

  void check_descriptions() {
    checked_.resize(descriptions_.size());
    for_each_in_parallel(descriptions_.size(), [this](std::size_t each) {
      const Description& description = descriptions_[each];
      Checked& checked = checked_[each];
      const auto paths = list_files(description.files());
      if (!paths) return checked.faults.push_back(paths.error().text);
      check_description(description, settings_, *paths, checked.faults, checked.warnings);
      if (!checked.faults.empty()) return;
      const Result<std::string> packed = pack(description.files());
      if (!packed) return checked.faults.push_back(packed.error().text);
      checked.digest = framework::to_hex(framework::sha256(*packed));
    });
    for (std::size_t each = 0; each < descriptions_.size(); ++each) {
      const std::string identity = to_string(descriptions_[each].identity);
      note(identity, checked_[each].faults, Severity::error);
      note(identity, checked_[each].warnings, Severity::warning);
    }
  }

  /// Takes a text "<path>:<line>: <what>" apart.
  void note(const std::string& identity, const Faults& faults, Severity severity) {
    const std::string start = framework::path_to_utf8(folder_ / fs::path());
    for (const std::string& fault : faults) {
      Finding finding{severity, identity, {}, 0, fault, {}};
      const std::size_t end = fault.find(": ");
      if (fault.starts_with(start) && end != std::string::npos) {
        finding.file = fault.substr(start.size(), end - start.size());
        finding.what = fault.substr(end + 2);
        take_line(finding);
      }
      findings_.push_back(std::move(finding));
    }
  }

  static void take_line(Finding& finding) {
    const std::size_t colon = finding.file.rfind(':');
    if (colon == std::string::npos) return;
    const char* end = finding.file.data() + finding.file.size();
    const auto [rest, error] = std::from_chars(finding.file.data() + colon + 1, end, finding.line);
    if (error == std::errc() && rest == end) finding.file.erase(colon);
  }

  /// The document as it would be published next.
  [[nodiscard]] std::string list() const {
    json::object packages;
    json::object deprecated;
    for (std::size_t each = 0; each < descriptions_.size(); ++each) {
      const Description& description = descriptions_[each];
      if (checked_[each].digest.empty()) continue;
      (description.is_deprecated() ? deprecated : packages)[to_string(description.identity)] =
          list_entry(description, settings_, checked_[each].digest);
    }
    packages["_DEPRECATED"] = std::move(deprecated);
    return list_text(settings_.build_number + 1, settings_.builtin, packages);
  }

  [[nodiscard]] ReadMember reader() const {
    std::map<std::string, fs::path, std::less<>> folders;
    for (const Description& description : descriptions_) {
      folders[member_path(settings_, description.identity)] = description.files();
    }
    return [folders = std::move(folders)](
               std::string_view member) -> Result<std::shared_ptr<const std::string>> {
      const auto folder = folders.find(member);
      if (folder == folders.end()) {
        return tl::unexpected(IoError{"no description has this member"});
      }
      Result<std::string> packed = pack(folder->second);
      if (!packed) return tl::unexpected(packed.error());
      return std::make_shared<const std::string>(std::move(*packed));
    };
  }

  fs::path folder_;
  Settings settings_;
  std::vector<Description> descriptions_;
  std::vector<Checked> checked_;  ///< in the order of the descriptions
  Findings findings_;
};

}  // namespace

Result<OpenedStore> open_sources(const fs::path& folder) { return Sources(folder).open(); }

}  // namespace zendro::store
