// The owner of the grid, as the selection sees it.
#pragma once

#include "msg/message.h"

namespace zendro::packages_ui {

class ParentUI {
 public:
  virtual ~ParentUI() = default;
  /// Called after every change of the selection.
  virtual void selection_changed() = 0;
  /// Called for a problem with a package, or with what was asked for; the selection stays usable.
  virtual void report(const msg::Message& message) = 0;
};

}  // namespace zendro::packages_ui
