// What the compiler says, as a finding.
#pragma once

#include <string>

#include "store/check/finding.h"
#include "store/check/resolver.h"
#include "store/check/xml_compiler.h"

namespace zendro::store {

/// The finding for a message about the document at `url`, or about another one that it takes in,
/// perhaps of another package. URLs of documents become their paths.
Finding compiler_finding(const Resolver& resolver, const std::string& url,
                         const CompilerMessage& message, std::string advice);

/// Adds a finding that is not there yet.
void add_once(Findings& findings, Finding finding);

}  // namespace zendro::store
