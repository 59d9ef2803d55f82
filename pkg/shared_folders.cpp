#include "pkg/shared_folders.h"

#include "framework/system/files.h"
#include "framework/text/ascii.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {

const package_t* shared_folders::add(const package_t& package) {
  std::string path;
  try {
    path.append(package.meta.type()).append("/").append(package.meta.pkg_installdir());
  } catch (const framework::JsonError&) {
    return nullptr;  // said where it is used
  }
  folder_t& folder = folders_[framework::comparable_name(path)];
  folder.packages.push_back(&package);
  const package_t* other = nullptr;
  if (folder.packages.size() == 1) return other;
  while (folder.read < folder.packages.size()) {
    const package_t& next = *folder.packages[folder.read++];
    try {
      other = read_members(folder, next);
    } catch (const framework::JsonError&) {
      other = nullptr;
    }
  }
  return other;
}

const package_t* shared_folders::read_members(folder_t& folder, const package_t& package) {
  const package_t* other = nullptr;
  const json::object* files = package.meta.files();
  if (files == nullptr) return nullptr;
  for (const json::key_value_pair& file : *files) {
    const std::string name = local_member_name({file.key().data(), file.key().size()});
    const std::pair member(framework::ascii_lower(framework::as_string(file.value())), &package);
    const auto& [digest, owner] =
        folder.members.try_emplace(framework::comparable_name(name), member).first->second;
    if (digest != member.first && owner != &package && other == nullptr) other = owner;
  }
  return other;
}

}  // namespace zendro::pkg
