// A plan as the program says it: what will be done, and why.
#pragma once

#include "pkg/plan.h"

#include "cli/output.h"

namespace zendro::cli {

/// Whether anything would be changed.
bool changes_anything(const pkg::plan_t& plan);
void show_plan(Output& output, const pkg::plan_t& plan);

}  // namespace zendro::cli
