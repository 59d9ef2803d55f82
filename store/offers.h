// What the packages of a store offer to each other.
#pragma once

#include <string>
#include <vector>

#include "store/description.h"
#include "store/scan/package_scan.h"

namespace zendro::store {

/// A demand, and the packages that fulfil it.
struct Fulfilment {
  OpenDemand open;
  std::string reference;  ///< "name-1.2"; empty: no package of the store does
};

/// Finds out for each demand of a package which reference fulfils it: one of `given` where that
/// does, else the newest minor version of a package that does. What every XML tool brings along
/// (the namespaces of XML and XML Schema, the core of XBRL) is left out.
std::vector<Fulfilment> find_references(const std::vector<OpenDemand>& open,
                                        const std::vector<std::string>& given,
                                        const std::vector<Description>& packages);

/// Has the packages that a reference means offer their schema under the location which a tool asks
/// for when it reads the demanding document; `member` is the path of that document's member. The
/// descriptions that have changed.
std::vector<Description*> offer_location(const Fulfilment& fulfilment,
                                         const pkg::name_semver_t& identity,
                                         const std::string& member,
                                         std::vector<Description>& packages);

}  // namespace zendro::store
