#include "pkg/obstacles.h"

namespace zendro::pkg {

bool check_missing(core_context& context, const std::vector<name_semver_t>& missing) {
  if (missing.empty()) return true;
  return context.fail(msg::Code::pkg_not_available,
                      {pkg_argument(missing.front()), context.pkgtype()});
}

bool check_conflicts(core_context& context, const std::vector<conflict_t>& conflicts) {
  if (conflicts.empty()) return true;
  const conflict_t& conflict = conflicts.front();
  const msg::Argument package = pkg_argument(conflict.package->identity);
  if (!conflict.is_installed) {
    return context.fail(msg::Code::pkg_conflict,
                        {package, text_argument(L"conflict", conflict.text), context.pkgtypes()});
  }
  return context.fail(msg::Code::pkg_conflict_installed,
                      {package, text_argument(L"conflict", to_string(conflict.other->identity)),
                       context.pkgtype()});
}

bool check_unlisted(core_context& context, const std::vector<const package_t*>& unlisted) {
  if (unlisted.empty()) return true;
  return context.fail(msg::Code::inst_pkg_not_available,
                      {pkg_argument(unlisted.front()->identity), context.pkgtype()});
}

}  // namespace zendro::pkg
